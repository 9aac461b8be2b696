#include "corvane/profile/profile_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <optional>

#include "capture/request_queue.h"
#include "corvane/command/readable_text.h"
#include "corvane/profile/profile_warnings.h"
#include "corvane/profile/section_checks.h"
#include "describe/names.h"

namespace corvane::tools {
namespace {

constexpr char kControlZ = '\x1A';

// What is wrong with a text that is not 8-bit text. Nothing when it is.
[[nodiscard]] std::optional<std::string> WideTextWarning(std::string_view text) {
  using std::string_view_literals::operator""sv;
  // A tag's start in 16-bit and 32-bit characters of both byte orders.
  const bool isWide = text.starts_with("\xFF\xFE"sv) || text.starts_with("\xFE\xFF"sv) ||
                      text.find("<\0L\0"sv) != std::string_view::npos ||
                      text.find("<\0E\0"sv) != std::string_view::npos ||
                      text.find("<\0M\0"sv) != std::string_view::npos ||
                      text.find("\0<\0"sv) != std::string_view::npos;
  if (!isWide) {
    return std::nullopt;
  }
  return "the text is UTF-16 or UTF-32, in which the library finds no section: save it as UTF-8 "
         "without a byte-order mark";
}

void CheckCharacters(std::string_view text, cProfileWarnings& warnings) {
  if (const auto wide = WideTextWarning(text)) {
    warnings.AddForFile(*wide);
    return;
  }
  if (text.starts_with("\xEF\xBB\xBF")) {
    warnings.AddForFile("the file begins with a byte-order mark: save it as UTF-8 without one");
  }
  if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos) {
    warnings.Add(eProfileWarning::File, text.data() + nul, [&text] {
      const auto count = static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\0'));
      return fmt::format("the file has {} NUL byte{}, and is hardly text", FormatCount(count),
                         count == 1 ? "" : "s");
    });
  }
  if (Trimmed(text).empty()) {
    warnings.AddForFile("the file is empty, and switches nothing on");
  }
}

void CheckQueue(const sProfileRequests& requests, cProfileWarnings& warnings) {
  const std::size_t count = requests.Count();
  if (count <= sRequestQueue::kCapacity) {
    return;
  }
  const std::size_t excess = count - sRequestQueue::kCapacity;
  warnings.AddForFile(fmt::format(
      "it makes {} requests, and the library keeps only the last {}: the first {} lost, so that a "
      "modem which sends nothing by itself is never asked anything; take {} subsystem{} out of "
      "MessageLevels",
      FormatCount(count), FormatCount(sRequestQueue::kCapacity),
      excess == 1 ? "one is" : fmt::format("{} are", FormatCount(excess)), FormatCount(excess),
      excess == 1 ? "" : "s"));
}

// "13 that open every connection, 1 for events, 19 for messages and 5 for log codes"
[[nodiscard]] std::string RequestsLine(const sProfileRequests& requests) {
  std::string line = fmt::format("{} requests: {} that open every connection",
                                 FormatCount(requests.Count()), requests.startUp);
  if (requests.forEvents != 0) {
    line += fmt::format(", {} for events", requests.forEvents);
  }
  if (requests.forMessages != 0) {
    line += fmt::format(", {} for messages", FormatCount(requests.forMessages));
  }
  if (requests.forLogCodes != 0) {
    line += fmt::format(", {} for log codes", requests.forLogCodes);
  }
  return line;
}

// Numbers that follow each other as one: "0x4000 to 0x4004, 0x4100". Only the first ranges.
template <typename Numbers, typename Format>
[[nodiscard]] std::string Ranges(const Numbers& numbers, const Format& format) {
  constexpr std::size_t kMostRanges = 20;
  std::string text;
  std::size_t ranges = 0;
  for (auto first = numbers.begin(); first != numbers.end(); ++ranges) {
    auto last = first;
    auto next = std::next(first);
    while (next != numbers.end() && *next == *last + 1) {
      last = next++;
    }
    if (ranges < kMostRanges) {
      text += (text.empty() ? "" : ", ") + format(*first);
      if (last != first) {
        text += (std::next(first) == last ? ", " : " to ") + format(*last);
      }
    }
    first = next;
  }
  if (ranges > kMostRanges) {
    text += fmt::format(" and {} more", FormatCount(ranges - kMostRanges));
  }
  return text;
}

// A line for each number that has a name, and one for all that have none.
template <typename NameOf, typename Format>
void ExplainNumbers(const char* what, const std::set<std::uint16_t>& numbers, const NameOf& nameOf,
                    const Format& format, std::vector<std::string>& lines) {
  if (numbers.empty()) {
    return;
  }
  lines.push_back(fmt::format("{}: {}", what, FormatCount(numbers.size())));
  std::vector<std::uint16_t> nameless;
  for (const std::uint16_t number : numbers) {
    if (const std::string_view name = nameOf(number); name.empty()) {
      nameless.push_back(number);
    } else {
      lines.push_back(fmt::format("  {}  {}", format(number), name));
    }
  }
  if (!nameless.empty()) {
    lines.push_back(fmt::format("  without a name here: {}", Ranges(nameless, format)));
  }
}

[[nodiscard]] std::string LevelsText(std::uint32_t mask) {
  std::string text;
  for (std::uint32_t level = 0; level < 32; ++level) {
    if ((mask >> level & 1) != 0) {
      const std::string_view name = MessageLevelName(level);
      text += fmt::format("{}{}", text.empty() ? "" : ", ",
                          name.empty() ? std::to_string(level) : name);
    }
  }
  return text;
}

// A line for subsystems of one name and with the same levels that follow each other.
void ExplainMessages(const std::map<std::uint16_t, std::uint32_t>& messageLevels,
                     std::vector<std::string>& lines) {
  constexpr std::size_t kMostLines = 200;
  if (messageLevels.empty()) {
    return;
  }
  lines.push_back(fmt::format("Messages of subsystems: {}", FormatCount(messageLevels.size())));
  std::size_t count = 0;
  for (auto first = messageLevels.begin(); first != messageLevels.end(); ++count) {
    const auto [ssid, mask] = *first;
    const std::string_view name = SsidName(ssid);
    std::uint16_t last = ssid;
    for (++first; first != messageLevels.end() && first->first == last + 1 &&
                  first->second == mask && SsidName(first->first) == name;
         ++first) {
      last = first->first;
    }
    if (count < kMostLines) {
      lines.push_back(fmt::format("  {}{}  {}: {}", ssid,
                                  last == ssid ? "" : fmt::format(" to {}", last),
                                  name.empty() ? "without a name here" : name, LevelsText(mask)));
    }
  }
  if (count > kMostLines) {
    lines.push_back(fmt::format("  and {} lines more", FormatCount(count - kMostLines)));
  }
}

// What is asked for, but not of the modem: more requests follow than are kept.
void ExplainLost(const sProfileRequests& requests, std::vector<std::string>& lines) {
  const auto inDecimal = [](std::uint16_t number) { return std::to_string(number); };
  if (!requests.lostEventIds.empty()) {
    lines.push_back(fmt::format("Lost, and not switched on: {} event{}",
                                FormatCount(requests.lostEventIds.size()),
                                requests.lostEventIds.size() == 1 ? "" : "s"));
  }
  if (!requests.lostSsids.empty()) {
    lines.push_back(fmt::format("Lost, and not switched on: messages of subsystems {}",
                                Ranges(requests.lostSsids, inDecimal)));
  }
}

[[nodiscard]] std::vector<std::string> Explain(const sProfileRequests& requests) {
  std::vector<std::string> lines = {RequestsLine(requests)};
  const auto logCodeName = [](std::uint16_t code) {
    const sLogCodeName* const found = FindLogCode(code);
    return found == nullptr ? std::string_view() : found->name;
  };
  ExplainNumbers(
      "Log codes", requests.logCodes, logCodeName,
      [](std::uint16_t code) { return fmt::format("0x{:04X}", code); }, lines);
  ExplainNumbers(
      "Events", requests.eventIds, EventName, [](std::uint16_t id) { return std::to_string(id); },
      lines);
  ExplainMessages(requests.messageLevels, lines);
  ExplainLost(requests, lines);
  if (requests.SwitchesNothingOn()) {
    lines.emplace_back("Nothing is switched on");
  }
  if (requests.unwraps) {
    lines.emplace_back("Logs of several SIMs are taken out of their wrappers");
  }
  return lines;
}

}  // namespace

sProfileCheck CheckProfile(std::string_view text) {
  const std::string_view whole = text;
  cProfileWarnings warnings(whole);
  CheckCharacters(whole, warnings);
  if (const std::size_t end = whole.find(kControlZ); end != std::string_view::npos) {
    warnings.Add(eProfileWarning::File, whole.data() + end, [] {
      return std::string("a control-Z (0x1A) ends the text here, and what follows is not read");
    });
    text = whole.substr(0, end);
  }
  sProfileCheck check;
  check.requests = RequestsOf(text);
  CheckTags(text, warnings);
  CheckItems(text, check.requests, warnings);
  CheckQueue(check.requests, warnings);
  check.explanation = Explain(check.requests);
  check.warnings = warnings.Take();
  return check;
}

}  // namespace corvane::tools
