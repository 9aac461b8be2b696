#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace corvane::modem_sim {

// What a stream of random numbers decides. Each use draws from a stream of its own, so that turning
// one fault on leaves the contents and every other fault as they were.
enum class eDraw : std::uint32_t {
  Content,
  PacketFault,
  ReplyFault,
  FaultDetail,
  SystemInformation,
  Subscription
};

// A small generator (SplitMix64) whose numbers are the same on every machine and with every
// standard library, which the distributions of <random> do not promise.
class cRandom {
 public:
  // The stream for `use` at `number` (a packet's or a request's) under `seed`: any packet's numbers
  // can be had without drawing those of the packets before it.
  cRandom(std::uint64_t seed, eDraw use, std::uint64_t number);

  [[nodiscard]] std::uint64_t Next();
  // 0 to bound - 1; bound is at least 1.
  [[nodiscard]] std::size_t Below(std::size_t bound);
  // Both ends included; low is not above high.
  [[nodiscard]] std::size_t Between(std::size_t low, std::size_t high);
  [[nodiscard]] bool Chance(double percent);
  [[nodiscard]] std::uint8_t Byte();
  // An index into `weights`, as often as its weight says; the weights' sum is at least 1.
  [[nodiscard]] std::size_t Weighted(const std::vector<unsigned>& weights);

 private:
  std::uint64_t state;
};

}  // namespace corvane::modem_sim
