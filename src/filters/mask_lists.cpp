#include "filters/mask_lists.h"

#include <algorithm>
#include <string>
#include <vector>

#include "filters/configuration_text.h"

namespace corvane {
namespace {

constexpr std::uint32_t kDecimal = 10;
constexpr std::uint32_t kHexadecimal = 16;

[[nodiscard]] std::set<std::uint32_t> ParseNumbers(std::string_view text, std::string_view section,
                                                   std::uint32_t base) {
  std::set<std::uint32_t> numbers;
  for (const std::string& item : ExtractSectionItems(text, section)) {
    numbers.insert(ParseUnsigned32(item, base));
  }
  return numbers;
}

// White space around slashes does not make a number of them, where white space alone counts as 0.
[[nodiscard]] bool HasOnlySlashes(std::string_view item) {
  const std::string blanksAndSlash = std::string(kWhiteSpace) + '/';
  return item.find('/') != std::string_view::npos &&
         item.find_first_not_of(blanksAndSlash) == std::string_view::npos;
}

}  // namespace

EventIdSet ParseEventIDs(std::string_view text) { return ParseNumbers(text, "EventIDs", kDecimal); }

LogCodeSet ParseLogCodes(std::string_view text) {
  return ParseNumbers(text, "LogCodes", kHexadecimal);
}

OtaTypeSet ParseOTATypes(std::string_view text) {
  OtaTypeSet otaTypes;
  for (const std::string& item : ExtractSectionItems(text, "OTATypes")) {
    if (HasOnlySlashes(item)) {
      continue;
    }
    otaTypes.insert(ParseUnsigned32(SplitAtRuns(item, '/').front(), kHexadecimal));
  }
  return otaTypes;
}

MessageLevelMap ParseMessageLevels(std::string_view text) {
  MessageLevelMap messageLevels;
  for (const std::string& item : ExtractSectionItems(text, "MessageLevels")) {
    const std::vector<std::string_view> pieces = SplitAtRuns(item, '/');
    // All or nothing: a list with one malformed item asks for no messages at all.
    if (pieces.size() != 2) {
      return {};
    }
    messageLevels[ParseUnsigned32(pieces[0], kDecimal)].insert(
        ParseUnsigned32(pieces[1], kDecimal));
  }
  return messageLevels;
}

bool ParseMultiSim(std::string_view text) {
  const std::vector<std::string> items = ExtractSectionItems(text, "MultiSim");
  return std::any_of(items.begin(), items.end(), [](const std::string& item) {
    const std::size_t first = item.find_first_not_of(kWhiteSpace);
    return first != std::string::npos &&
           item.substr(first, item.find_last_not_of(kWhiteSpace) + 1 - first) == "unwrap";
  });
}

}  // namespace corvane
