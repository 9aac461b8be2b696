#include "describe/ip_packet.h"
#include "describe/signalling_log.h"

namespace corvane {
namespace {

constexpr std::uint16_t kIpLog = 0x11EB;
constexpr std::uint16_t kSipLog = 0x156E;

// IP data: the packet's number and the segment's have 16 bits, the data go on to the end.
constexpr std::size_t kProtocol = 1;
constexpr std::size_t kFlags = 3;
constexpr std::size_t kPacketNumber = 4;
constexpr std::size_t kSegment = 6;
constexpr std::size_t kData = 8;

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
  const auto protocol = payload.Byte(kProtocol);
  const auto flags = payload.Byte(kFlags);
  const auto number = payload.Word(kPacketNumber);
  const auto segment = payload.Word(kSegment);
  if (!protocol || !flags || !number || !segment) {
    return;
  }
  if (*protocol != kIpProtocol) {
    description.details = "protocol " + std::to_string(*protocol);
    return;
  }
  const eLink link = (*flags & kSentFlag) != 0 ? eLink::Uplink : eLink::Downlink;
  DescribeRest(payload, kData, {"", eSyntax::Ip, link}, description);
  if (description.signalling) {
    DescribeIpSegment(*number, *segment, *description.signalling);
  }
}

// SIP: the link (0 downlink, 1 uplink), the lengths of the call ID and of the text (16 bits), then
// the call ID, a zero, the text, a zero.
constexpr std::size_t kSipLink = 1;
constexpr std::size_t kCallIdLength = 3;
constexpr std::size_t kTextLength = 6;
constexpr std::size_t kCallId = 16;

void DescribeSip(const cFields& payload, sDescription& description) {
  const auto link = payload.Byte(kSipLink);
  const auto callIdLength = payload.Byte(kCallIdLength);
  const auto length = payload.Word(kTextLength);
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
