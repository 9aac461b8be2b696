#pragma once

#include <cstdint>

namespace corvane {

// Values of a cursor's `bitOrder`. Any other value than 1 is most significant bit first.
inline constexpr std::uint8_t kMostSignificantBitFirst = 0;
inline constexpr std::uint8_t kLeastSignificantBitFirst = 1;

// A cursor for reading bits. Whoever sets it up vouches that `data`, which it does not own, holds
// `bitCount` bits. A position past the end is allowed: nothing can be read there.
struct sBitReader {
  const std::uint8_t* data = nullptr;
  std::uint32_t position = 0;  // bits consumed, counted from the first bit of `data`
  std::uint32_t bitCount = 0;  // readable bits
  std::uint8_t bitOrder = kMostSignificantBitFirst;
};

// A cursor for writing bits into a buffer that it does not own. Bits are only ever set, never
// cleared: the buffer has to be zero from `position` on.
struct sBitWriter {
  std::uint8_t* data = nullptr;
  std::uint32_t position = 0;  // the next bit to write
  std::uint32_t length = 0;    // high-water mark of the bits written
  std::uint32_t capacity = 0;  // size of the buffer in bits
  std::uint8_t bitOrder = kMostSignificantBitFirst;
};

// Reads `count` bits, 1 to 8, as one number: the first bit read is its least significant one where
// the reader says so, else its most significant one.
//
// Results (platform/error_codes.h): 0; 87 when `count` is out of range; 8 when fewer than `count`
// bits are left. On failure nothing is consumed and `out` is untouched.
[[nodiscard]] std::uint32_t ReadBits8(sBitReader& reader, std::uint32_t count, std::uint8_t& out);

// The same for 1 to 32 bits.
[[nodiscard]] std::uint32_t ReadBits32(sBitReader& reader, std::uint32_t count, std::uint32_t& out);

// Copies `count` bits in the order in which `reader` yields them, each cursor in its own bit order.
// False when the reader ran out of bits or the writer out of room; the bits copied until then stay
// copied. When there was no room, the reader has already passed the bit that was lost.
[[nodiscard]] bool CopyBits(sBitReader& reader, sBitWriter& writer, std::uint32_t count);

}  // namespace corvane
