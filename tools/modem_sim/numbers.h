#pragma once

#include <charconv>
#include <optional>
#include <string_view>

namespace corvane::modem_sim {

// The whole of `text` as an unsigned number in this base, without sign or prefix. Nothing when it
// is something else or does not fit.
template <typename T>
[[nodiscard]] std::optional<T> ParseUnsigned(std::string_view text, int base = 10) {
  T value{};
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, base);
  if (error != std::errc() || stop != end) {
    return std::nullopt;
  }
  return value;
}

// The same for a decimal number that may have a fraction, from 0 to `most`.
[[nodiscard]] inline std::optional<double> ParseDecimal(std::string_view text, double most) {
  double value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, std::chars_format::fixed);
  if (error != std::errc() || stop != end || !(value >= 0 && value <= most)) {
    return std::nullopt;
  }
  return value;
}

}  // namespace corvane::modem_sim
