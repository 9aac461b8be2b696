#include "corvane/capture_summary.h"

#include <fmt/format.h>

#include <chrono>
#include <iterator>

#include "capture/isf/layout.h"
#include "corvane/item_description.h"
#include "corvane/log_description.h"
#include "corvane/packet_description.h"
#include "corvane/readable_text.h"
#include "diag/little_endian.h"
#include "diag/packets.h"
#include "reader/utc_time.h"

namespace corvane::tools {
namespace {

template <typename... Arguments>
void Append(std::string& text, fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  fmt::format_to(std::back_inserter(text), format, std::forward<Arguments>(arguments)...);
}

// "1:02:03.456", with a sign in front when the clock was set back past the first item.
[[nodiscard]] std::string FormatSpan(std::uint64_t first, std::uint64_t last) {
  using namespace std::chrono_literals;
  using Milliseconds = std::chrono::duration<std::uint64_t, std::milli>;
  const bool backwards = last < first;
  const Milliseconds span(backwards ? first - last : last - first);
  return fmt::format("{}{}:{:02}:{:02}.{:03}", backwards ? "-" : "", span / 1h, span % 1h / 1min,
                     span % 1min / 1s, (span % 1s).count());
}

}  // namespace

void cCaptureSummary::Add(const sCaptureItem& item) {
  if (items == 0) {
    firstTime = item.time;
  } else if (item.time < lastTime) {
    ++clockSteps;
  }
  lastTime = item.time;
  ++items;
  ++byType[item.type % byType.size()];
  if (item.type == isf::kInformationItem) {
    const std::optional<std::string> text = isf::LoadTextItem(item.bytes);
    if (text && textCount++ < kMostTexts) {
      texts.push_back({item.number, item.time, *text});
    }
  } else if (const auto code = LogCode(item)) {
    ++logCodes[*code];
    if (const auto sibType = SyntheticSibType(item)) {
      ++sibTypes[*sibType];
    }
  } else {
    AddPacket(item);
  }
}

void cCaptureSummary::AddPacket(const sCaptureItem& item) {
  switch (item.type) {
    case isf::kSubsystemItem:
    case isf::kSubsystemRequestItem:
      if (item.bytes.size() >= subsystem::kHeadSize) {
        ++subsystemCommands[{item.bytes[subsystem::kId], Load16(&item.bytes[subsystem::kCommand])}];
      } else {
        ++commands[item.bytes[0]];
      }
      break;
    case isf::kPacketItem:
    case isf::kRequestItem:
      ++commands[item.bytes[0]];
      break;
    default:
      break;
  }
}

std::string cCaptureSummary::Format() const {
  std::string text;
  if (items == 0) {
    return text;
  }
  AppendTimes(text);
  Append(text, "\nItems by type\n");
  for (std::uint32_t type = 0; type < byType.size(); ++type) {
    if (byType[type] != 0) {
      Append(text, "  {:>2} {:<18} {:>10}\n", type, ItemTypeName(type), byType[type]);
    }
  }
  AppendPackets(text);
  AppendTexts(text);
  return text;
}

void cCaptureSummary::AppendTimes(std::string& text) const {
  Append(text, "First item:   {}\n", FormatUtc(firstTime));
  Append(text, "Last item:    {}\n", FormatUtc(lastTime));
  Append(text, "Duration:     {}\n", FormatSpan(firstTime, lastTime));
  if (clockSteps != 0) {
    Append(text, "Clock:        set back {} time{}\n", clockSteps, clockSteps == 1 ? "" : "s");
  }
}

void cCaptureSummary::AppendPackets(std::string& text) const {
  if (!logCodes.empty()) {
    Append(text, "\nLog codes\n");
  }
  for (const auto& [code, count] : logCodes) {
    Append(text, "  0x{:04X} {:>25}\n", code, count);
  }
  if (!sibTypes.empty()) {
    Append(text, "\nComplete system-information blocks\n");
  }
  for (const auto& [type, count] : sibTypes) {
    const auto name = SibTypeName(type);
    Append(text, "  {:<18} {:>13}\n", name ? std::string(*name) : fmt::format("type {}", type),
           count);
  }
  if (!commands.empty()) {
    Append(text, "\nOther commands, requests and replies\n");
  }
  for (const auto& [command, count] : commands) {
    Append(text, "  0x{:02X} {:<18} {:>8}\n", command, CommandName(command).value_or(""), count);
  }
  if (!subsystemCommands.empty()) {
    Append(text, "\nSubsystem commands, requests and replies\n");
  }
  for (const auto& [command, count] : subsystemCommands) {
    Append(text, "  0x{:02X} 0x{:04X} {:>20}\n", command.first, command.second, count);
  }
}

void cCaptureSummary::AppendTexts(std::string& text) const {
  if (texts.empty()) {
    return;
  }
  Append(text, "\nTexts\n");
  for (const sText& entry : texts) {
    Append(text, "  {}  {}  {}\n", entry.number, FormatUtc(entry.time), Quote(entry.text));
  }
  if (textCount > texts.size()) {
    Append(text, "  and {} more\n", textCount - texts.size());
  }
}

}  // namespace corvane::tools
