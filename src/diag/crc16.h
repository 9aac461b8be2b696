#pragma once

#include <cstddef>
#include <cstdint>

namespace corvane {

// CRC-16/X.25: polynomial 0x1021 processed bit-reversed, initial value 0xFFFF, result complemented.
// Of the bytes "123456789" it is 0x906E.
[[nodiscard]] std::uint16_t Crc16X25(const std::uint8_t* bytes, std::size_t length);

// What Crc16X25 gives over any data followed by its own CRC, low byte first.
inline constexpr std::uint16_t kCrc16GoodResidue = 0x0F47;

}  // namespace corvane
