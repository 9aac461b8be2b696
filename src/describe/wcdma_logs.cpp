#include <array>

#include "describe/message_names.h"
#include "describe/signalling_log.h"
#include "diag/packets.h"

namespace corvane {
namespace {

constexpr std::uint16_t kNasLog = 0x713A;
constexpr std::uint16_t kSubscriptionNasLog = 0x7B3A;  // the same behind a subscription byte

// ota_log counts from the head of the log packet.
constexpr std::size_t InPayload(std::uint32_t offset) { return offset - log_packet::kHeaderSize; }

// By channel number, without the bit of the newer layout.
constexpr std::array<sLogChannel, 11> kChannels = {{
    {"UL-CCCH", eSyntax::WcdmaUlCcch, eLink::Uplink},
    {"UL-DCCH", eSyntax::WcdmaUlDcch, eLink::Uplink},
    {"DL-CCCH", eSyntax::WcdmaDlCcch, eLink::Downlink},
    {"DL-DCCH", eSyntax::WcdmaDlDcch, eLink::Downlink},
    {"BCCH-BCH", eSyntax::WcdmaBcchBch, eLink::Downlink},
    {"BCCH-FACH", eSyntax::WcdmaBcchFach, eLink::Downlink},
    {"PCCH", eSyntax::WcdmaPcch, eLink::Downlink},
    {"MCCH", eSyntax::WcdmaMcch, eLink::Downlink},
    {"MSCH", eSyntax::WcdmaMsch, eLink::Downlink},
    {"extension SIB", eSyntax::WcdmaSystemInformationBlock, eLink::Downlink},
    {"SI container", eSyntax::WcdmaSystemInformationContainer, eLink::Downlink},
}};
constexpr std::uint8_t kExtensionSib = 9;

// Whole blocks, as the extension SIB is one: their message begins with the SIB type's byte.
constexpr std::uint8_t kSib = 0xF0;  // in the newer layout
constexpr sLogChannel kSibChannel = {"SIB", eSyntax::WcdmaSystemInformationBlock, eLink::Downlink};
constexpr sLogChannel kSibFromBchChannel = {"SIB from BCH", eSyntax::WcdmaSystemInformationBlock,
                                            eLink::Downlink};
constexpr sLogChannel kSibFromFachChannel = {"SIB from FACH", eSyntax::WcdmaSystemInformationBlock,
                                             eLink::Downlink};

// 3GPP TS 25.331 SIB-Type. Its last value says only that the type stands elsewhere.
constexpr std::uint8_t kLastSibType = 30;

// Null for a channel of which nothing is known.
[[nodiscard]] const sLogChannel* FindChannel(std::uint8_t number) {
  switch (number) {
    case kSib:
      return &kSibChannel;
    case ota_log::kSibFromBch:
      return &kSibFromBchChannel;
    case ota_log::kSibFromFach:
      return &kSibFromFachChannel;
    default: {
      const unsigned index = number & (ota_log::kNewLayout - 1u);
      return index < kChannels.size() ? &kChannels[index] : nullptr;
    }
  }
}

[[nodiscard]] bool IsNewLayout(std::uint8_t channel) {
  return (channel & ota_log::kNewLayout) != 0 && channel != ota_log::kSibFromBch &&
         channel != ota_log::kSibFromFach;
}

[[nodiscard]] bool IsKnownSib(const sLogChannel& channel, std::uint8_t type) {
  const bool isExtension = type == kSib11bis || type == kSib19;
  return isExtension || (&channel != &kChannels[kExtensionSib] && type <= kLastSibType);
}

// `length` counts the type's byte.
void DescribeBlock(const cFields& payload, std::size_t at, std::uint16_t length,
                   const sLogChannel& channel, sDescription& description) {
  if (length == 0) {
    DescribeMessage(payload, at, length, channel, description);
    return;
  }
  const auto type = payload.Byte(at);
  if (!type) {
    return;
  }
  if (!IsKnownSib(channel, *type)) {
    description.details = "SIB type " + std::to_string(*type);
    return;
  }
  DescribeMessage(payload, at + 1, length - 1u, channel, description);
  if (description.signalling) {
    description.signalling->sibType = type;
    description.signalling->messageName = SystemInformationBlockName(*type);
  }
}

void DescribeRrc(const cFields& payload, sDescription& description) {
  const auto number = payload.Byte(InPayload(ota_log::kChannel));
  const auto length = payload.Word(InPayload(ota_log::kMessageLength));
  if (!number) {
    return;
  }
  const sLogChannel* const channel = FindChannel(*number);
  if (channel == nullptr) {
    TellChannel(*number, description);
    return;
  }
  std::size_t message = InPayload(ota_log::kMessage);
  if (IsNewLayout(*number)) {
    sCell cell;
    cell.frequency = payload.Word(InPayload(ota_log::kUarfcn));
    cell.physicalCell = payload.Word(InPayload(ota_log::kScramblingCode));
    TellCell(cell, description);
    message = InPayload(ota_log::kNewMessage);
  }
  if (!length) {
    return;
  }
  if (channel->syntax == eSyntax::WcdmaSystemInformationBlock) {
    DescribeBlock(payload, message, *length, *channel, description);
  } else {
    DescribeMessage(payload, message, *length, *channel, description);
  }
  if (description.signalling) {
    description.signalling->radioBearer = payload.Byte(InPayload(ota_log::kRadioBearer));
  }
}

// NAS messages of UMTS: the link, a length of 32 bits, the message.
constexpr std::size_t kNasLink = 0;
constexpr std::size_t kNasLength = 1;
constexpr std::size_t kNasMessage = 5;

void DescribeNas(const cFields& payload, std::size_t start, sDescription& description) {
  const auto link = payload.Byte(start + kNasLink);
  const auto length = payload.Long(start + kNasLength);
  if (!link || !length) {
    return;
  }
  sLogChannel channel{"", eSyntax::GsmLayer3, {}};
  if (*link <= 1) {
    channel.link = *link == 0 ? eLink::Downlink : eLink::Uplink;
  }
  DescribeMessage(payload, start + kNasMessage, *length, channel, description);
}

}  // namespace

bool DescribeWcdmaLog(std::uint16_t logCode, const cFields& payload, sDescription& description) {
  switch (logCode) {
    case ota_log::kLogCode:
      DescribeRrc(payload, description);
      break;
    case kNasLog:
      DescribeNas(payload, 0, description);
      break;
    case kSubscriptionNasLog:
      DescribeNas(payload, 1, description);
      break;
    default:
      return false;
  }
  description.technology = eTechnology::Wcdma;
  return true;
}

}  // namespace corvane
