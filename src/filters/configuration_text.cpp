#include "filters/configuration_text.h"

#include <algorithm>
#include <cstddef>
#include <limits>

namespace corvane {
namespace {

// Appended, not added up: of `"</" + std::string(name)` GCC 12 warns at -O3, for copies that cannot
// overlap.
[[nodiscard]] std::string MakeTag(std::string_view start, std::string_view sectionName) {
  std::string tag;
  tag.append(start).append(sectionName).append(">");
  return tag;
}

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

std::vector<std::string_view> FindSectionBodies(std::string_view text,
                                                std::string_view sectionName) {
  const std::string openingTag = MakeTag("<", sectionName);
  const std::string closingTag = MakeTag("</", sectionName);

  std::vector<std::string_view> bodies;
  std::size_t position = 0;
  while (position < text.size()) {
    // Both tags are sought from the same position, so sections do not nest: an opening tag within a
    // body becomes part of an item.
    const std::size_t opening = text.find(openingTag, position);
    const std::size_t closing = text.find(closingTag, position);
    if (opening == std::string_view::npos || closing == std::string_view::npos) {
      break;
    }
    const std::size_t start = opening + openingTag.size();
    if (start > closing) {
      break;
    }
    bodies.push_back(text.substr(start, closing - start));
    position = closing + closingTag.size();
  }
  return bodies;
}

std::vector<std::string_view> SplitSectionBody(std::string_view body) {
  return SplitAtRuns(body.substr(0, body.find('\0')), ',');
}

std::vector<std::string> ExtractSectionItems(std::string_view text, std::string_view sectionName) {
  std::vector<std::string> items;
  for (const std::string_view body : FindSectionBodies(text, sectionName)) {
    for (const std::string_view item : SplitSectionBody(body)) {
      items.emplace_back(item);
    }
  }
  return items;
}

std::vector<std::string_view> SplitAtRuns(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  std::size_t start = text.find_first_not_of(separator);
  while (start != std::string_view::npos) {
    const std::size_t end = text.find(separator, start);
    pieces.push_back(text.substr(start, end - start));
    start = text.find_first_not_of(separator, end);
  }
  return pieces;
}

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
