#include "diag/reply.h"

#include <cstdint>

#include "diag/command_codes.h"

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

  const std::uint8_t* bytes = packet.data;
  if (!IsStreamingCode(bytes[0])) {
    return eReply::Response;
  }
  if (bytes[0] == command::kEventReport && packet.size == 3 && bytes[1] == 0 && bytes[2] == 0) {
    return eReply::EventReport;
  }
  return eReply::None;
}

}  // namespace corvane
