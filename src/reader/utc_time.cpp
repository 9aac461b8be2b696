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

// The part behind the date.
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
    if (Take(text, '.') && !TakeNumber(text, 3, thousandths)) {
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

std::optional<std::uint64_t> ParseUtc(std::string_view text) {
  std::uint64_t year = 0;
  std::uint64_t month = 0;
  std::uint64_t day = 0;
  if (!TakeNumber(text, 4, year) || !Take(text, '-') || !TakeNumber(text, 2, month) ||
      !Take(text, '-') || !TakeNumber(text, 2, day)) {
    return std::nullopt;
  }
  const std::chrono::year_month_day date(std::chrono::year(static_cast<int>(year)),
                                         std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day)));
  if (!date.ok() || sys_days(date) < kEpoch) {
    return std::nullopt;
  }
  milliseconds ofDay{};
  if ((Take(text, 'T') || Take(text, ' ')) && !TakeTimeOfDay(text, ofDay)) {
    return std::nullopt;
  }
  if (!text.empty() && text != "Z") {
    return std::nullopt;
  }
  return static_cast<std::uint64_t>((sys_days(date) - kEpoch + ofDay).count());
}

}  // namespace corvane
