#include "describe/message_types.h"

// 3GPP TS 44.060, 11.2: the control messages of RLC/MAC.
namespace corvane {
namespace {

constexpr sTypeName kDownlink[] = {
    {1, "Packet cell change order"},
    {2, "Packet downlink assignment"},
    {3, "Packet measurement order"},
    {4, "Packet polling request"},
    {5, "Packet power control timing advance"},
    {6, "Packet queueing notification"},
    {7, "Packet timeslot reconfigure"},
    {8, "Packet TBF release"},
    {9, "Packet uplink ack nack"},
    {10, "Packet uplink assignment"},
    {11, "Packet cell change continue"},
    {12, "Packet neighbour cell data"},
    {13, "Packet serving cell data"},
    {21, "Packet handover command"},
    {22, "Packet physical information"},
    {33, "Packet access reject"},
    {34, "Packet paging request"},
    {35, "Packet PDCH release"},
    {36, "Packet PRACH parameters"},
    {37, "Packet downlink dummy control block"},
    {48, "Packet system info 6"},
    {49, "Packet system info 1"},
    {50, "Packet system info 2"},
    {51, "Packet system info 3"},
    {52, "Packet system info 3 bis"},
    {53, "Packet system info 4"},
    {54, "Packet system info 5"},
    {55, "Packet system info 13"},
    {56, "Packet system info 7"},
    {57, "Packet system info 8"},
    {58, "Packet system info 14"},
    {60, "Packet system info 3 ter"},
    {61, "Packet system info 3 quater"},
    {62, "Packet system info 15"},
};

constexpr sTypeName kUplink[] = {
    {0, "Packet cell change failure"},
    {1, "Packet control acknowledgement"},
    {2, "Packet downlink ack nack"},
    {3, "Packet uplink dummy control block"},
    {4, "Packet measurement report"},
    {5, "Packet resource request"},
    {6, "Packet mobile TBF status"},
    {7, "Packet PSI status"},
    {8, "EGPRS packet downlink ack nack"},
    {9, "Packet pause"},
    {10, "Packet enhanced measurement report"},
    {11, "Additional MS RAC"},
    {12, "Packet cell change notification"},
    {13, "Packet SI status"},
};

// Payload types: the two highest bits of the MAC header, which is the first octet.
constexpr std::uint8_t kControl = 1;
constexpr std::uint8_t kControlWithOptionalOctets = 2;  // downlink only

// The first of the optional octets.
constexpr std::uint8_t kLaterSegment = 0x80;  // RBSN: there is no message type
constexpr std::uint8_t kAddressed = 0x01;     // AC: one more octet

// The six highest bits of an octet are the message type.
[[nodiscard]] std::string_view TypeAt(MessageBytes block, std::size_t offset,
                                      std::span<const sTypeName> types) {
  return offset < block.size() ? NameOfType(types, block[offset] >> 2) : std::string_view();
}

[[nodiscard]] std::string_view DownlinkName(MessageBytes block) {
  if (block[0] >> 6 == kControl) {
    return TypeAt(block, 1, kDownlink);
  }
  if (block[0] >> 6 != kControlWithOptionalOctets || block.size() < 2 ||
      (block[1] & kLaterSegment) != 0) {
    return {};
  }
  return TypeAt(block, (block[1] & kAddressed) != 0 ? 3 : 2, kDownlink);
}

}  // namespace

std::string_view GprsMessageName(eSyntax syntax, MessageBytes message) {
  if (message.empty()) {
    return {};
  }
  if (syntax == eSyntax::GprsRlcMacDownlink) {
    return DownlinkName(message);
  }
  return syntax == eSyntax::GprsRlcMacUplink && message[0] >> 6 == kControl
             ? TypeAt(message, 1, kUplink)
             : std::string_view();
}

}  // namespace corvane
