#pragma once

#include <cstdint>
#include <optional>

namespace corvane {

// The FILETIME (100 ns units since 1601-01-01 UTC) of the GPS epoch, 1980-01-06 00:00:00 UTC.
inline constexpr std::uint64_t kGpsEpochFileTime = 119'604'384'000'000'000;

// `fileTime` as a DIAG timestamp: the upper 48 bits count units of 1.25 ms since the GPS epoch, the
// lower 16 are the fraction of a unit in 1/49152 steps. Nothing for a time before the epoch.
[[nodiscard]] std::optional<std::uint64_t> DiagTimestampFromFileTime(std::uint64_t fileTime);

}  // namespace corvane
