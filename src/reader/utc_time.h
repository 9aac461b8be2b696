#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace corvane {

// Item times, in milliseconds since 1601-01-01 00:00:00 UTC, as text.

// "2024-05-17T12:34:56.789Z". Years past 9999 have as many digits as they need.
[[nodiscard]] std::string FormatUtc(std::uint64_t time);

// Reads a time as FormatUtc writes it, years from 1601 to 9999. The day alone will do, as will a
// time cut off after the minutes or the seconds; what is missing is 0. A blank may stand for the T,
// and the Z, which changes nothing, may be left out. Nothing for any other text.
[[nodiscard]] std::optional<std::uint64_t> ParseUtc(std::string_view text);

}  // namespace corvane
