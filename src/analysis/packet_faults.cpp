#include "analysis/packet_faults.h"

#include "capture/isf/item_types.h"
#include "capture/isf/layout.h"
#include "diag/little_endian.h"
#include "diag/packets.h"
#include "diag/shared_buffer.h"

namespace corvane {
namespace {

constexpr std::uint32_t kTechnologies = 13;
constexpr std::uint32_t kCellValues = 1U << 24U;

[[nodiscard]] std::optional<std::string> FindTextFault(std::span<const std::uint8_t> packet) {
  if (!isf::LoadTextItem(packet)) {
    return "is no text";
  }
  const std::size_t size = packet.size() - isf::kTextItemHeaderSize;
  // The text of a device name that is too long is the header alone.
  if (size != 0 && (size % isf::kTextCharacterSize != 0 ||
                    Load16(&packet[packet.size() - isf::kTextCharacterSize]) != 0)) {
    return "is a text without its final zero";
  }
  return std::nullopt;
}

// How many bytes of payload an event has, by the code in its word; nothing when they are not there.
[[nodiscard]] std::optional<std::size_t> PayloadSize(unsigned code,
                                                     std::span<const std::uint8_t> payload) {
  if (code != event_report::kCountedPayload) {
    return code;
  }
  return payload.empty() ? std::nullopt : std::optional(payload[0] + std::size_t{1});
}

[[nodiscard]] std::optional<std::string> FindEventFault(std::span<const std::uint8_t> packet) {
  if (packet.size() < event_report::kEventPayload) {
    return "is an event of " + std::to_string(packet.size()) + " bytes";
  }
  const std::uint16_t length = Load16(&packet[event_report::kLength]);
  if (length + event_report::kEvents != packet.size()) {
    return "is an event of " + std::to_string(packet.size()) + " bytes, and its length says " +
           std::to_string(length + event_report::kEvents);
  }
  const std::uint16_t word = Load16(&packet[event_report::kEventWord]);
  if ((word & ~(event_report::kIdMask | event_report::kLengthCodeMask)) != 0) {
    return "is an event with bit 12 or 15 of its word set";
  }
  const unsigned code = word >> event_report::kLengthCodeShift;
  const auto payload = packet.subspan(event_report::kEventPayload);
  if (PayloadSize(code, payload) != payload.size()) {
    return "is an event with " + std::to_string(payload.size()) +
           " bytes of payload, and payload-length code " + std::to_string(code);
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> FindPacketFault(std::uint32_t type,
                                           std::span<const std::uint8_t> packet) {
  if (type == isf::kInformationItem) {
    return FindTextFault(packet);
  }
  const bool isRequest = type == isf::kRequestItem || type == isf::kSubsystemRequestItem;
  const OwnedBuffer buffer = MakeBuffer(packet, isRequest ? kOriginLibrary : kOriginDevice);
  if (!IsUsable(buffer.get())) {
    return std::nullopt;  // too long, which is a fault of the length
  }
  // An event stands in the file with the command of its report, which is in no file itself.
  const std::uint32_t wanted =
      IsEventReport(*buffer) ? isf::kEventItem : ChooseItemKind(*buffer, {}).type;
  if (packet[0] > command::kLast || wanted != type) {
    return "has type " + std::to_string(type) + ", and its packet begins with command " +
           std::to_string(packet[0]);
  }
  return type == isf::kEventItem ? FindEventFault(packet) : std::nullopt;
}

std::optional<std::string> FindExtraFault(std::uint32_t extra,
                                          std::span<const std::uint8_t> packet) {
  if (packet.size() < log_packet::kLogCode + sizeof(std::uint16_t)) {
    return std::nullopt;  // no log, which is a fault of the packet
  }
  const std::uint16_t logCode = Load16(&packet[log_packet::kLogCode]);
  const bool isTechnology = IsTechnologyLog(logCode);
  if (!isTechnology && logCode != ota_log::kLogCode) {
    return "has an extra field, and a log code that has none";
  }
  if (extra >= (isTechnology ? kTechnologies : kCellValues)) {
    return "has an extra field of " + std::to_string(extra) + ", which is no " +
           (isTechnology ? "technology" : "cell value");
  }
  return std::nullopt;
}

}  // namespace corvane
