#include "corvane/packet_description.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>

#include "corvane/readable_text.h"
#include "diag/little_endian.h"
#include "diag/packets.h"

namespace corvane::tools {
namespace {

using Packet = std::span<const std::uint8_t>;

[[nodiscard]] std::string Count(std::size_t number, const char* what) {
  return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

[[nodiscard]] std::size_t CountBits(Packet mask) {
  std::size_t bits = 0;
  for (const std::uint8_t byte : mask) {
    bits += static_cast<std::size_t>(std::popcount(byte));
  }
  return bits;
}

[[nodiscard]] bool IsSubsystemPacket(Packet packet) {
  return packet.size() >= subsystem::kHeadSize && command::IsSubsystem(packet[0]);
}

[[nodiscard]] std::string SubsystemName(Packet packet) {
  return fmt::format("subsystem 0x{:02X} command 0x{:04X}", packet[subsystem::kId],
                     Load16(&packet[subsystem::kCommand]));
}

// The levels that a request sets for a range of SSIDs.
[[nodiscard]] std::string RangeDetails(Packet packet) {
  const unsigned first = Load16(&packet[message_levels::kFirstSsid]);
  const unsigned last = Load16(&packet[message_levels::kLastSsid]);
  if (first != last) {
    return fmt::format(", SSIDs {} to {}", first, last);
  }
  std::string details = fmt::format(", SSID {}", first);
  if (packet.size() == message_levels::kMasks + message_levels::kMaskSize) {
    details += fmt::format(", levels 0x{:08X}", Load32(&packet[message_levels::kMasks]));
  }
  return details;
}

[[nodiscard]] std::string LevelDetails(Packet packet) {
  if (packet.size() >= message_levels::kMasks &&
      packet[message_levels::kOperation] == message_levels::kSetRange) {
    return RangeDetails(packet);
  }
  if (packet.size() == message_levels::kSizeForAll &&
      packet[message_levels::kOperation] == message_levels::kSetAll) {
    return fmt::format(", all SSIDs, levels 0x{:08X}",
                       Load32(&packet[message_levels::kMaskForAll]));
  }
  return {};
}

// What follows the name of a request. Empty if the request does not have the layout of one that
// carries masks.
[[nodiscard]] std::string RequestDetails(Packet packet) {
  switch (packet[0]) {
    case command::kLogMask:
      if (packet.size() == log_mask::kSize && packet[log_mask::kOperation] == log_mask::kSetMask) {
        return fmt::format(", equipment ID {}, {}", Load32(&packet[log_mask::kEquipmentId]),
                           Count(CountBits(packet.subspan(log_mask::kMask)), "log code"));
      }
      return {};
    case command::kEventMask:
      if (packet.size() > event_mask::kMask) {
        return ", " + Count(CountBits(packet.subspan(event_mask::kMask)), "event");
      }
      return {};
    case command::kMessageLevels:
      return LevelDetails(packet);
    case command::kEventReport:
      if (packet.size() == event_report::kSwitch + 1) {
        return packet[event_report::kSwitch] == 0 ? ", off" : ", on";
      }
      return {};
    default:
      return {};
  }
}

// The modem's three ways of refusing a request.
[[nodiscard]] std::optional<const char*> RefusalName(std::uint8_t code) {
  switch (code) {
    case command::kUnknownCommand:
      return "unknown command";
    case command::kBadParameters:
      return "bad parameters";
    case command::kBadLength:
      return "bad length";
    default:
      return std::nullopt;
  }
}

// The answer that holds a packet which the modem had kept.
[[nodiscard]] std::string DescribeGetItem(Packet packet) {
  const std::uint32_t status = Load32(&packet[get_item::kStatus]);
  if (status != 0) {
    return fmt::format("get-item reply, status 0x{:X}", status);
  }
  return fmt::format("get-item reply, holds a packet of {}",
                     Count(packet.size() - get_item::kPacket, "byte"));
}

[[nodiscard]] bool IsPlainText(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char character) {
    return (character >= ' ' && character <= '~') || character == '\t' || character == '\n' ||
           character == '\r';
  });
}

[[nodiscard]] std::string DescribeHead(const char* kind, Packet packet) {
  if (packet.size() < message::kHeadSize) {
    return kind;
  }
  return fmt::format("{}, SSID {}", kind, Load16(&packet[message::kSsid]));
}

[[nodiscard]] std::string DescribeExtended(Packet packet) {
  std::string description = DescribeHead("extended message", packet);
  if (packet.size() < message::kHeadSize) {
    return description;
  }
  const std::size_t textOffset =
      message::kHeadSize + std::size_t{packet[message::kArgumentCount]} * message::kArgumentSize;
  if (packet.size() <= textOffset) {
    return description;
  }
  const auto rest = packet.subspan(textOffset);
  const auto terminator = std::find(rest.begin(), rest.end(), std::uint8_t{0});
  const std::string text(rest.begin(), terminator);
  // What is no text may be anything: an unknown layout is not shown as if it were known.
  if (terminator == rest.end() || text.empty() || !IsPlainText(text)) {
    return description;
  }
  return description + ", " + Quote(text);
}

}  // namespace

std::optional<std::string_view> CommandName(std::uint8_t code) {
  switch (code) {
    case command::kVersion:
      return "version";
    case command::kStatus:
      return "status";
    case command::kProtocolVersion:
      return "protocol version";
    case command::kTimeStamp:
      return "time stamp";
    case command::kEventReport:
      return "event report";
    case command::kFeatureQuery:
      return "feature query";
    case command::kLogMask:
      return "log mask";
    case command::kBuildId:
      return "build ID";
    case command::kMessageLevels:
      return "message level";
    case command::kEventMask:
      return "event mask";
    default:
      return std::nullopt;
  }
}

std::string DescribeRequest(Packet packet) {
  if (IsSubsystemPacket(packet)) {
    return SubsystemName(packet) + " request";
  }
  if (packet.empty()) {
    return "request";
  }
  const auto name = CommandName(packet[0]);
  if (!name) {
    return fmt::format("request 0x{:02X}", packet[0]);
  }
  return fmt::format("{} request{}", *name, RequestDetails(packet));
}

std::string DescribeReply(Packet packet) {
  if (IsSubsystemPacket(packet)) {
    if (packet.size() >= get_item::kPacket &&
        packet[subsystem::kId] == subsystem::kDebugSubsystem &&
        Load16(&packet[subsystem::kCommand]) == subsystem::kGetItemCommand) {
      return DescribeGetItem(packet);
    }
    return SubsystemName(packet) + " reply";
  }
  if (packet.empty()) {
    return "packet";
  }
  if (const auto refusal = RefusalName(packet[0])) {
    return fmt::format("request refused: {}", *refusal);
  }
  const auto name = CommandName(packet[0]);
  return name ? fmt::format("{} reply", *name) : fmt::format("packet 0x{:02X}", packet[0]);
}

std::string DescribeMessage(Packet packet) {
  switch (packet.empty() ? 0 : packet[0]) {
    case command::kExtendedMessage:
      return DescribeExtended(packet);
    case command::kTerseMessage:
      return DescribeHead("terse message", packet);
    default:
      return "debug message";
  }
}

}  // namespace corvane::tools
