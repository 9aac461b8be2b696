#include "diag/packets.h"

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

eReply ClassifyReply(const sSharedBuffer& packet) {
  if (!packet.IsUsable()) {
    return eReply::None;
  }

  if (!IsStreamingCode(packet.data[0])) {
    return eReply::Response;
  }
  return IsShortEventAnswer(packet) ? eReply::EventReport : eReply::None;
}

bool IsShortEventAnswer(const sSharedBuffer& packet) {
  return packet.data[0] == command::kEventReport && packet.size == event_report::kShortAnswerSize &&
         packet.data[1] == 0 && packet.data[2] == 0;
}

}  // namespace corvane
