#include "diag/reply.h"

#include <cstdint>

namespace corvane {
namespace {

constexpr std::uint8_t kEventReportCommand = 0x60;

// The codes of what the modem sends on its own: log, message and event traffic.
[[nodiscard]] bool IsStreamingCode(std::uint8_t code) {
  switch (code) {
    case 0x10:
    case 0x1F:
    case kEventReportCommand:
    case 0x74:
    case 0x79:
    case 0x92:
      return true;
    default:
      return false;
  }
}

}  // namespace

eReply ClassifyReply(const sSharedBuffer& packet) {
  if (!packet.IsUsable()) return eReply::None;

  const std::uint8_t* bytes = packet.data;
  if (!IsStreamingCode(bytes[0])) return eReply::Response;
  if (bytes[0] == kEventReportCommand && packet.size == 3 && bytes[1] == 0 && bytes[2] == 0) {
    return eReply::EventReport;
  }
  return eReply::None;
}

}  // namespace corvane
