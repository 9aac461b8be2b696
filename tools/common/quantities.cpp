#include "common/quantities.h"

#include <algorithm>
#include <limits>

namespace corvane::tools {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLongest = std::chrono::hours(1000);

// Cuts `text` behind its leading digits, and returns what follows them.
[[nodiscard]] std::string_view SplitUnit(std::string_view& text) {
  const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
  const std::string_view unit = text.substr(digits);
  text = text.substr(0, digits);
  return unit;
}

// Of a fraction with as many digits as are read.
constexpr std::uint32_t kFractionUnits = 1'000'000'000;

// The digits behind a decimal point, one to nine, in these units.
[[nodiscard]] std::optional<std::uint32_t> ParseFraction(std::string_view digits) {
  constexpr std::size_t kMostDigits = 9;
  auto units = ParseUnsigned<std::uint32_t>(digits);
  for (std::size_t missing = digits.size(); units && missing < kMostDigits; ++missing) {
    *units *= 10;
  }
  return digits.size() <= kMostDigits ? units : std::nullopt;
}

[[nodiscard]] std::optional<milliseconds> UnitLength(std::string_view unit) {
  if (unit == "ms") {
    return milliseconds(1);
  }
  if (unit.empty() || unit == "s") {
    return std::chrono::seconds(1);
  }
  if (unit == "m") {
    return std::chrono::minutes(1);
  }
  if (unit == "h") {
    return std::chrono::hours(1);
  }
  return std::nullopt;
}

[[nodiscard]] std::optional<std::uint64_t> UnitSize(std::string_view unit) {
  if (!unit.empty() && (unit.back() == 'B' || unit.back() == 'b')) {
    unit.remove_suffix(1);
  }
  if (unit.empty()) {
    return 1;
  }
  if (unit == "k" || unit == "K") {
    return 1'000;
  }
  if (unit == "M" || unit == "m") {
    return 1'000'000;
  }
  if (unit == "G" || unit == "g") {
    return 1'000'000'000;
  }
  return std::nullopt;
}

}  // namespace

std::optional<double> ParseDecimal(std::string_view text, double most) {
  double value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, std::chars_format::fixed);
  if (error != std::errc() || stop != end || !(value >= 0 && value <= most)) {
    return std::nullopt;
  }
  return value;
}

std::optional<milliseconds> ParseDuration(std::string_view text) {
  const std::size_t digits = std::min(text.find_first_not_of("0123456789."), text.size());
  const auto length = UnitLength(text.substr(digits));
  text = text.substr(0, digits);
  const std::size_t point = text.find('.');
  const auto count = ParseUnsigned<std::uint32_t>(text.substr(0, point));
  const auto part =
      point == std::string_view::npos ? std::optional(0U) : ParseFraction(text.substr(point + 1));
  // The count has 32 bits and the longest unit 22, so the products fit.
  if (!length || !count || !part) {
    return std::nullopt;
  }
  const milliseconds whole = *length * *count + *length * *part / kFractionUnits;
  return whole > kLongest ? std::nullopt : std::optional(whole);
}

std::optional<std::uint64_t> ParseByteCount(std::string_view text) {
  const auto size = UnitSize(SplitUnit(text));
  const auto count = ParseUnsigned<std::uint64_t>(text);
  if (!size || !count || *count > std::numeric_limits<std::uint64_t>::max() / *size) {
    return std::nullopt;
  }
  return *count * *size;
}

}  // namespace corvane::tools
