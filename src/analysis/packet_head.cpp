#include "analysis/packet_head.h"

#include <algorithm>
#include <cstddef>
#include <span>

#include "capture/isf/layout.h"
#include "convert/item_description.h"
#include "diag/little_endian.h"
#include "diag/packets.h"

namespace corvane {
namespace {

using Packet = std::span<const std::uint8_t>;

// Leaves `word` empty where the packet ends before it. (An optional that is copied as a whole waits
// until its parts are stored: this is done for each item.)
void ReadWord(Packet packet, std::size_t offset, std::optional<std::uint16_t>& word) {
  if (packet.size() >= offset + 2) {
    word = Load16(&packet[offset]);
  }
}

void ReadLog(Packet packet, std::size_t codeOffset, sPacketHead& head) {
  head.sort = eItemSort::Log;
  ReadWord(packet, codeOffset, head.logCode);
}

// Messages of other commands tell neither subsystem nor levels, or not where that is known.
void ReadMessage(Packet packet, sPacketHead& head) {
  head.sort = eItemSort::Message;
  if (packet[0] != command::kExtendedMessage && packet[0] != command::kTerseMessage) {
    return;
  }
  ReadWord(packet, message::kSsid, head.ssid);
  if (packet.size() >= message::kLevels + 4) {
    head.levels = Load32(&packet[message::kLevels]);
  }
}

// How many bytes an event takes whose word and time are there.
[[nodiscard]] std::size_t EventSize(Packet event, std::size_t head, std::uint16_t word) {
  const unsigned code = (word & event_report::kLengthCodeMask) >> event_report::kLengthCodeShift;
  if (code != event_report::kCountedPayload) {
    return head + code;
  }
  return event.size() > head ? head + 1 + event[head] : head;
}

void ReadEvents(Packet report, sPacketHead& head) {
  head.sort = eItemSort::Event;
  if (report.size() < event_report::kEvents) {
    return;
  }
  Packet rest = report.subspan(event_report::kEvents);
  rest = rest.first(std::min<std::size_t>(Load16(&report[event_report::kLength]), rest.size()));
  while (rest.size() >= 2) {
    const std::uint16_t word = Load16(rest.data());
    const std::size_t eventHead = (word & event_report::kShortTime) != 0 ? 2 + 2 : 2 + 8;
    if (rest.size() < eventHead) {
      return;
    }
    head.events.push_back(word & event_report::kIdMask);
    rest = rest.subspan(std::min(EventSize(rest, eventHead, word), rest.size()));
  }
}

[[nodiscard]] bool IsShortEventAnswer(Packet packet) {
  return packet.size() == event_report::kShortAnswerSize && packet[1] == 0 && packet[2] == 0;
}

// Texts and commands are too few to matter.
void ReadFromDescription(const sCaptureItem& item, sPacketHead& head) {
  const sDescription description = DescribeItem(item);
  head.sort = description.sort;
  head.subscription = description.subscription;
  if (description.command) {
    head.command = description.command->code;
    head.subsystem = description.command->subsystem;
    head.subsystemCommand = description.command->subsystemCommand;
  }
}

// A packet of the modem. False for one that is none of those that come in masses.
[[nodiscard]] bool ReadTraffic(Packet packet, bool isSingleEvent, sPacketHead& head) {
  switch (packet[0]) {
    case command::kLog:
      ReadLog(packet, log_packet::kLogCode, head);
      return true;
    case command::kSecuredLog:
      ReadLog(packet, secured_log::kLogCode, head);
      return true;
    case command::kMessage:
    case command::kExtendedMessage:
    case command::kTerseMessage:
    case command::kNewTerseMessage:
      ReadMessage(packet, head);
      return true;
    case command::kEventReport:
      if (!isSingleEvent && IsShortEventAnswer(packet)) {
        return false;
      }
      [[fallthrough]];
    case command::kSecondEventReport:
      ReadEvents(packet, head);
      return true;
    default:
      return false;
  }
}

}  // namespace

void ReadPacketHead(const sCaptureItem& item, sPacketHead& head) {
  head.subscription.reset();
  head.logCode.reset();
  head.events.clear();
  head.ssid.reset();
  head.levels.reset();
  head.command.reset();
  head.subsystem.reset();
  head.subsystemCommand.reset();
  if (item.type == isf::kInformationItem || item.type == isf::kRequestItem ||
      item.type == isf::kSubsystemRequestItem || item.bytes.empty()) {
    ReadFromDescription(item, head);
    return;
  }
  const auto [packet, subscription] = Unwrap(item.bytes);
  if (subscription) {
    head.subscription = *subscription;
  }
  if (!ReadTraffic(packet, item.type == isf::kEventItem && !subscription, head)) {
    ReadFromDescription(item, head);
  }
}

}  // namespace corvane
