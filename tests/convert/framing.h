#pragma once

#include <span>

#include "support/bytes.h"
#include "support/reference_crc.h"

namespace corvane {

// Appends a frame, put together independently of the library: the packet and its CRC, escaped, and
// the closing flag.
inline void AppendFrame(ByteVector& stream, std::span<const std::uint8_t> packet) {
  const std::uint16_t crc = ReferenceCrc(packet);
  ByteVector bytes(packet.begin(), packet.end());
  bytes.push_back(static_cast<std::uint8_t>(crc % 256));
  bytes.push_back(static_cast<std::uint8_t>(crc / 256));
  for (const std::uint8_t byte : bytes) {
    if (byte == 0x7D || byte == 0x7E) {
      stream.push_back(0x7D);
      stream.push_back(byte == 0x7D ? 0x5D : 0x5E);
    } else {
      stream.push_back(byte);
    }
  }
  stream.push_back(0x7E);
}

[[nodiscard]] inline ByteVector FrameOf(std::span<const std::uint8_t> packet) {
  ByteVector stream;
  AppendFrame(stream, packet);
  return stream;
}

}  // namespace corvane
