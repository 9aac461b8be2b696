#include "filters/number_parsing.h"

#include <algorithm>
#include <cstddef>
#include <limits>

namespace corvane {
namespace {

constexpr std::uint32_t kNoDigit = 0xFF;

[[nodiscard]] std::uint32_t DigitValue(char character) {
  if (character >= '0' && character <= '9') {
    return static_cast<std::uint32_t>(character - '0');
  }
  if (character >= 'a' && character <= 'f') {
    return static_cast<std::uint32_t>(character - 'a' + 10);
  }
  if (character >= 'A' && character <= 'F') {
    return static_cast<std::uint32_t>(character - 'A' + 10);
  }
  return kNoDigit;
}

}  // namespace

std::uint32_t ParseUnsigned32(std::string_view text, std::uint32_t base) {
  constexpr std::uint64_t kMax = std::numeric_limits<std::uint32_t>::max();

  text.remove_prefix(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) {
    text.remove_prefix(1);
  }
  if (base == 16 && (text.starts_with("0x") || text.starts_with("0X"))) {
    text.remove_prefix(2);
  }

  std::uint64_t value = 0;
  for (const char character : text) {
    const std::uint32_t digit = DigitValue(character);
    if (digit >= base) {
      break;
    }
    value = value * base + digit;
    if (value > kMax) {
      return kMax;
    }
  }
  const auto result = static_cast<std::uint32_t>(value);
  return negative ? 0 - result : result;
}

}  // namespace corvane
