#include "modem_sim/diag_packets.h"

#include <algorithm>

namespace corvane::modem_sim {
namespace {

// `text` in a field of `width` bytes, cut so that at least one zero byte ends it.
void AppendFixedText(Bytes& bytes, std::string_view text, std::size_t width) {
  const std::size_t size = std::min(text.size(), width - 1);
  AppendText(bytes, text.substr(0, size));
  bytes.resize(bytes.size() + width - size, 0);
}

// What 0x79 and 0x92 have in common: their first 20 bytes.
Bytes MessageHead(eCommand command, const sMessage& message) {
  Bytes packet = {command, 0, static_cast<std::uint8_t>(message.arguments.size()), 0};
  AppendU64(packet, message.time);
  AppendU16(packet, message.line);
  AppendU16(packet, message.ssid);
  AppendU32(packet, 1U << message.level);
  return packet;
}

void AppendPayload(Bytes& bytes, const sEvent& event) {
  if (event.lengthCode == 3) {
    bytes.push_back(static_cast<std::uint8_t>(event.payload.size()));
  }
  AppendBytes(bytes, event.payload);
}

}  // namespace

Bytes LogPacket(std::uint16_t code, std::uint64_t time, ByteView payload) {
  // Both lengths count from the second one on: all but the first four bytes.
  const auto length = static_cast<std::uint32_t>(kLogHeaderSize - 4 + payload.size());
  Bytes packet = {kLog, 0};
  packet.reserve(kLogHeaderSize + payload.size());
  AppendU16(packet, length);
  AppendU16(packet, length);
  AppendU16(packet, code);
  AppendU64(packet, time);
  AppendBytes(packet, payload);
  return packet;
}

Bytes EventReport(const std::vector<sEvent>& events) {
  Bytes body;
  for (const sEvent& event : events) {
    AppendU16(body, event.id | event.lengthCode << 13 | (event.shortTime ? 0x8000U : 0U));
    if (event.shortTime) {
      AppendU16(body, static_cast<std::uint32_t>(event.time >> 8 & 0xFFFF));
    } else {
      AppendU64(body, event.time);
    }
    AppendPayload(body, event);
  }
  Bytes packet = {kEventReport};
  AppendU16(packet, static_cast<std::uint32_t>(body.size()));
  AppendBytes(packet, body);
  return packet;
}

Bytes SingleEvent(const sEvent& event) {
  Bytes payload;
  AppendPayload(payload, event);
  Bytes packet = {kEventReport};
  AppendU16(packet, static_cast<std::uint32_t>(payload.size() + 10));
  AppendU16(packet, event.id | event.lengthCode << 13);
  AppendU64(packet, event.time);
  AppendBytes(packet, payload);
  return packet;
}

Bytes ExtendedMessage(const sMessage& message) {
  Bytes packet = MessageHead(kExtendedMessage, message);
  for (const std::uint32_t argument : message.arguments) {
    AppendU32(packet, argument);
  }
  AppendText(packet, message.format);
  packet.push_back(0);
  AppendText(packet, message.file);
  packet.push_back(0);
  return packet;
}

Bytes TerseMessage(const sMessage& message, std::uint32_t hash) {
  Bytes packet = MessageHead(kTerseMessage, message);
  AppendU32(packet, hash);
  for (const std::uint32_t argument : message.arguments) {
    AppendU32(packet, argument);
  }
  return packet;
}

Bytes LegacyMessage(const sMessage& message) {
  Bytes packet = {kMessage};
  AppendU16(packet, 1);  // messages in this packet
  AppendU32(packet, 0);  // dropped before it
  AppendU32(packet, 1);  // logged so far
  packet.push_back(static_cast<std::uint8_t>(message.level));
  AppendFixedText(packet, message.file, 13);
  AppendU16(packet, message.line);
  AppendFixedText(packet, message.format, 40);
  for (std::size_t i = 0; i < 3; ++i) {
    AppendU32(packet, i < message.arguments.size() ? message.arguments[i] : 0);
  }
  AppendU64(packet, message.time);
  return packet;
}

Bytes ErrorReply(eCommand error, ByteView request) {
  Bytes packet = {error};
  AppendBytes(packet, request);
  return packet;
}

Bytes GetItemReply(ByteView keptPacket) {
  Bytes packet = {kSubsystem, 0x25};
  AppendU16(packet, 8);
  packet.resize(packet.size() + 5, 0);
  AppendU32(packet, 0);  // success
  AppendBytes(packet, keptPacket);
  return packet;
}

}  // namespace corvane::modem_sim
