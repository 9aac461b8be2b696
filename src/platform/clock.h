#pragma once

#include <cstdint>
#include <ctime>
#include <functional>

namespace corvane {

// From 1601-01-01, where FILETIME values and item times begin, to 1970-01-01: 369 years, 89 of them
// leap years.
inline constexpr std::uint64_t kSecondsFrom1601To1970 = 11'644'473'600;

// The wall clock as a Windows FILETIME value: units of 100 ns since 1601-01-01 00:00:00 UTC.
// It follows the system clock, backwards too.
[[nodiscard]] std::uint64_t SystemFileTime();

// What tells such a time: this function, or another clock.
using FileTimeClock = std::function<std::uint64_t()>;

// The local calendar time of now. All nine fields are zero when the system cannot tell it.
[[nodiscard]] std::tm LocalCalendarTime();

}  // namespace corvane
