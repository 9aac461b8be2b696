#include "modem_sim/random.h"

#include <numeric>

namespace corvane::modem_sim {
namespace {

std::uint64_t Mix(std::uint64_t value) {
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
  return value ^ (value >> 31);
}

constexpr std::uint64_t kStep = 0x9E3779B97F4A7C15U;

}  // namespace

cRandom::cRandom(std::uint64_t seed, eDraw use, std::uint64_t number)
    : state(Mix(Mix(seed + kStep) + static_cast<std::uint64_t>(use) * kStep) + Mix(number)) {}

std::uint64_t cRandom::Next() {
  state += kStep;
  return Mix(state);
}

std::size_t cRandom::Below(std::size_t bound) { return static_cast<std::size_t>(Next() % bound); }

std::size_t cRandom::Between(std::size_t low, std::size_t high) {
  return low + Below(high - low + 1);
}

bool cRandom::Chance(double percent) {
  return static_cast<double>(Next() >> 11) * 0x1.0p-53 * 100.0 < percent;
}

std::uint8_t cRandom::Byte() { return static_cast<std::uint8_t>(Next() >> 56); }

std::size_t cRandom::Weighted(const std::vector<unsigned>& weights) {
  std::size_t draw = Below(std::accumulate(weights.begin(), weights.end(), std::size_t{0}));
  std::size_t index = 0;
  while (draw >= weights[index]) {
    draw -= weights[index];
    ++index;
  }
  return index;
}

}  // namespace corvane::modem_sim
