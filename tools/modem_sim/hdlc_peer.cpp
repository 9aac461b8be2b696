#include "modem_sim/hdlc_peer.h"

#include <algorithm>
#include <utility>

namespace corvane::modem_sim {
namespace {

constexpr std::uint8_t kStuffing = 0x20;

void AppendStuffed(Bytes& frame, std::uint8_t byte) {
  if (byte == kFlag || byte == kEscape) {
    frame.push_back(kEscape);
    byte = byte ^ kStuffing;
  }
  frame.push_back(byte);
}

Bytes WithCrc(ByteView packet) {
  Bytes body(packet.begin(), packet.end());
  AppendU16(body, Crc16(packet));
  return body;
}

Bytes Stuffed(ByteView body) {
  Bytes frame;
  frame.reserve(body.size() + body.size() / 8 + 8);
  for (const std::uint8_t byte : body) {
    AppendStuffed(frame, byte);
  }
  frame.push_back(kFlag);
  return frame;
}

}  // namespace

std::uint16_t Crc16(ByteView bytes) {
  unsigned remainder = 0xFFFF;
  for (const std::uint8_t byte : bytes) {
    remainder ^= byte;
    for (int bit = 0; bit < 8; ++bit) {
      // 0x8408 is the polynomial x^16 + x^12 + x^5 + 1 with its bits in the order of the wire.
      remainder = (remainder >> 1) ^ (0x8408U & (0U - (remainder & 1U)));
    }
  }
  return static_cast<std::uint16_t>(~remainder);
}

Bytes Frame(ByteView packet) { return Stuffed(WithCrc(packet)); }

Bytes FrameWithFlippedBit(ByteView packet, std::size_t bit) {
  Bytes body = WithCrc(packet);
  bit %= body.size() * 8;
  body[bit / 8] = static_cast<std::uint8_t>(body[bit / 8] ^ (1U << (bit % 8)));
  return Stuffed(body);
}

std::size_t FrameSizeBound(ByteView packet) {
  const auto stuffed = std::count_if(packet.begin(), packet.end(), [](std::uint8_t byte) {
    return byte == kFlag || byte == kEscape;
  });
  return packet.size() + static_cast<std::size_t>(stuffed) + 5;
}

Bytes IdleFrame() { return {kEscape, 0x00 ^ kStuffing, kEscape, 0x00 ^ kStuffing, kFlag}; }

void cDeframer::Push(ByteView bytes, std::vector<sReceivedFrame>& frames) {
  for (const std::uint8_t byte : bytes) {
    if (byte == kFlag) {
      if (!unstuffed.empty() || escaped) {
        frames.push_back(TakeFrame());
      }
    } else if (byte == kEscape) {
      escaped = true;
    } else {
      unstuffed.push_back(escaped ? static_cast<std::uint8_t>(byte ^ kStuffing) : byte);
      escaped = false;
      if (unstuffed.size() == kMaxFrame) {
        frames.push_back(TakeFrame());
      }
    }
  }
}

void cDeframer::Reset() {
  unstuffed.clear();
  escaped = false;
}

sReceivedFrame cDeframer::TakeFrame() {
  sReceivedFrame frame{std::exchange(unstuffed, {}), false};
  // An escape right before the flag is the sender's way of giving a frame up.
  const bool aborted = std::exchange(escaped, false);
  if (aborted || frame.packet.size() < 3) {
    return frame;
  }
  const std::size_t size = frame.packet.size() - 2;
  if (Crc16(ByteView(frame.packet).first(size)) == ReadU16(frame.packet, size)) {
    frame.packet.resize(size);
    frame.good = true;
  }
  return frame;
}

}  // namespace corvane::modem_sim
