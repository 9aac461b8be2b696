#include "reader/utc_time.h"

#include <array>
#include <cstddef>

namespace corvane {
namespace {

constexpr std::uint64_t kDayMilliseconds = 86'400'000;

// 1601 opens a cycle of 400 Gregorian years, whose last year is a leap year, and so does each
// century in it but for the leap day that the first three lack.
constexpr std::uint64_t kDaysIn400Years = 146'097;
constexpr std::uint64_t kDaysIn100Years = 36'524;
constexpr std::uint64_t kDaysIn4Years = 1461;

[[nodiscard]] constexpr bool IsLeapYear(std::uint64_t year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

[[nodiscard]] constexpr std::uint64_t DaysInMonth(std::uint64_t year, std::uint64_t month) {
  constexpr std::array<std::uint8_t, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : kDays[static_cast<std::size_t>(month - 1)];
}

[[nodiscard]] constexpr std::uint64_t DaysBeforeYear(std::uint64_t year) {
  const std::uint64_t years = year - 1601;
  return years * 365 + years / 4 - years / 100 + years / 400;
}

struct sDate {
  std::uint64_t year, month, day;
};

[[nodiscard]] sDate DateOf(std::uint64_t days) {
  const std::uint64_t cycles = days / kDaysIn400Years;
  days %= kDaysIn400Years;
  // The last day of a leap year at the end of a cycle would otherwise open a fifth part.
  const std::uint64_t centuries = days / kDaysIn100Years - days / (kDaysIn400Years - 1);
  days -= centuries * kDaysIn100Years;
  const std::uint64_t fours = days / kDaysIn4Years;
  days %= kDaysIn4Years;
  const std::uint64_t years = days / 365 - days / (kDaysIn4Years - 1);
  days -= years * 365;

  sDate date{1601 + cycles * 400 + centuries * 100 + fours * 4 + years, 1, 0};
  while (days >= DaysInMonth(date.year, date.month)) {
    days -= DaysInMonth(date.year, date.month++);
  }
  date.day = days + 1;
  return date;
}

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

// The part behind the date, as milliseconds of the day.
[[nodiscard]] bool TakeTimeOfDay(std::string_view& text, std::uint64_t& time) {
  std::uint64_t hours = 0, minutes = 0, seconds = 0, milliseconds = 0;
  if (!TakeNumber(text, 2, hours) || !Take(text, ':') || !TakeNumber(text, 2, minutes)) {
    return false;
  }
  if (Take(text, ':')) {
    if (!TakeNumber(text, 2, seconds)) {
      return false;
    }
    if (Take(text, '.') && !TakeNumber(text, 3, milliseconds)) {
      return false;
    }
  }
  if (hours > 23 || minutes > 59 || seconds > 59) {
    return false;
  }
  time = ((hours * 60 + minutes) * 60 + seconds) * 1000 + milliseconds;
  return true;
}

}  // namespace

std::string FormatUtc(std::uint64_t time) {
  const sDate date = DateOf(time / kDayMilliseconds);
  const std::uint64_t ofDay = time % kDayMilliseconds;
  std::string text;
  AppendNumber(text, date.year, 4);
  text += '-';
  AppendNumber(text, date.month, 2);
  text += '-';
  AppendNumber(text, date.day, 2);
  text += 'T';
  AppendNumber(text, ofDay / 3'600'000, 2);
  text += ':';
  AppendNumber(text, ofDay / 60'000 % 60, 2);
  text += ':';
  AppendNumber(text, ofDay / 1000 % 60, 2);
  text += '.';
  AppendNumber(text, ofDay % 1000, 3);
  text += 'Z';
  return text;
}

std::optional<std::uint64_t> ParseUtc(std::string_view text) {
  sDate date{};
  std::uint64_t ofDay = 0;
  if (!TakeNumber(text, 4, date.year) || !Take(text, '-') || !TakeNumber(text, 2, date.month) ||
      !Take(text, '-') || !TakeNumber(text, 2, date.day)) {
    return std::nullopt;
  }
  if (date.year < 1601 || date.month < 1 || date.month > 12 || date.day < 1 ||
      date.day > DaysInMonth(date.year, date.month)) {
    return std::nullopt;
  }
  if ((Take(text, 'T') || Take(text, ' ')) && !TakeTimeOfDay(text, ofDay)) {
    return std::nullopt;
  }
  if (!text.empty() && text != "Z") {
    return std::nullopt;
  }

  std::uint64_t days = DaysBeforeYear(date.year) + date.day - 1;
  for (std::uint64_t month = 1; month < date.month; ++month) {
    days += DaysInMonth(date.year, month);
  }
  return days * kDayMilliseconds + ofDay;
}

}  // namespace corvane
