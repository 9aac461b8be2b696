#pragma once

#include <cstdint>
#include <optional>

#include "platform/clock.h"

namespace corvane {

// 1970-01-01 as the time of an item, in milliseconds since 1601.
inline constexpr std::uint64_t kUnixEpochMilliseconds = kSecondsFrom1601To1970 * 1000;

inline constexpr std::int64_t kNanosecondsPerMillisecond = 1'000'000;
inline constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

// A DIAG timestamp as nanoseconds since 1970-01-01 00:00:00, in the modem's own time: UTC on GSM,
// WCDMA, LTE and NR networks, ahead of it by the leap seconds where the modem took its time from a
// CDMA network. The upper 48 bits count units of 1.25 ms since the GPS epoch, 1980-01-06 00:00:00
// UTC, the lower 16 steps of 1/49152 of a unit. Parts of a nanosecond are cut off: the result
// is the stamp's time or up to a nanosecond before it. Nothing for a time that 63 bits of
// nanoseconds do not hold (after 2262).
[[nodiscard]] std::optional<std::int64_t> UnixNanosecondsFromDiag(std::uint64_t timestamp);

}  // namespace corvane
