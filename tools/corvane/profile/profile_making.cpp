#include "corvane/profile/profile_making.h"

#include <fmt/format.h>

#include <vector>

#include "corvane/command/named_numbers.h"
#include "corvane/profile/profile_check.h"

namespace corvane::tools {
namespace {

constexpr std::size_t kLineWidth = 100;

void AddRanges(const std::vector<sNumberRange>& ranges, std::set<std::uint32_t>& numbers) {
  for (const sNumberRange& range : ranges) {
    for (std::uint32_t number = range.first; number <= range.last; ++number) {
      numbers.insert(number);
    }
  }
}

// A level, a range of levels or "all", as a bit for each.
[[nodiscard]] std::optional<std::string> TakeLevels(std::string_view word, std::uint32_t& levels) {
  if (word == "all") {
    levels = UINT32_MAX;
    return std::nullopt;
  }
  const std::size_t hyphen = word.find('-');
  if (hyphen == word.npos) {
    return TakeLevel(word, levels);
  }
  std::uint32_t first = 0;
  std::uint32_t last = 0;
  if (auto problem = TakeLevel(word.substr(0, hyphen), first)) {
    return problem;
  }
  if (auto problem = TakeLevel(word.substr(hyphen + 1), last)) {
    return problem;
  }
  if (first > last) {
    return fmt::format("the range \"{}\" ends before it begins", word);
  }
  // All bits from the first one to the last one.
  levels |= (last - first) | last;
  return std::nullopt;
}

// A section with its items in lines that a terminal shows whole. No line break stands between the
// last item and the closing tag, where the library would take it for an item of its own.
void AppendSection(std::string_view name, const std::vector<std::string>& items,
                   std::string& text) {
  if (items.empty()) {
    return;
  }
  text += fmt::format("\n<{}>", name);
  std::size_t column = name.size() + 2;
  const char* separator = "";
  for (const std::string& item : items) {
    text += separator;
    separator = ",";
    if (column + item.size() > kLineWidth) {
      text += '\n';
      column = 0;
    }
    text += item;
    column += item.size() + 1;
  }
  text += fmt::format("</{}>\n", name);
}

[[nodiscard]] std::string WriteSections(const sProfileContent& content) {
  std::string text;
  std::vector<std::string> items;
  for (const std::uint32_t code : content.logCodes) {
    items.push_back(fmt::format("{:04X}", code));
  }
  AppendSection(kLogCodesSection, items, text);
  items.clear();
  for (const std::uint32_t id : content.eventIds) {
    items.push_back(std::to_string(id));
  }
  AppendSection(kEventIdsSection, items, text);
  items.clear();
  for (const auto& [ssid, levels] : content.messageLevels) {
    for (std::uint32_t level = 0; level < 32; ++level) {
      if ((levels >> level & 1) != 0) {
        items.push_back(fmt::format("{}/{}", ssid, level));
      }
    }
  }
  AppendSection(kMessageLevelsSection, items, text);
  if (content.unwraps) {
    AppendSection(kMultiSimSection, {std::string(kUnwrapItem)}, text);
  }
  return text;
}

}  // namespace

std::optional<std::string> AddLogCodes(std::string_view word, sProfileContent& content) {
  std::vector<sNumberRange> ranges;
  auto problem = TakeLogCodes(word, ranges);
  AddRanges(ranges, content.logCodes);
  return problem;
}

std::optional<std::string> AddEvents(std::string_view word, sProfileContent& content) {
  std::vector<sNumberRange> ranges;
  auto problem = TakeEvents(word, ranges);
  AddRanges(ranges, content.eventIds);
  return problem;
}

std::optional<std::string> AddLevels(std::string_view word, sProfileContent& content) {
  const std::size_t slash = word.rfind('/');
  if (slash == word.npos) {
    return fmt::format("\"{}\" has no slash between its subsystem and its level", word);
  }
  std::vector<sNumberRange> ranges;
  if (auto problem = TakeSsids(word.substr(0, slash), ranges)) {
    return problem;
  }
  std::uint32_t levels = 0;
  if (auto problem = TakeLevels(word.substr(slash + 1), levels)) {
    return problem;
  }
  std::set<std::uint32_t> ssids;
  AddRanges(ranges, ssids);
  for (const std::uint32_t ssid : ssids) {
    content.messageLevels[ssid] |= levels;
  }
  return std::nullopt;
}

std::string WriteProfile(const sProfileContent& content) {
  const std::string sections = WriteSections(content);
  std::string text = "Made by corvane profile make.\n\n";
  for (const std::string& line : CheckProfile(sections).explanation) {
    text += line + '\n';
  }
  return text + sections;
}

}  // namespace corvane::tools
