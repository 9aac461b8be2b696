#include "corvane/reading/capture_summary.h"

#include <fmt/format.h>

#include <iterator>

#include "capture/isf/layout.h"
#include "convert/item_description.h"
#include "convert/rebuilt_blocks.h"
#include "corvane/command/readable_text.h"
#include "corvane/reading/cell_wording.h"
#include "corvane/reading/item_wording.h"
#include "describe/message_names.h"
#include "describe/names.h"
#include "describe/packet_kinds.h"
#include "reader/utc_time.h"

namespace corvane::tools {
namespace {

// The column of the counts.
constexpr std::size_t kWidth = 52;

template <typename... Arguments>
void Append(std::string& text, fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  fmt::format_to(std::back_inserter(text), format, std::forward<Arguments>(arguments)...);
}

void AppendLine(std::string& text, std::string_view what, std::uint64_t count) {
  Append(text, "  {:<{}} {:>10}\n", what, kWidth, count);
}

void AppendOthers(std::string& text, std::uint64_t others) {
  if (others != 0) {
    AppendLine(text, "others", others);
  }
}

// "0x412F WCDMA RRC OTA message"
[[nodiscard]] std::string LogLine(std::uint16_t code) {
  const sLogCodeName* const name = FindLogCode(code);
  return fmt::format("0x{:04X} {}", code, name != nullptr ? name->name : std::string_view());
}

// What is shown in place of a channel of messages that have none.
[[nodiscard]] std::string_view ChannelOf(const sSignalling& signalling) {
  if (!signalling.channel.empty()) {
    return signalling.channel;
  }
  switch (signalling.syntax) {
    case eSyntax::Ip:
      return "packets";
    case eSyntax::Sip:
      return "SIP";
    default:
      return "NAS";
  }
}

// What is shown in place of a name that there is not.
[[nodiscard]] std::string_view NameOf(const sSignalling& signalling) {
  if (!signalling.messageName.empty()) {
    return signalling.messageName;
  }
  if (signalling.segment != eSegment::Whole) {
    return "(part of a message)";
  }
  return IsCiphered(signalling.syntax, signalling.message) ? "(ciphered)" : "(unknown)";
}

// Most channels have their direction in their name.
[[nodiscard]] std::string_view LinkOf(const sSignalling& signalling, eTechnology technology) {
  if (!signalling.link || (!signalling.channel.empty() && technology != eTechnology::Gsm)) {
    return {};
  }
  return *signalling.link == eLink::Uplink ? "uplink" : "downlink";
}

}  // namespace

template <typename Key>
void cCaptureSummary::sCounts<Key>::Add(const Key& key) {
  const auto found = counts.find(key);
  if (found != counts.end()) {
    ++found->second;
  } else if (counts.size() < kMostLines) {
    counts.emplace(key, 1);
  } else {
    ++others;
  }
}

void cCaptureSummary::Add(const sCaptureItem& item) {
  clockSteps += items != 0 && item.time < lastTime ? 1 : 0;
  lastTime = item.time;
  ++items;
  const sDescription description = DescribeItem(item);
  switch (description.sort) {
    case eItemSort::Text:
      AddText(item, description);
      break;
    case eItemSort::Log:
      AddLog(item, description);
      break;
    case eItemSort::Event:
      for (const sEvent& event : description.events) {
        ++events[event.id];
      }
      break;
    default:
      if (description.command) {
        AddCommand(*description.command);
      }
  }
}

void cCaptureSummary::AddText(const sCaptureItem& item, const sDescription& description) {
  ApplySourceText(description.text, source);
  if (description.text == SubscriptionText(source.subscription)) {
    ++subscriptionTexts;
  } else if (textCount++ < kMostTexts) {
    texts.push_back({item.number, item.time, description.text});
  }
}

void cCaptureSummary::AddLog(const sCaptureItem& item, const sDescription& description) {
  if (!description.logCode) {
    return;
  }
  ++logCodes[*description.logCode];
  cells.Add(item.time, description);
  if (IsRebuilt(item, description, source)) {
    if (description.signalling && description.signalling->sibType) {
      ++rebuilt[*description.signalling->sibType];
    }
    return;
  }
  if (description.signalling) {
    AddSignalling(description);
  } else if (IsOfUnknownVersion(description) || description.details.starts_with("channel ")) {
    notDescribed.Add({*description.logCode, description.version.value_or(0), description.details});
  }
}

// A message in segments counts once.
void cCaptureSummary::AddSignalling(const sDescription& description) {
  const sSignalling& signalling = *description.signalling;
  if (signalling.segmentNumber <= 1) {
    const Channel channel(description.technology, ChannelOf(signalling),
                          LinkOf(signalling, description.technology));
    ++messages[channel][NameOf(signalling)];
  }
}

void cCaptureSummary::AddCommand(const sCommand& command) {
  if (command.subsystem && command.subsystemCommand) {
    subsystemCommands.Add({*command.subsystem, *command.subsystemCommand});
  } else {
    ++commands[command.code];
  }
}

std::string cCaptureSummary::Format() const {
  std::string text;
  if (clockSteps != 0) {
    Append(text, "\nClock:        set back {} time{}\n", clockSteps, clockSteps == 1 ? "" : "s");
  }
  AppendLogs(text);
  AppendMessages(text);
  AppendCellTable(text, cells);
  AppendEvents(text);
  AppendCommands(text);
  AppendTexts(text);
  return text;
}

void cCaptureSummary::AppendLogs(std::string& text) const {
  if (!logCodes.empty()) {
    text += "\nLog codes\n";
  }
  for (const auto& [code, count] : logCodes) {
    AppendLine(text, LogLine(code), count);
  }
  if (!notDescribed.counts.empty()) {
    text += "\nLogs that are not described\n";
  }
  for (const auto& [log, count] : notDescribed.counts) {
    const auto& [code, version, channel] = log;
    AppendLine(text,
               fmt::format("{}, version {}{}{}", LogLine(code), VersionText(code, version),
                           channel.empty() ? "" : ", ", channel),
               count);
  }
  AppendOthers(text, notDescribed.others);
}

void cCaptureSummary::AppendMessages(std::string& text) const {
  if (!messages.empty()) {
    text += "\nMessages by channel\n";
  }
  for (const auto& [channel, names] : messages) {
    const auto& [technology, name, link] = channel;
    std::uint64_t all = 0;
    for (const auto& [message, count] : names) {
      all += count;
    }
    AppendLine(
        text,
        fmt::format("{} {}{}{}", TechnologyName(technology), name, link.empty() ? "" : " ", link),
        all);
    for (const auto& [message, count] : names) {
      AppendLine(text, fmt::format("  {}", message), count);
    }
  }
  if (!rebuilt.empty()) {
    text += "\nSystem-information blocks that the recorder rebuilt\n";
  }
  for (const auto& [type, count] : rebuilt) {
    AppendLine(text, SystemInformationBlockName(type), count);
  }
}

void cCaptureSummary::AppendEvents(std::string& text) const {
  if (!events.empty()) {
    text += "\nEvents\n";
  }
  for (const auto& [id, count] : events) {
    AppendLine(text, fmt::format("{:>4} {}", id, EventName(id)), count);
  }
}

void cCaptureSummary::AppendCommands(std::string& text) const {
  if (!commands.empty()) {
    text += "\nOther commands, requests and replies\n";
  }
  for (const auto& [command, count] : commands) {
    AppendLine(text, fmt::format("0x{:02X} {}", command, CommandName(command)), count);
  }
  if (!subsystemCommands.counts.empty()) {
    text += "\nSubsystem commands, requests and replies\n";
  }
  for (const auto& [command, count] : subsystemCommands.counts) {
    AppendLine(text, fmt::format("0x{:02X} 0x{:04X}", command.first, command.second), count);
  }
  AppendOthers(text, subsystemCommands.others);
}

void cCaptureSummary::AppendTexts(std::string& text) const {
  if (textCount + subscriptionTexts != 0) {
    text += "\nTexts\n";
  }
  for (const sText& entry : texts) {
    Append(text, "  {}  {}  {}\n", entry.number, FormatUtc(entry.time), Quote(entry.text));
  }
  if (textCount > texts.size()) {
    Append(text, "  and {} more\n", textCount - texts.size());
  }
  if (subscriptionTexts != 0) {
    Append(text, "  {} of a change of subscription\n", subscriptionTexts);
  }
}

}  // namespace corvane::tools
