#pragma once

#include <cstdint>
#include <functional>
#include <optional>

namespace corvane {

// What is known of a block's base time. Times are milliseconds since 1601.
struct sBaseTimeEvidence {
  std::uint64_t own = 0;                 // in the block itself
  std::optional<std::uint64_t> indexed;  // in the block index
  bool isOfCompleteFile = false;
  bool hasItems = false;  // its directory leads to some
  // By the modem's clock, from a packet that tells its time; asked only where it matters.
  std::function<std::optional<std::uint64_t>()> byModem;
};

struct sChosenBaseTime {
  std::optional<std::uint64_t> time;
  // What was wrong, behind "the base time of the block"; null when nothing was.
  const char* problem = nullptr;
};

// The block's own base time, unless the block index or what is in the items speaks against it.
[[nodiscard]] sChosenBaseTime ChooseBaseTime(const sBaseTimeEvidence& evidence);

}  // namespace corvane
