#include "analysis/command_names.h"

#include "diag/little_endian.h"
#include "diag/packets.h"

namespace corvane {
namespace {

using Packet = std::span<const std::uint8_t>;

// "0x0F"
[[nodiscard]] std::string HexOf(std::uint32_t value, unsigned digits) {
  std::string text = "0x";
  for (unsigned digit = digits; digit-- > 0;) {
    text += "0123456789ABCDEF"[value >> (4 * digit) & 0xF];
  }
  return text;
}

[[nodiscard]] std::string LevelsName(Packet packet) {
  if (packet.size() < message_levels::kLastSsid + 2) {
    return {};
  }
  if (packet[message_levels::kOperation] == message_levels::kSetAll) {
    return ", all SSIDs";
  }
  const std::uint16_t first = Load16(&packet[message_levels::kFirstSsid]);
  const std::uint16_t last = Load16(&packet[message_levels::kLastSsid]);
  return first == last ? ", SSID " + std::to_string(first)
                       : ", SSIDs " + std::to_string(first) + " to " + std::to_string(last);
}

// What a command is about beside its name.
[[nodiscard]] std::string SubjectName(Packet packet, const sCommand& command) {
  switch (command.code) {
    case command::kLogMask:
      return packet.size() < log_mask::kItemCount
                 ? std::string()
                 : ", equipment ID " + std::to_string(Load32(&packet[log_mask::kEquipmentId]));
    case command::kMessageLevels:
      return LevelsName(packet);
    case command::kEventReport:
      return command.details.empty() ? std::string() : ", " + command.details;
    default:
      return {};
  }
}

}  // namespace

std::string CommandWords(Packet packet, eSender sender) {
  const std::optional<sCommand> command = DescribePacket(packet, sender).command;
  if (!command) {
    return sender == eSender::Host ? "request" : "packet";
  }
  if (!command->refusal.empty()) {
    return std::string(command->refusal);
  }
  if (command->subsystem && command->subsystemCommand) {
    if (!command->subsystemCommandName.empty()) {
      return std::string(command->subsystemCommandName);
    }
    std::string name = "subsystem " + HexOf(*command->subsystem, 2);
    if (!command->subsystemName.empty()) {
      (name += ' ') += command->subsystemName;
    }
    return name + " command " + HexOf(*command->subsystemCommand, 4);
  }
  if (command->name.empty()) {
    return (sender == eSender::Host ? "request " : "packet ") + HexOf(command->code, 2);
  }
  return std::string(command->name);
}

std::string RequestName(Packet packet) {
  const Packet request = Unwrap(packet).packet;
  const std::optional<sCommand> command = DescribePacket(request, eSender::Host).command;
  return CommandWords(request, eSender::Host) +
         (command ? SubjectName(request, *command) : std::string());
}

}  // namespace corvane
