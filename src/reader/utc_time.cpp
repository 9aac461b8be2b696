#include "reader/utc_time.h"

#include <chrono>
#include <cstddef>

namespace corvane {
namespace {

using std::chrono::days;
using std::chrono::milliseconds;
using std::chrono::sys_days;

constexpr sys_days kEpoch{std::chrono::January / 1 / 1601};

// The years of std::chrono end at 32767, item times 28,000 years later: whole cycles of the
// calendar are taken off first.
constexpr std::uint64_t kCycleYears = 400;
constexpr std::uint64_t kCycleMilliseconds = milliseconds(days(146'097)).count();

void AppendNumber(std::string& text, std::uint64_t number, std::size_t digits) {
  const std::string plain = std::to_string(number);
  if (plain.size() < digits) {
    text.append(digits - plain.size(), '0');
  }
  text += plain;
}

// Takes exactly `digits` digits off the front of `text`.
[[nodiscard]] bool TakeNumber(std::string_view& text, std::size_t digits, std::uint64_t& number) {
  if (text.size() < digits) {
    return false;
  }
  number = 0;
  for (const char digit : text.substr(0, digits)) {
    if (digit < '0' || digit > '9') {
      return false;
    }
    number = number * 10 + static_cast<std::uint64_t>(digit - '0');
  }
  text.remove_prefix(digits);
  return true;
}

[[nodiscard]] bool Take(std::string_view& text, char wanted) {
  if (text.empty() || text.front() != wanted) {
    return false;
  }
  text.remove_prefix(1);
  return true;
}

// A letter, large or small.
[[nodiscard]] bool TakeLetter(std::string_view& text, char large) {
  return Take(text, large) || Take(text, static_cast<char>(large | 0x20));
}

// The digits of a fraction of a second, one to nine, in milliseconds; what is finer is cut off.
[[nodiscard]] bool TakeFraction(std::string_view& text, std::uint64_t& thousandths) {
  constexpr std::size_t kMostDigits = 9;
  std::size_t digits = 0;
  thousandths = 0;
  for (std::uint64_t digit = 0; TakeNumber(text, 1, digit); ++digits) {
    thousandths = digits < 3 ? thousandths * 10 + digit : thousandths;
  }
  for (std::size_t missing = digits; missing < 3; ++missing) {
    thousandths *= 10;
  }
  return digits >= 1 && digits <= kMostDigits;
}

[[nodiscard]] bool TakeTimeOfDay(std::string_view& text, milliseconds& time) {
  std::uint64_t hours = 0;
  std::uint64_t minutes = 0;
  std::uint64_t seconds = 0;
  std::uint64_t thousandths = 0;
  if (!TakeNumber(text, 2, hours) || !Take(text, ':') || !TakeNumber(text, 2, minutes)) {
    return false;
  }
  if (Take(text, ':')) {
    if (!TakeNumber(text, 2, seconds)) {
      return false;
    }
    if (Take(text, '.') && !TakeFraction(text, thousandths)) {
      return false;
    }
  }
  if (hours > 23 || minutes > 59 || seconds > 59) {
    return false;
  }
  time = std::chrono::hours(hours) + std::chrono::minutes(minutes) + std::chrono::seconds(seconds) +
         milliseconds(thousandths);
  return true;
}

// How far a clock is ahead of UTC; none where nothing is told.
[[nodiscard]] bool TakeOffset(std::string_view& text, milliseconds& offset) {
  offset = milliseconds(0);
  if (text.empty() || TakeLetter(text, 'Z')) {
    return true;
  }
  const bool isBehind = text.front() == '-';
  std::uint64_t hours = 0;
  std::uint64_t minutes = 0;
  if (!(Take(text, '+') || Take(text, '-')) || !TakeNumber(text, 2, hours)) {
    return false;
  }
  const bool hasColon = Take(text, ':');
  if ((hasColon || !text.empty()) && !TakeNumber(text, 2, minutes)) {
    return false;
  }
  if (hours > 23 || minutes > 59) {
    return false;
  }
  offset = std::chrono::hours(hours) + std::chrono::minutes(minutes);
  offset = isBehind ? -offset : offset;
  return true;
}

[[nodiscard]] bool TakeDate(std::string_view& text, sys_days& day) {
  std::uint64_t year = 0;
  std::uint64_t month = 0;
  std::uint64_t dayOfMonth = 0;
  if (!TakeNumber(text, 4, year) || !Take(text, '-') || !TakeNumber(text, 2, month) ||
      !Take(text, '-') || !TakeNumber(text, 2, dayOfMonth)) {
    return false;
  }
  const std::chrono::year_month_day date(std::chrono::year(static_cast<int>(year)),
                                         std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(dayOfMonth)));
  day = sys_days(date);
  return date.ok();
}

}  // namespace

std::string FormatUtc(std::uint64_t time) {
  const milliseconds inCycle(time % kCycleMilliseconds);
  const auto day = std::chrono::floor<days>(inCycle);
  const std::chrono::year_month_day date(kEpoch + day);
  const std::chrono::hh_mm_ss ofDay(inCycle - day);
  const auto year = static_cast<std::uint64_t>(static_cast<int>(date.year()));
  const auto count = [](auto duration) { return static_cast<std::uint64_t>(duration.count()); };
  std::string text;
  AppendNumber(text, year + time / kCycleMilliseconds * kCycleYears, 4);
  text += '-';
  AppendNumber(text, static_cast<unsigned>(date.month()), 2);
  text += '-';
  AppendNumber(text, static_cast<unsigned>(date.day()), 2);
  text += 'T';
  AppendNumber(text, count(ofDay.hours()), 2);
  text += ':';
  AppendNumber(text, count(ofDay.minutes()), 2);
  text += ':';
  AppendNumber(text, count(ofDay.seconds()), 2);
  text += '.';
  AppendNumber(text, count(ofDay.subseconds()), 3);
  text += 'Z';
  return text;
}

std::optional<sTimeStretch> ParseUtcStretch(std::string_view text) {
  sys_days day;
  if (!TakeDate(text, day)) {
    return std::nullopt;
  }
  milliseconds ofDay{};
  const bool hasTime = TakeLetter(text, 'T') || Take(text, ' ');
  milliseconds offset{};
  if ((hasTime && !TakeTimeOfDay(text, ofDay)) || !TakeOffset(text, offset) || !text.empty()) {
    return std::nullopt;
  }
  const milliseconds first = day - kEpoch + ofDay - offset;
  if (first < milliseconds(0)) {
    return std::nullopt;
  }
  const milliseconds length = hasTime ? milliseconds(1) : milliseconds(days(1));
  return sTimeStretch{static_cast<std::uint64_t>(first.count()),
                      static_cast<std::uint64_t>((first + length).count() - 1)};
}

std::optional<std::uint64_t> ParseUtc(std::string_view text) {
  const auto stretch = ParseUtcStretch(text);
  return stretch ? std::optional(stretch->first) : std::nullopt;
}

std::optional<sTimeOfDay> ParseTimeOfDay(std::string_view text) {
  milliseconds ofDay{};
  milliseconds offset{};
  if (!TakeTimeOfDay(text, ofDay) || !TakeOffset(text, offset) || !text.empty()) {
    return std::nullopt;
  }
  return sTimeOfDay{static_cast<std::uint64_t>(ofDay.count()), offset.count()};
}

}  // namespace corvane
