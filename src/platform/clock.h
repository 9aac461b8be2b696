#pragma once

#include <cstdint>
#include <ctime>

namespace corvane {

// The wall clock as a Windows FILETIME value: units of 100 ns since 1601-01-01 00:00:00 UTC.
// It follows the system clock, backwards too.
[[nodiscard]] std::uint64_t SystemFileTime();

// A function that tells such a time: this one, or a test's.
using FileTimeClock = decltype(&SystemFileTime);

// The local calendar time of now. All nine fields are zero when the system cannot tell it.
[[nodiscard]] std::tm LocalCalendarTime();

}  // namespace corvane
