#pragma once

#include <cstdint>

namespace corvane {

// The wall clock as a Windows FILETIME value: units of 100 ns since 1601-01-01 00:00:00 UTC.
// It follows the system clock, backwards too.
[[nodiscard]] std::uint64_t SystemFileTime();

}  // namespace corvane
