#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace corvane {

// Item times, in milliseconds since 1601-01-01 00:00:00 UTC, as text.

// "2024-05-17T12:34:56.789Z". Years past 9999 have as many digits as they need.
[[nodiscard]] std::string FormatUtc(std::uint64_t time);

// The milliseconds that a text names, both included: a day alone is all of it, any other time one.
struct sTimeStretch {
  std::uint64_t first = 0;
  std::uint64_t last = 0;

  friend bool operator==(const sTimeStretch&, const sTimeStretch&) = default;
};

// Reads a time as FormatUtc writes it, years from 1601 to 9999. The day alone will do, as will a
// time cut off after the minutes or the seconds; a fraction of a second has one to nine digits, and
// what is finer than a millisecond is cut off. A blank may stand for the T; "Z" is UTC, as is
// nothing, and "+02:00", "+0200" or "+02" tells how far the time's own clock is ahead of it. T and
// Z may be small. Nothing for any other text, and for a time before 1601.
[[nodiscard]] std::optional<sTimeStretch> ParseUtcStretch(std::string_view text);
// Its first millisecond.
[[nodiscard]] std::optional<std::uint64_t> ParseUtc(std::string_view text);

// A time without its day, of a clock that may be ahead of UTC.
struct sTimeOfDay {
  std::uint64_t sinceMidnight = 0;  // of that clock, milliseconds
  std::int64_t ahead = 0;           // milliseconds; less than 0: the clock is behind UTC

  friend bool operator==(const sTimeOfDay&, const sTimeOfDay&) = default;
};

// Reads one: "12:34" or "12:34:56.789", with the clock behind it as ParseUtcStretch takes it.
// Nothing for any other text.
[[nodiscard]] std::optional<sTimeOfDay> ParseTimeOfDay(std::string_view text);

}  // namespace corvane
