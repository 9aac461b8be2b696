#include "convert/kept_packets.h"

#include <algorithm>

#include "capture/isf/event_report.h"
#include "capture/isf/layout.h"
#include "diag/little_endian.h"
#include "diag/packets.h"
#include "diag/protocol_buffer.h"

namespace corvane {
namespace {

using Packet = std::span<const std::uint8_t>;

// The packet within a get-item response; empty for any other packet, and where it holds none.
[[nodiscard]] Packet PacketInReply(Packet reply) {
  if (reply.size() <= get_item::kPacket || !command::IsSubsystem(reply[0]) ||
      reply[subsystem::kId] != subsystem::kDebugSubsystem ||
      Load16(&reply[subsystem::kCommand]) != subsystem::kGetItemCommand ||
      Load32(&reply[get_item::kStatus]) != 0) {
    return {};
  }
  return reply.subspan(get_item::kPacket);
}

// The items that the recorder writes for a packet of the modem.
[[nodiscard]] std::deque<std::vector<std::uint8_t>> ItemsOf(Packet packet) {
  std::deque<std::vector<std::uint8_t>> items;
  if (packet.empty()) {
    return items;
  }
  const cBufferReference buffer(MakeBuffer(packet, kOriginDevice));
  if (!IsUsable(buffer.Get())) {
    return items;
  }
  if (!command::IsEventReport(packet[0]) || IsShortEventAnswer(packet)) {
    items.emplace_back(packet.begin(), packet.end());
    return items;
  }
  sDiagBuffer report(buffer.Get());
  std::vector<cBufferReference> events;
  if (SplitEventReport(report, events)) {
    for (const cBufferReference& event : events) {
      items.emplace_back(event->Bytes().begin(), event->Bytes().end());
    }
  }
  return items;
}

}  // namespace

bool cKeptPackets::IsOutOfReply(const sCaptureItem& item) {
  const bool isExpected =
      item.number == expectedNumber && !expected.empty() && item.bytes == expected.front();
  expectedNumber = item.number + 1;
  if (isExpected) {
    expected.pop_front();
  } else {
    expected.clear();
  }
  // Responses lie in each other, and each is unwrapped in its turn. The events of a report that lay
  // in one begin with another command.
  if (item.type == isf::kSubsystemItem) {
    expected = ItemsOf(PacketInReply(item.bytes));
  }
  return isExpected;
}

}  // namespace corvane
