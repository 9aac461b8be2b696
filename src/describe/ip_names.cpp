#include "describe/message_types.h"

// What an IP packet carries, by the numbers of IANA's registry of protocols.
namespace corvane {
namespace {

struct sProtocol {
  std::uint8_t number = 0;
  std::string_view overIpv4;
  std::string_view overIpv6;
};

constexpr sProtocol kProtocols[] = {
    {1, "IPv4 ICMP", "IPv6 ICMP"},  {2, "IPv4 IGMP", "IPv6 IGMP"},
    {4, "IPv4 IPv4", "IPv6 IPv4"},  {6, "IPv4 TCP", "IPv6 TCP"},
    {17, "IPv4 UDP", "IPv6 UDP"},   {41, "IPv4 IPv6", "IPv6 IPv6"},
    {47, "IPv4 GRE", "IPv6 GRE"},   {50, "IPv4 ESP", "IPv6 ESP"},
    {51, "IPv4 AH", "IPv6 AH"},     {58, "IPv4 ICMPv6", "IPv6 ICMPv6"},
    {89, "IPv4 OSPF", "IPv6 OSPF"}, {132, "IPv4 SCTP", "IPv6 SCTP"},
};

constexpr std::size_t kIpv4Header = 20;
constexpr std::size_t kIpv4Protocol = 9;
constexpr std::size_t kIpv6Header = 40;
constexpr std::size_t kIpv6NextHeader = 6;

// Headers that stand between IPv6's own and what it carries. Each begins with the number of the
// next one, and, but for a fragment's, its length.
constexpr std::uint8_t kHopByHop = 0;
constexpr std::uint8_t kRouting = 43;
constexpr std::uint8_t kFragment = 44;
constexpr std::uint8_t kDestinationOptions = 60;
constexpr std::size_t kExtensionUnit = 8;
constexpr std::size_t kFragmentOffset = 2;
constexpr std::uint8_t kFragmentOffsetLow = 0xF8;  // the bits of the octet behind

[[nodiscard]] const sProtocol* FindProtocol(std::uint8_t number) {
  for (const sProtocol& protocol : kProtocols) {
    if (protocol.number == number) {
      return &protocol;
    }
  }
  return nullptr;
}

[[nodiscard]] std::string_view Ipv4Name(MessageBytes packet) {
  if (packet.size() < kIpv4Header) {
    return {};
  }
  const sProtocol* const protocol = FindProtocol(packet[kIpv4Protocol]);
  return protocol == nullptr ? "IPv4" : protocol->overIpv4;
}

[[nodiscard]] std::string_view Ipv6Name(MessageBytes packet) {
  if (packet.size() < kIpv6Header) {
    return {};
  }
  std::uint8_t next = packet[kIpv6NextHeader];
  MessageBytes rest = packet.subspan(kIpv6Header);
  while (next == kHopByHop || next == kRouting || next == kFragment ||
         next == kDestinationOptions) {
    if (rest.size() < kExtensionUnit) {
      return {};
    }
    const std::size_t size = next == kFragment ? kExtensionUnit : (rest[1] + 1u) * kExtensionUnit;
    // Behind the first fragment, no header follows.
    const bool isLaterFragment =
        next == kFragment &&
        (rest[kFragmentOffset] != 0 || (rest[kFragmentOffset + 1] & kFragmentOffsetLow) != 0);
    next = rest[0];
    if (isLaterFragment) {
      break;
    }
    if (rest.size() < size) {
      return {};
    }
    rest = rest.subspan(size);
  }
  const sProtocol* const protocol = FindProtocol(next);
  return protocol == nullptr ? "IPv6" : protocol->overIpv6;
}

}  // namespace

std::string_view IpMessageName(eSyntax syntax, MessageBytes message) {
  if (syntax != eSyntax::Ip || message.empty()) {
    return {};
  }
  switch (message[0] >> 4) {
    case 4:
      return Ipv4Name(message);
    case 6:
      return Ipv6Name(message);
    default:
      return {};
  }
}

}  // namespace corvane
