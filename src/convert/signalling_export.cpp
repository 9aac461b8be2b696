#include "convert/signalling_export.h"

#include <algorithm>
#include <utility>

#include "capture/isf/layout.h"
#include "convert/characters.h"
#include "convert/item_description.h"
#include "convert/log_lines.h"
#include "convert/rebuilt_blocks.h"
#include "describe/log_packets.h"
#include "describe/names.h"
#include "diag/little_endian.h"
#include "diag/packets.h"

namespace corvane {
namespace {

constexpr char kRebuilt[] = ", rebuilt by the recorder";

[[nodiscard]] bool IsOfHost(const sCaptureItem& item) {
  return item.type == isf::kRequestItem || item.type == isf::kSubsystemRequestItem;
}

// How many of a message's items are named. An RRC message has up to 16; only an IP packet can have
// more, thousands of them.
constexpr std::size_t kMostNamed = 16;

// "joined from items 3, 5, 9", "made from item 3"
[[nodiscard]] std::string JoinedText(std::span<const std::uint64_t> numbers) {
  std::string text = numbers.size() == 1 ? "made from item" : "joined from items";
  const char* before = " ";
  for (const std::uint64_t number : numbers.first(std::min(numbers.size(), kMostNamed))) {
    text += std::exchange(before, ", ");
    text += std::to_string(number);
  }
  if (numbers.size() > kMostNamed) {
    text += " and " + std::to_string(numbers.size() - kMostNamed) + " more";
  }
  return text;
}

// What a packet is that is no log: "request 0x73 log mask".
[[nodiscard]] std::string CommandText(const sCaptureItem& item, const sDescription& description) {
  std::string text = "packet";
  if (description.sort == eItemSort::Request) {
    text = "request";
  } else if (description.sort == eItemSort::Reply) {
    text = "reply";
  }
  const std::span<const std::uint8_t> packet = Unwrap(item.bytes).packet;
  if (!packet.empty()) {
    text += " " + HexText(packet[0], 2);
  }
  if (description.command) {
    const sCommand& command = *description.command;
    for (const std::string_view name :
         {command.name, command.subsystemName, command.subsystemCommandName}) {
      if (!name.empty()) {
        text += " ";
        text += name;
      }
    }
  }
  return text;
}

// What a comment says that an item is.
[[nodiscard]] std::string SortText(const sCaptureItem& item, const sDescription& description) {
  switch (description.sort) {
    case eItemSort::Log:
      return HexText(description.logCode.value_or(0), 4);
    case eItemSort::Event:
      return "event";
    case eItemSort::Message:
      return "message";
    case eItemSort::Text:
      return "text";
    default:
      return CommandText(item, description);
  }
}

[[nodiscard]] sDissector CommandDissector(eItemSort sort) {
  switch (sort) {
    case eItemSort::Request:
      return {kBytesDissector, "DIAG request"};
    case eItemSort::Reply:
      return {kBytesDissector, "DIAG reply"};
    default:
      return {kBytesDissector, "DIAG packet"};
  }
}

}  // namespace

bool cSignallingLogs::Has(std::uint16_t logCode) {
  eAnswer& answer = answers[logCode];
  if (answer == eAnswer::NotAsked) {
    sDescription ofNothing;
    answer = DescribeSignallingLog(logCode, {}, ofNothing) ? eAnswer::Yes : eAnswer::No;
  }
  return answer == eAnswer::Yes;
}

cSignallingExport::cSignallingExport(const sExportOptions& wanted,
                                     std::unique_ptr<cFrameWriter> frames)
    : options(wanted), writer(std::move(frames)), clock(wanted.clock, wanted.leapSeconds) {}

void cSignallingExport::Add(const sCaptureItem& item) {
  ++items;
  if (!MayBeShown(item)) {
    return;
  }
  const sDescription description = DescribeItem(item);
  if (description.sort == eItemSort::Text) {
    ApplySourceText(description.text, source);
  }
  const bool isLog = description.sort == eItemSort::Log;
  if (!isLog && !options.raw && !IsExtra(description.sort)) {
    return;
  }
  const sFrameTime time = clock.TimeOf(item.time, description.modemTime, source.imported);
  sShown shown{item, description, source, time.nanoseconds};
  if (description.subscription) {
    shown.source.subscription = description.subscription;
  }
  const std::uint64_t framesBefore = messages + otherFrames;
  if (options.raw && description.sort != eItemSort::Text) {
    ShowPacket(shown);
  }
  if (isLog) {
    ShowLog(shown);
  } else if (IsExtra(description.sort)) {
    ShowExtra(shown);
  }
  // Once, however many frames have it, and not at all where none has.
  if (!time.isBelieved && messages + otherFrames != framesBefore) {
    ++timesNotBelieved;
  }
}

void cSignallingExport::Pass(const sCaptureItem& item) {
  ApplySourceText(DescribeItem(item).text, source);
}

void cSignallingExport::Mark(const sMarker& marker) {
  if (!options.messages) {
    ++markersLeftOut;
    return;
  }
  const std::string line = MarkerTextLine(marker.text);
  const std::string comment = "marker, " + SourceName(source, options.captureName);
  sFrame frame;
  frame.sort = eFrameSort::Text;
  frame.time = clock.TimeOf(marker.time, std::nullopt, source.imported).nanoseconds;
  frame.source = &source;
  frame.comment = comment;
  frame.dissector = kLineDissector;
  frame.bytes = BytesOf(line);
  AddExtra(frame);
}

// Looks at as little as possible: most items of a large capture hold no signalling, and describing
// one takes longer than reading it.
bool cSignallingExport::MayBeShown(const sCaptureItem& item) {
  if (item.type == isf::kInformationItem || options.raw) {
    return true;
  }
  if (item.type == isf::kEventItem) {
    return options.events;
  }
  if (item.type == isf::kMessageItem) {
    return options.messages;
  }
  if (IsOfHost(item)) {
    return options.requests;
  }
  const std::span<const std::uint8_t> packet = Unwrap(item.bytes).packet;
  if (packet.empty() || (packet[0] != command::kLog && packet[0] != command::kSecuredLog)) {
    return options.events || options.messages || options.requests;
  }
  if (packet[0] == command::kSecuredLog || packet.size() < log_packet::kHeaderSize) {
    return true;
  }
  if (signallingLogs.Has(Load16(&packet[log_packet::kLogCode]))) {
    return true;
  }
  ++logsWithoutSignalling;
  return false;
}

bool cSignallingExport::IsExtra(eItemSort sort) const {
  switch (sort) {
    case eItemSort::Event:
      return options.events;
    case eItemSort::Message:
    case eItemSort::Text:
      return options.messages;
    default:
      return options.requests;
  }
}

void cSignallingExport::ShowLog(const sShown& shown) {
  const sDescription& description = shown.description;
  // Asked first: a rebuilt block that cannot be shown is no message of the modem's that is lost.
  const bool rebuilt = IsRebuilt(shown.item, description, source);
  if (rebuilt && !options.keepRebuilt) {
    ++rebuiltLeftOut;
    return;
  }
  if (!description.signalling) {
    if (description.logCode && !signallingLogs.Has(*description.logCode)) {
      ++logsWithoutSignalling;
    } else if (description.logCode && !description.leftOut) {
      unshown.Add(description, description.cutOff ? "cut off" : description.details);
    }
    return;
  }
  if (description.signalling->segment == eSegment::Whole) {
    std::string comment = CommentOn(shown);
    if (rebuilt) {
      comment += kRebuilt;
    }
    ShowMessage(shown, *description.signalling, comment);
  }
  ShowJoined(shown);
}

// Shows the messages that the item completes.
void cSignallingExport::ShowJoined(const sShown& shown) {
  const std::uint64_t number = shown.item.number;
  for (const std::optional<sJoinedMessage>& joined :
       {segments.Add(shown.source, number, shown.description),
        blocks.Add(shown.source, number, shown.description)}) {
    if (joined) {
      ShowMessage(shown, joined->signalling, CommentOn(shown) + ", " + JoinedText(joined->items));
    }
  }
}

void cSignallingExport::ShowMessage(const sShown& shown, const sSignalling& signalling,
                                    const std::string& comment) {
  sFrame frame;
  frame.time = shown.time;
  frame.source = &shown.source;
  frame.link = signalling.link;
  frame.comment = comment;
  frame.signalling = &signalling;
  frame.technology = shown.description.technology;
  frame.cell = shown.description.cell ? &*shown.description.cell : nullptr;
  if (writer->Add(frame)) {
    ++messages;
  } else {
    unshown.Add(shown.description, "the format cannot carry it");
  }
}

void cSignallingExport::ShowExtra(const sShown& shown) {
  const sDescription& description = shown.description;
  if (description.sort == eItemSort::Event) {
    ShowEvents(shown);
  } else if (description.sort == eItemSort::Text) {
    ShowLine(shown, TextLine(description.text));
  } else if (description.message) {
    ShowLine(shown, MessageLine(*description.message));
  } else {
    const eLink link = description.sort == eItemSort::Request ? eLink::Uplink : eLink::Downlink;
    ShowText(shown, CommandDissector(description.sort), Unwrap(shown.item.bytes).packet, link);
  }
}

void cSignallingExport::ShowEvents(sShown shown) {
  const std::vector<sEvent>& events = shown.description.events;
  for (const sEvent& event : events) {
    // The first one's time is the item's, for which the clock was asked already.
    if (event.time && &event != &events.front()) {
      const sFrameTime time = clock.TimeOf(shown.item.time, event.time, source.imported);
      shown.time = time.nanoseconds;
      timesNotBelieved += time.isBelieved ? 0 : 1;
    }
    ShowLine(shown, EventLine(event));
  }
}

void cSignallingExport::ShowLine(const sShown& shown, std::string_view line) {
  ShowText(shown, kLineDissector, BytesOf(line), std::nullopt);
}

void cSignallingExport::ShowText(const sShown& shown, const sDissector& dissector,
                                 std::span<const std::uint8_t> bytes, std::optional<eLink> link) {
  const std::string comment = CommentOn(shown);
  sFrame frame;
  frame.sort = eFrameSort::Text;
  frame.time = shown.time;
  frame.source = &shown.source;
  frame.link = link;
  frame.comment = comment;
  frame.dissector = dissector;
  frame.bytes = bytes;
  AddExtra(frame);
}

void cSignallingExport::ShowPacket(const sShown& shown) {
  const std::string comment = CommentOn(shown);
  sFrame frame;
  frame.sort = eFrameSort::Packet;
  frame.time = shown.time;
  frame.source = &shown.source;
  frame.link = IsOfHost(shown.item) ? eLink::Uplink : eLink::Downlink;
  frame.comment = comment;
  frame.bytes = shown.item.bytes;
  AddExtra(frame);
}

void cSignallingExport::AddExtra(const sFrame& frame) {
  if (writer->Add(frame)) {
    ++otherFrames;
  }
}

std::string cSignallingExport::CommentOn(const sShown& shown) const {
  return "item " + std::to_string(shown.item.number) + ", " +
         SortText(shown.item, shown.description) + ", " +
         SourceName(shown.source, options.captureName);
}

std::vector<std::string> cSignallingExport::Notes() const {
  std::string first = CountText(messages, "message", "messages");
  if (otherFrames != 0) {
    first += " and " + CountText(otherFrames, "other frame", "other frames");
  }
  std::vector<std::string> notes{first + " of " + CountText(items, "item", "items")};
  for (std::string& note : unshown.Notes()) {
    notes.push_back(std::move(note));
  }
  for (const auto& [log, count] : segments.Incomplete()) {
    notes.push_back(CountText(count, "message lacks parts and is", "messages lack parts and are") +
                    " not shown: " + LogCodeText(log.logCode));
    if (log.version) {
      notes.back() += ", version " + VersionText(log.logCode, *log.version);
    }
  }
  if (rebuiltLeftOut != 0) {
    notes.push_back(CountText(rebuiltLeftOut,
                              "system-information block that the recorder rebuilt is",
                              "system-information blocks that the recorder rebuilt are") +
                    " left out (--synthetic keep)");
  }
  if (markersLeftOut != 0) {
    notes.push_back(CountText(markersLeftOut, "marker is", "markers are") +
                    " not shown (pcapng shows them with --messages)");
  }
  if (timesNotBelieved != 0) {
    notes.push_back(
        CountText(timesNotBelieved,
                  "modem time is more than two days away from the recorder's; this packet has",
                  "modem times are more than two days away from the recorder's; these packets "
                  "have") +
        " the recorder's time");
  }
  if (logsWithoutSignalling != 0) {
    notes.push_back(CountText(logsWithoutSignalling, "log packet carries", "log packets carry") +
                    " no signalling");
  }
  return notes;
}

}  // namespace corvane
