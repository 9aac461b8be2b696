#pragma once

#include <cstdint>
#include <span>

namespace corvane {

// CRC-16/X.25 by its definition, one bit at a time: what the tables of the library and of the
// modem simulator are compared with, and what a test frames packets with.
[[nodiscard]] inline std::uint16_t ReferenceCrc(std::span<const std::uint8_t> bytes) {
  std::uint32_t crc = 0xFFFF;
  for (const std::uint8_t byte : bytes) {
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit) {
      crc = (crc & 1) != 0 ? (crc >> 1) ^ 0x8408 : crc >> 1;
    }
  }
  return static_cast<std::uint16_t>(crc ^ 0xFFFF);
}

}  // namespace corvane
