#pragma once

#include <cstdint>

namespace corvane {

// The earliest DIAG timestamp in a millisecond, which counts since 1601-01-01 UTC: the upper 48
// bits are units of 1.25 ms since 1980-01-06, the lower 16 steps of 1/49152 of a unit.
[[nodiscard]] constexpr std::uint64_t StampAt(std::uint64_t milliseconds) {
  const std::uint64_t quarters = (milliseconds - 11'960'438'400'000) * 4;
  return ((quarters / 5) << 16) + (quarters % 5 * 49'152 + 4) / 5;
}

inline constexpr std::uint64_t kSecond = 1000;
inline constexpr std::uint64_t kDay = 86'400 * kSecond;

}  // namespace corvane
