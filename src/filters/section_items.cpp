#include "filters/section_items.h"

#include <cstddef>

#include "filters/tokens.h"

namespace corvane {
namespace {

// Appended, not added up: of `"</" + std::string(name)` GCC 12 warns at -O3, for copies that cannot
// overlap.
[[nodiscard]] std::string MakeTag(std::string_view start, std::string_view sectionName) {
  std::string tag;
  tag.append(start).append(sectionName).append(">");
  return tag;
}

}  // namespace

std::vector<std::string> ExtractSectionItems(std::string_view text, std::string_view sectionName) {
  const std::string openingTag = MakeTag("<", sectionName);
  const std::string closingTag = MakeTag("</", sectionName);

  std::vector<std::string> items;
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

    std::string_view body = text.substr(start, closing - start);
    body = body.substr(0, body.find('\0'));
    for (const std::string_view item : SplitAtRuns(body, ',')) {
      items.emplace_back(item);
    }

    position = closing + closingTag.size();
  }
  return items;
}

}  // namespace corvane
