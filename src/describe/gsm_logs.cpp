#include <algorithm>
#include <array>
#include <vector>

#include "describe/signalling_log.h"

namespace corvane {
namespace {

constexpr std::uint16_t kRrLog = 0x512F;
constexpr std::uint16_t kSubscriptionRrLog = 0x5B2F;  // the same behind a subscription byte
constexpr std::uint16_t kMacLog = 0x5226;
constexpr std::uint16_t kNasLog = 0x5230;

constexpr std::uint8_t kDownlinkBit = 0x80;

// RR and MAC logs: channel and link in byte 0, the message's type in 1, its length in 2.
constexpr std::size_t kChannel = 0;
constexpr std::size_t kMessageType = 1;
constexpr std::size_t kLength = 2;
constexpr std::size_t kMessage = 3;

[[nodiscard]] eLink LinkOf(std::uint8_t channel) {
  return (channel & kDownlinkBit) != 0 ? eLink::Downlink : eLink::Uplink;
}

// A channel whose link is known only from the packet, or the only one that it can have.
struct sRrChannel {
  std::uint8_t number;
  sLogChannel channel;
};

constexpr std::array<sRrChannel, 9> kRrChannels = {{
    {0, {"DCCH", eSyntax::GsmLayer3, {}}},
    {1, {"BCCH", eSyntax::GsmPseudoLength, eLink::Downlink}},
    {2, {"access burst", eSyntax::GsmAccessBurst, {}}},
    {3, {"CCCH", eSyntax::GsmPseudoLength, eLink::Downlink}},
    {4, {"SACCH", eSyntax::GsmLayer3, {}}},
    {5, {"SDCCH", eSyntax::GsmLayer3, {}}},
    {6, {"FACCH/F", eSyntax::GsmLayer3, {}}},
    {7, {"FACCH/H", eSyntax::GsmLayer3, {}}},
    {8, {"access burst", eSyntax::GsmAccessBurst, {}}},
}};

void DescribeRr(const cFields& payload, std::size_t start, sDescription& description) {
  const auto number = payload.Byte(start + kChannel);
  const auto length = payload.Byte(start + kLength);
  if (!number || !length) {
    return;
  }
  const eLink link = LinkOf(*number);
  const unsigned place = *number & ~unsigned{kDownlinkBit};
  const auto* const known =
      FindRow(kRrChannels, [place](const sRrChannel& row) { return row.number == place; });
  if (known == nullptr || known->channel.link.value_or(link) != link) {
    TellChannel(*number, description);
    return;
  }
  sLogChannel channel = known->channel;
  channel.link = link;
  DescribeMessage(payload, start + kMessage, *length, channel, description);
}

constexpr std::uint8_t kFirstPacch = 3;
constexpr std::uint8_t kLastPacch = 4;
// Messages that the modem writes for itself.
constexpr std::uint8_t kInternalChannel = 0xFF;
constexpr std::uint8_t kInternalType = 0x20;

// The log lacks the octet of the MAC header (3GPP TS 44.060): a control block without the optional
// octets.
constexpr std::uint8_t kControlBlock = 0x40;

// Puts the MAC header in front of the message.
void AddMacHeader(sDescription& description) {
  sSignalling& signalling = *description.signalling;
  std::vector<std::uint8_t> block = {kControlBlock};
  block.insert(block.end(), signalling.message.begin(), signalling.message.end());
  description.signalling =
      MakeSignalling({signalling.channel, signalling.syntax, signalling.link}, block);
}

void DescribeMac(const cFields& payload, sDescription& description) {
  const auto number = payload.Byte(kChannel);
  const auto type = payload.Byte(kMessageType);
  const auto length = payload.Byte(kLength);
  if (!number || !type || !length) {
    return;
  }
  if (*number == kInternalChannel && *type == kInternalType) {
    LeaveOut("internal message", description);
    return;
  }
  const unsigned channel = *number & ~unsigned{kDownlinkBit};
  if (channel < kFirstPacch || channel > kLastPacch) {
    TellChannel(*number, description);
    return;
  }
  const eLink link = LinkOf(*number);
  const eSyntax syntax =
      link == eLink::Downlink ? eSyntax::GprsRlcMacDownlink : eSyntax::GprsRlcMacUplink;
  DescribeMessage(payload, kMessage, *length, {"PACCH", syntax, link}, description);
  if (description.signalling) {
    AddMacHeader(description);
  }
}

// GMM and SM messages: the link, the message's type, a length of 16 bits, the message. What stands
// behind it is left from earlier ones.
constexpr std::size_t kNasLink = 0;
constexpr std::size_t kNasLength = 2;
constexpr std::size_t kNasMessage = 4;

void DescribeNas(const cFields& payload, sDescription& description) {
  const auto link = payload.Byte(kNasLink);
  const auto length = payload.Word(kNasLength);
  if (!link || !length) {
    return;
  }
  sLogChannel channel{"", eSyntax::GsmLayer3, {}};
  if (*link <= 1) {
    channel.link = *link == 0 ? eLink::Uplink : eLink::Downlink;
  }
  DescribeMessage(payload, kNasMessage, *length, channel, description);
}

}  // namespace

bool DescribeGsmLog(std::uint16_t logCode, const cFields& payload, sDescription& description) {
  switch (logCode) {
    case kRrLog:
      DescribeRr(payload, 0, description);
      break;
    case kSubscriptionRrLog:
      DescribeRr(payload, 1, description);
      break;
    case kMacLog:
      DescribeMac(payload, description);
      break;
    case kNasLog:
      DescribeNas(payload, description);
      break;
    default:
      return false;
  }
  description.technology = eTechnology::Gsm;
  return true;
}

}  // namespace corvane
