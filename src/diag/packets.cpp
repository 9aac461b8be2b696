#include "diag/packets.h"

#include "diag/little_endian.h"

namespace corvane {
namespace {

// The codes of what the modem sends on its own: log, message and event traffic.
[[nodiscard]] bool IsStreamingCode(std::uint8_t code) {
  switch (code) {
    case command::kLog:
    case command::kMessage:
    case command::kEventReport:
    case command::kSecondEventReport:
    case command::kExtendedMessage:
    case command::kTerseMessage:
      return true;
    default:
      return false;
  }
}

}  // namespace

sUnwrapped Unwrap(std::span<const std::uint8_t> packet) {
  sUnwrapped unwrapped{packet, std::nullopt};
  // A wrapper in a wrapper is taken off too: each one is shorter than the one around it.
  while (unwrapped.packet.size() > wrapper::kPacket && unwrapped.packet[0] == command::kWrapper) {
    const std::uint32_t told = Load32(&unwrapped.packet[wrapper::kSubscription]);
    const bool isNone = told == 0 || told == UINT32_MAX;
    unwrapped = {unwrapped.packet.subspan(wrapper::kPacket), isNone ? 1 : told};
  }
  return unwrapped;
}

eReply ClassifyReply(std::span<const std::uint8_t> packet) {
  if (packet.empty()) {
    return eReply::None;
  }
  if (!IsStreamingCode(packet[0])) {
    return eReply::Response;
  }
  return IsShortEventAnswer(packet) ? eReply::EventReport : eReply::None;
}

bool IsShortEventAnswer(std::span<const std::uint8_t> packet) {
  return packet.size() == event_report::kShortAnswerSize && packet[0] == command::kEventReport &&
         packet[1] == 0 && packet[2] == 0;
}

}  // namespace corvane
