#include <bit>
#include <cstddef>
#include <string>

#include "describe/packet_kinds.h"
#include "diag/little_endian.h"
#include "diag/packets.h"

namespace corvane {
namespace {

using Packet = std::span<const std::uint8_t>;

[[nodiscard]] std::string Count(std::size_t number, const char* what) {
  return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

// "0x0000001F"
[[nodiscard]] std::string HexOf(std::uint32_t value, unsigned digits) {
  std::string text = "0x";
  for (unsigned digit = digits; digit-- > 0;) {
    text += "0123456789ABCDEF"[value >> (4 * digit) & 0xF];
  }
  return text;
}

[[nodiscard]] std::size_t CountBits(Packet mask) {
  std::size_t bits = 0;
  for (const std::uint8_t byte : mask) {
    bits += static_cast<std::size_t>(std::popcount(byte));
  }
  return bits;
}

// The levels that a request sets for a range of SSIDs.
[[nodiscard]] std::string RangeDetails(Packet packet) {
  const unsigned first = Load16(&packet[message_levels::kFirstSsid]);
  const unsigned last = Load16(&packet[message_levels::kLastSsid]);
  if (first != last) {
    return "SSIDs " + std::to_string(first) + " to " + std::to_string(last);
  }
  std::string details = "SSID " + std::to_string(first);
  if (packet.size() == message_levels::kMasks + message_levels::kMaskSize) {
    details += ", levels " + HexOf(Load32(&packet[message_levels::kMasks]), 8);
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
    return "all SSIDs, levels " + HexOf(Load32(&packet[message_levels::kMaskForAll]), 8);
  }
  return {};
}

// Empty if the request does not have the layout of one that carries masks.
[[nodiscard]] std::string RequestDetails(Packet packet) {
  switch (packet[0]) {
    case command::kLogMask:
      if (packet.size() == log_mask::kSize && packet[log_mask::kOperation] == log_mask::kSetMask) {
        return "equipment ID " + std::to_string(Load32(&packet[log_mask::kEquipmentId])) + ", " +
               Count(CountBits(packet.subspan(log_mask::kMask)), "log code");
      }
      return {};
    case command::kEventMask:
      if (packet.size() > event_mask::kMask) {
        return Count(CountBits(packet.subspan(event_mask::kMask)), "event");
      }
      return {};
    case command::kMessageLevels:
      return LevelDetails(packet);
    case command::kEventReport:
      if (packet.size() == event_report::kSwitch + 1) {
        return packet[event_report::kSwitch] == 0 ? "off" : "on";
      }
      return {};
    default:
      return {};
  }
}

// The modem's ways of refusing a request, in the field's own terms: the one place of these names.
// Empty for any other packet.
[[nodiscard]] std::string_view RefusalName(std::uint8_t code) {
  switch (code) {
    case command::kUnknownCommand:
      return "bad command";
    case command::kBadParameters:
      return "bad parameters";
    case command::kBadLength:
      return "bad length";
    case command::kRefusal18:
      return "command 0x18";
    case command::kRefusal42:
      return "command 0x42";
    case command::kRefusal47:
      return "command 0x47";
    default:
      return {};
  }
}

[[nodiscard]] bool IsTo(const sCommand& told, std::uint8_t id, std::uint16_t number) {
  return told.subsystem == id && told.subsystemCommand == number;
}

// The request that tells the cell.
[[nodiscard]] std::string CellDetails(Packet packet) {
  const std::uint8_t* const value = &packet[subsystem::kCellValue];
  return "cell " + HexOf(Load16(value) | (std::uint32_t{value[2]} << 16), 6);
}

// The answer that holds a packet which the modem had kept.
void DescribeGetItem(Packet packet, sDescription& description) {
  if (packet.size() < get_item::kPacket) {
    description.cutOff = true;
    return;
  }
  const std::uint32_t status = Load32(&packet[get_item::kStatus]);
  const std::string code = HexOf(status, (static_cast<unsigned>(std::bit_width(status)) + 3) / 4);
  description.command->details =
      status != 0 ? "status " + code
                  : "holds a packet of " + Count(packet.size() - get_item::kPacket, "byte");
}

// The head of a subsystem's command. False when it is not whole.
[[nodiscard]] bool DescribeSubsystem(Packet packet, sDescription& description) {
  if (packet.size() < subsystem::kHeadSize) {
    description.cutOff = true;
    return false;
  }
  sCommand& told = *description.command;
  told.subsystem = packet[subsystem::kId];
  told.subsystemCommand = Load16(&packet[subsystem::kCommand]);
  if (told.subsystem == subsystem::kDebugSubsystem) {
    told.subsystemName = "debug";
  }
  if (IsTo(told, subsystem::kDebugSubsystem, subsystem::kGetItemCommand)) {
    told.subsystemCommandName = "get-item";
  }
  return true;
}

}  // namespace

std::string_view CommandName(std::uint8_t code) {
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
      return {};
  }
}

void DescribeRequest(Packet packet, sDescription& description) {
  description.sort = eItemSort::Request;
  sCommand& told = description.command.emplace();
  told.code = packet[0];
  told.name = CommandName(told.code);
  told.details = RequestDetails(packet);
  if (command::IsSubsystem(told.code) && DescribeSubsystem(packet, description) &&
      IsTo(told, subsystem::kCellSubsystem, subsystem::kCellCommand) &&
      packet.size() >= subsystem::kCellRequestSize) {
    told.details = CellDetails(packet);
  }
}

void DescribeReply(Packet packet, sDescription& description) {
  sCommand& told = description.command.emplace();
  told.code = packet[0];
  told.name = CommandName(told.code);
  told.refusal = RefusalName(told.code);
  if (command::IsSubsystem(told.code) && DescribeSubsystem(packet, description) &&
      IsTo(told, subsystem::kDebugSubsystem, subsystem::kGetItemCommand)) {
    DescribeGetItem(packet, description);
  }
  const bool isKnown =
      !told.name.empty() || !told.refusal.empty() || command::IsSubsystem(told.code);
  description.sort = isKnown ? eItemSort::Reply : eItemSort::Unknown;
}

}  // namespace corvane
