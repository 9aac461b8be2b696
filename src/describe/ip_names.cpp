#include <algorithm>
#include <iterator>

#include "describe/message_types.h"

// What an IP packet carries, by the numbers of IANA's registry of protocols.
namespace corvane {
namespace {

// A name is empty where a protocol is not of that version of IP.
struct sProtocol {
  std::uint8_t number = 0;
  std::string_view overIpv4;
  std::string_view overIpv6;
};

constexpr sProtocol kProtocols[] = {
    {1, "IPv4 ICMP", {}},         {2, "IPv4 IGMP", {}},
    {6, "IPv4 TCP", "IPv6 TCP"},  {17, "IPv4 UDP", "IPv6 UDP"},
    {47, "IPv4 GRE", "IPv6 GRE"}, {50, "IPv4 ESP", "IPv6 ESP"},
    {58, {}, "IPv6 ICMPv6"},      {132, "IPv4 SCTP", "IPv6 SCTP"},
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

// `version` names a packet whose protocol is in no row.
[[nodiscard]] std::string_view ProtocolName(std::uint8_t number, std::string_view sProtocol::*name,
                                            std::string_view version) {
  const auto* const found = std::ranges::find(kProtocols, number, &sProtocol::number);
  return found == std::end(kProtocols) || (found->*name).empty() ? version : found->*name;
}

[[nodiscard]] std::string_view Ipv4Name(MessageBytes packet) {
  if (packet.size() < kIpv4Header) {
    return {};
  }
  return ProtocolName(packet[kIpv4Protocol], &sProtocol::overIpv4, "IPv4");
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
  return ProtocolName(next, &sProtocol::overIpv6, "IPv6");
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
