#pragma once

#include <cstdint>

namespace corvane {

// Little-endian numbers on the DIAG wire and in the capture file. The bytes need no alignment; the
// caller vouches that as many bytes as the number has are there.

[[nodiscard]] constexpr std::uint16_t Load16(const std::uint8_t* bytes) {
  return static_cast<std::uint16_t>(bytes[0] | (bytes[1] << 8));
}

[[nodiscard]] constexpr std::uint32_t Load32(const std::uint8_t* bytes) {
  return Load16(bytes) | (std::uint32_t{Load16(bytes + 2)} << 16);
}

[[nodiscard]] constexpr std::uint64_t Load64(const std::uint8_t* bytes) {
  return Load32(bytes) | (std::uint64_t{Load32(bytes + 4)} << 32);
}

constexpr void Store16(std::uint8_t* bytes, std::uint16_t value) {
  bytes[0] = static_cast<std::uint8_t>(value);
  bytes[1] = static_cast<std::uint8_t>(value >> 8);
}

constexpr void Store32(std::uint8_t* bytes, std::uint32_t value) {
  Store16(bytes, static_cast<std::uint16_t>(value));
  Store16(bytes + 2, static_cast<std::uint16_t>(value >> 16));
}

constexpr void Store64(std::uint8_t* bytes, std::uint64_t value) {
  Store32(bytes, static_cast<std::uint32_t>(value));
  Store32(bytes + 4, static_cast<std::uint32_t>(value >> 32));
}

}  // namespace corvane
