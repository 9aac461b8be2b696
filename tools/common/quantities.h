#pragma once

#include <charconv>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

// Numbers and quantities as a user writes them on a command line. No signs, no blanks, and nothing
// before or behind the quantity: any other text gives nothing.
namespace corvane::tools {

// The whole of `text` as an unsigned number in this base, without prefix. Nothing when it does not
// fit.
template <typename T>
[[nodiscard]] std::optional<T> ParseUnsigned(std::string_view text, int base = 10) {
  T value{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, base);
  if (error != std::errc() || stop != end) {
    return std::nullopt;
  }
  return value;
}

// A decimal number from 0 to `most`, which may have a fraction: "2.5".
[[nodiscard]] std::optional<double> ParseDecimal(std::string_view text, double most);

// A number and a unit, "500ms", "10s", "1.5m" or "2h"; a number alone is seconds. What is finer
// than a millisecond is cut off. At most 1,000 hours.
[[nodiscard]] std::optional<std::chrono::milliseconds> ParseDuration(std::string_view text);

// A whole number of bytes, or with a unit, "64k", "200M" or "1G", of 10^3, 10^6 or 10^9 of them.
// The unit's letter case does not matter, and a B may follow ("200MB").
[[nodiscard]] std::optional<std::uint64_t> ParseByteCount(std::string_view text);

}  // namespace corvane::tools
