#include "corvane/reading/item_wording.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <span>
#include <utility>

#include "capture/isf/layout.h"
#include "corvane/command/readable_text.h"
#include "corvane/reading/cell_wording.h"
#include "describe/message_names.h"
#include "describe/names.h"
#include "diag/packets.h"

namespace corvane::tools {
namespace {

// What is not said of a line's many numbers, because nobody reads it there.
constexpr std::size_t kMostPayloadBytes = 16;
constexpr std::size_t kMostArguments = 8;
constexpr std::size_t kMostEvents = 4;

constexpr std::string_view kUnknownType = "unknown";

// Groups of words are two blanks apart.
constexpr std::string_view kGroup = "  ";

template <typename... Arguments>
void Append(std::string& text, fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  fmt::format_to(std::back_inserter(text), format, std::forward<Arguments>(arguments)...);
}

// A blank in front of words that there may not be.
void AppendWord(std::string& text, std::string_view word) {
  if (!word.empty()) {
    (text += ' ') += word;
  }
}

void AppendGroup(std::string& text, std::string_view words) {
  if (!words.empty()) {
    (text += kGroup) += words;
  }
}

// --- Logs

// Channels of other networks have their direction in their name.
[[nodiscard]] bool NeedsLink(const sDescription& description) {
  return description.signalling->channel.empty() || description.technology == eTechnology::Gsm;
}

// The letters of A to Z of a name, all small.
[[nodiscard]] std::string LettersOf(std::string_view name) {
  std::string letters;
  for (const char character : name) {
    const char small = static_cast<char>(character | 0x20);
    if (small >= 'a' && small <= 'z') {
      letters += small;
    }
  }
  return letters;
}

// Where a message comes by itself, its channel is called as it is: "radio bearer configuration" of
// "Radio bearer config".
[[nodiscard]] bool IsNamedByMessage(const sSignalling& signalling) {
  const std::string channel = LettersOf(signalling.channel);
  const std::string message = LettersOf(signalling.messageName);
  return !message.empty() && (channel.starts_with(message) || message.starts_with(channel));
}

void AppendChannel(std::string& text, const sDescription& description) {
  const sSignalling& signalling = *description.signalling;
  const std::string_view channel = IsNamedByMessage(signalling) ? "" : signalling.channel;
  AppendGroup(text, channel);
  if (signalling.link && NeedsLink(description)) {
    text += channel.empty() ? kGroup : " ";
    text += *signalling.link == eLink::Uplink ? "uplink" : "downlink";
  }
}

void AppendMessageName(std::string& text, const sSignalling& signalling) {
  AppendGroup(text, signalling.messageName);
  if (IsCiphered(signalling.syntax, signalling.message)) {
    AppendGroup(text, "ciphered");
  }
  if (signalling.segment == eSegment::Last) {
    AppendGroup(text, "last segment");
  } else if (signalling.segment == eSegment::Part) {
    Append(text, "  segment {}", signalling.segmentNumber);
  }
}

void AppendSignalling(std::string& text, const sDescription& description) {
  AppendChannel(text, description);
  AppendMessageName(text, *description.signalling);
  const std::optional<std::uint8_t> bearer = description.signalling->radioBearer;
  // The bearers of LTE and NR follow from the channel.
  if (description.technology == eTechnology::Wcdma && bearer.value_or(0) != 0) {
    Append(text, "  bearer {}", *bearer);
  }
  if (description.cell) {
    AppendCarrier(text, kGroup, description.technology, *description.cell);
  }
}

// What the library learned beside the log: the extra field of the item.
void AppendLearned(std::string& text, std::uint16_t logCode, std::uint32_t learned) {
  if (logCode == ota_log::kLogCode) {
    Append(text, "  cell 0x{:06X}", learned);
  } else {
    Append(text, "  technology {}", learned);
  }
}

void AppendLog(std::string& text, const sCaptureItem& item, const sDescription& description,
               bool isRebuilt) {
  if (!description.logCode) {
    text += "log packet without a log code";
    return;
  }
  Append(text, "log 0x{:04X}", *description.logCode);
  AppendWord(text,
             description.signalling ? ShortLogName(description.logName) : description.logName);
  if (description.signalling) {
    AppendSignalling(text, description);
  } else if (description.cell) {
    AppendCell(text, description.technology, *description.cell);
  }
  AppendGroup(text, description.details);
  if (isRebuilt) {
    AppendGroup(text, "synthetic");
  }
  if (IsOfUnknownVersion(description)) {
    Append(text, "  unknown version {}", VersionText(*description.logCode, *description.version));
  }
  if (item.extra) {
    AppendLearned(text, *description.logCode, *item.extra);
  }
}

// --- Events

void AppendPayload(std::string& text, std::span<const std::uint8_t> payload) {
  text += " payload";
  for (const std::uint8_t byte : payload.first(std::min(payload.size(), kMostPayloadBytes))) {
    Append(text, " {:02X}", byte);
  }
  if (payload.size() > kMostPayloadBytes) {
    Append(text, " and {} more bytes", payload.size() - kMostPayloadBytes);
  }
}

// "LTE RRC state: connected" of "LTE RRC state change".
void AppendEvent(std::string& text, const sEvent& event) {
  constexpr std::string_view kChange = " change";
  Append(text, "{}", event.id);
  std::string_view name = event.name;
  if (!event.value.empty() && name.ends_with(kChange)) {
    name.remove_suffix(kChange.size());
  }
  AppendWord(text, name);
  if (!event.value.empty()) {
    (text += ": ") += event.value;
  } else if (!event.payload.empty()) {
    AppendPayload(text, event.payload);
  }
}

void AppendEvents(std::string& text, const std::vector<sEvent>& events) {
  if (events.empty()) {
    text += "event";
    return;
  }
  if (events.size() == 1) {
    text += "event ";
    AppendEvent(text, events.front());
    return;
  }
  Append(text, "report of {} events", events.size());
  const char* separator = ": ";
  for (const sEvent& event : std::span(events).first(std::min(events.size(), kMostEvents))) {
    text += std::exchange(separator, "; ");
    AppendEvent(text, event);
  }
  if (events.size() > kMostEvents) {
    Append(text, "; and {} more", events.size() - kMostEvents);
  }
}

// --- Messages

void AppendLevels(std::string& text, std::uint32_t levels) {
  char separator = ' ';
  std::uint32_t level = 0;
  for (; !MessageLevelName(level).empty(); ++level) {
    if ((levels >> level & 1) != 0) {
      (text += std::exchange(separator, '/')) += MessageLevelName(level);
    }
  }
  // The others mean something else in each subsystem.
  if (const std::uint32_t others = levels >> level << level; others != 0) {
    Append(text, "{}0x{:X}", separator, others);
  }
}

void AppendPlace(std::string& text, const sDebugMessage& message) {
  if (!message.file.empty()) {
    // A file's name is what the modem says it is.
    const std::string quoted = Quote(message.file);
    AppendWord(text, std::string_view(quoted).substr(1, quoted.size() - 2));
    if (message.line) {
      Append(text, ":{}", *message.line);
    }
  } else if (message.line) {
    Append(text, " line {}", *message.line);
  }
}

// Of a message whose text has not all of them: a hashed one has none.
void AppendArguments(std::string& text, const std::vector<std::uint32_t>& arguments) {
  if (arguments.empty()) {
    return;
  }
  text += arguments.size() == 1 ? " argument" : " arguments";
  for (const std::uint32_t argument :
       std::span(arguments).first(std::min(arguments.size(), kMostArguments))) {
    Append(text, " 0x{:X}", argument);
  }
  if (arguments.size() > kMostArguments) {
    Append(text, " and {} more", arguments.size() - kMostArguments);
  }
}

void AppendMessage(std::string& text, const sDebugMessage& message) {
  text += "message";
  if (message.ssid) {
    Append(text, " SSID {}", *message.ssid);
  }
  AppendWord(text, message.subsystem);
  AppendLevels(text, message.levels.value_or(0));
  AppendPlace(text, message);
  if (message.hash) {
    Append(text, " hash 0x{:08X}", *message.hash);
  }
  if (!message.text.empty()) {
    AppendWord(text, Quote(message.text));
  }
  if (message.HasOtherArguments()) {
    AppendArguments(text, message.arguments);
  }
  if (message.dropped != 0) {
    Append(text, "  {} lost before it", message.dropped);
  }
}

// --- Requests and replies

// "log mask", "subsystem 0x0F command 0x0000"; empty where the code is all there is.
void AppendCommandName(std::string& text, const sCommand& command) {
  if (!command.subsystemCommandName.empty()) {
    text += command.subsystemCommandName;
  } else if (command.subsystem && command.subsystemCommand) {
    Append(text, "subsystem 0x{:02X}", *command.subsystem);
    AppendWord(text, command.subsystemName);
    Append(text, " command 0x{:04X}", *command.subsystemCommand);
  } else {
    text += command.name;
  }
}

// `alone` stands before the code of a command without a name: "request 0x29".
void AppendCommand(std::string& text, const std::optional<sCommand>& command, const char* kind,
                   const char* alone) {
  if (!command) {
    text += alone;
    return;
  }
  if (!command->refusal.empty()) {
    Append(text, "request refused: {}", command->refusal);
    return;
  }
  const std::size_t start = text.size();
  AppendCommandName(text, *command);
  if (text.size() == start) {
    Append(text, "{} 0x{:02X}", alone, command->code);
    return;
  }
  AppendWord(text, kind);
  if (!command->details.empty()) {
    (text += ", ") += command->details;
  }
}

void AppendContent(std::string& text, const sCaptureItem& item, const sDescription& description,
                   bool isRebuilt) {
  switch (description.sort) {
    case eItemSort::Log:
      AppendLog(text, item, description, isRebuilt);
      break;
    case eItemSort::Event:
      AppendEvents(text, description.events);
      break;
    case eItemSort::Message:
      AppendMessage(text, description.message.value_or(sDebugMessage{}));
      break;
    case eItemSort::Text:
      (text += "text ") += Quote(description.text);
      break;
    case eItemSort::Request:
      AppendCommand(text, description.command, "request", "request");
      break;
    default:
      AppendCommand(text, description.command, "reply", "packet");
  }
}

}  // namespace

std::string_view ItemTypeName(std::uint32_t type) {
  switch (type) {
    case isf::kShortLogItem:
      return "short-log";
    case isf::kPacketItem:
      return "packet";
    case isf::kRequestItem:
      return "request";
    case isf::kEventItem:
      return "event";
    case isf::kLogItem:
      return "log";
    case isf::kMessageItem:
      return "message";
    case isf::kInformationItem:
      return "information";
    case isf::kSignallingLogItem:
      return "signalling-log";
    case isf::kSubsystemItem:
      return "subsystem";
    case isf::kSubsystemRequestItem:
      return "subsystem-request";
    default:
      return kUnknownType;
  }
}

std::vector<sNamedItemType> NamedItemTypes() {
  std::vector<sNamedItemType> named;
  for (std::uint32_t type = 0; type < isf::kItemTypes; ++type) {
    if (const std::string_view name = ItemTypeName(type); name != kUnknownType) {
      named.push_back({type, std::string(name)});
    }
  }
  return named;
}

void AppendWords(std::string& text, const sCaptureItem& item, const sDescription& description,
                 bool isRebuilt) {
  if (ItemTypeName(item.type) == kUnknownType) {
    text += "item of an unknown type";
    return;
  }
  if (item.type == isf::kInformationItem && description.sort != eItemSort::Text) {
    text += "information without a text header";
    return;
  }
  AppendContent(text, item, description, isRebuilt);
  if (description.subscription) {
    Append(text, "  subscription {}", *description.subscription);
  }
  if (description.cutOff) {
    AppendGroup(text, "cut off");
  }
}

std::string_view ShortLogName(std::string_view name) {
  const std::size_t tail = name.find(" OTA ");
  return name.substr(0, tail);
}

bool IsOfUnknownVersion(const sDescription& description) {
  return description.logCode && description.version && !description.signalling &&
         !description.cell && description.details.empty() && !description.leftOut &&
         !description.cutOff;
}

bool HasCommand(const sCaptureItem& item) {
  return item.type != isf::kInformationItem && !item.bytes.empty();
}

}  // namespace corvane::tools
