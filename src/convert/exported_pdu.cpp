#include "convert/exported_pdu.h"

#include "convert/byte_order.h"
#include "convert/frames.h"

namespace corvane {
namespace {

constexpr std::uint16_t kEnd = 0;
constexpr std::uint16_t kDissector = 12;
constexpr std::uint16_t kSourceAddress = 20;
constexpr std::uint16_t kDestinationAddress = 21;
constexpr std::uint16_t kProtocolColumn = 33;
constexpr std::uint16_t kDirection = 35;

constexpr std::uint32_t kSent = 0;
constexpr std::uint32_t kReceived = 1;

void AddText(std::vector<std::uint8_t>& frame, std::uint16_t tag, std::string_view text) {
  AppendBigEndian(frame, tag);
  // The length counts the zeros that fill the last word too.
  AppendBigEndian(frame, static_cast<std::uint16_t>((text.size() + 3) / 4 * 4));
  frame.insert(frame.end(), text.begin(), text.end());
  PadToWord(frame);
}

void AddNumber(std::vector<std::uint8_t>& frame, std::uint16_t tag, std::uint32_t number) {
  AppendBigEndian(frame, tag);
  AppendBigEndian(frame, static_cast<std::uint16_t>(sizeof number));
  AppendBigEndian(frame, number);
}

}  // namespace

void MakeExportedPdu(const sDissector& dissector, std::optional<eLink> link,
                     std::span<const std::uint8_t> message, std::vector<std::uint8_t>& frame) {
  frame.clear();
  AddText(frame, kDissector, dissector.name);
  if (!dissector.protocol.empty()) {
    AddText(frame, kProtocolColumn, dissector.protocol);
  }
  if (link) {
    const bool isDownlink = *link == eLink::Downlink;
    AddNumber(frame, kDirection, isDownlink ? kReceived : kSent);
    AddNumber(frame, kSourceAddress, isDownlink ? kNetworkAddress : kDeviceAddress);
    AddNumber(frame, kDestinationAddress, isDownlink ? kDeviceAddress : kNetworkAddress);
  }
  AppendBigEndian(frame, kEnd);
  AppendBigEndian(frame, std::uint16_t{0});
  frame.insert(frame.end(), message.begin(), message.end());
}

}  // namespace corvane
