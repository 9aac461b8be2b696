#include "describe/ip_packet.h"
#include "describe/signalling_log.h"

namespace corvane {
namespace {

constexpr std::uint16_t kIpLog = 0x11EB;
constexpr std::uint16_t kSipLog = 0x156E;

// IP data: the protocol in byte 1, flags in 3, the packet's number in 4, the segment's in 6 (both
// of 16 bits), the data from 8 on.
constexpr std::uint8_t kIpProtocol = 1;
constexpr std::uint8_t kSentFlag = 0x40;
constexpr std::uint16_t kLastSegment = 0x8000;

void DescribeIpSegment(std::uint16_t number, std::uint16_t segment, sSignalling& signalling) {
  const bool isLast = (segment & kLastSegment) != 0;
  const std::uint16_t place = segment & (kLastSegment - 1u);
  // Segments may count from 0 or from 1: a last one that is a packet by itself is the only one.
  if (isLast && (place == 0 || StatedIpLength(signalling.message) == signalling.message.size())) {
    return;
  }
  signalling.segment = isLast ? eSegment::Last : eSegment::Part;
  signalling.segmentNumber = place;
  signalling.packetNumber = number;
}

void DescribeIp(const cFields& payload, sDescription& description) {
  const auto protocol = payload.Byte(1);
  const auto flags = payload.Byte(3);
  const auto number = payload.Word(4);
  const auto segment = payload.Word(6);
  if (!protocol || !flags || !number || !segment) {
    return;
  }
  if (*protocol != kIpProtocol) {
    description.details = "protocol " + std::to_string(*protocol);
    return;
  }
  const eLink link = (*flags & kSentFlag) != 0 ? eLink::Uplink : eLink::Downlink;
  DescribeRest(payload, 8, {"", eSyntax::Ip, link}, description);
  if (description.signalling) {
    DescribeIpSegment(*number, *segment, *description.signalling);
  }
}

// SIP: the link in byte 1 (0 downlink, 1 uplink), the length of the call ID in 3, that of the text
// in 6 (16 bits), then the call ID from 16 on, a zero, the text, a zero.
constexpr std::size_t kCallId = 16;

void DescribeSip(const cFields& payload, sDescription& description) {
  const auto link = payload.Byte(1);
  const auto callIdLength = payload.Byte(3);
  const auto length = payload.Word(6);
  if (!link || !callIdLength || !length) {
    return;
  }
  // The lengths may count the zeros or not.
  std::size_t text = kCallId + *callIdLength;
  if (payload.Byte(text) == 0) {
    ++text;
  }
  std::size_t textLength = *length;
  if (const auto whole = payload.Bytes(text, textLength);
      whole && textLength > 0 && whole->back() == 0) {
    --textLength;
  }
  sLogChannel channel{"", eSyntax::Sip, {}};
  if (*link <= 1) {
    channel.link = *link == 0 ? eLink::Downlink : eLink::Uplink;
  }
  DescribeMessage(payload, text, textLength, channel, description);
}

}  // namespace

bool DescribeInternetLog(std::uint16_t logCode, const cFields& payload, sDescription& description) {
  switch (logCode) {
    case kIpLog:
      DescribeIp(payload, description);
      description.technology = eTechnology::Ip;
      return true;
    case kSipLog:
      DescribeSip(payload, description);
      description.technology = eTechnology::Ims;
      return true;
    default:
      return false;
  }
}

}  // namespace corvane
