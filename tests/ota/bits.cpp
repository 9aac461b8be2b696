#include "ota/bits.h"

namespace corvane {

Bits Number(std::uint64_t value, std::size_t width) {
  Bits bits;
  for (std::size_t bit = width; bit != 0; --bit) {
    bits += (value >> (bit - 1) & 1) != 0 ? '1' : '0';
  }
  return bits;
}

std::uint64_t NumberOf(const Bits& bits) {
  std::uint64_t value = 0;
  for (const char bit : bits) {
    value = value * 2 + (bit == '1' ? 1u : 0u);
  }
  return value;
}

Bits Pattern(std::size_t count, unsigned variant) {
  Bits bits;
  std::uint32_t state = 0x9E3779B9u * (variant + 1);
  for (std::size_t k = 0; k < count; ++k) {
    state = state * 1664525u + 1013904223u;
    bits += (state >> 24 & 1) != 0 ? '1' : '0';
  }
  return bits;
}

// Neither branches on the bits: the random tests turn very many of them.

Bits BitsOf(std::span<const std::uint8_t> bytes) {
  Bits bits(bytes.size() * 8, '0');
  for (std::size_t k = 0; k < bits.size(); ++k) {
    bits[k] = static_cast<char>('0' + (bytes[k / 8] >> (7 - k % 8) & 1));
  }
  return bits;
}

ByteVector BytesOf(const Bits& bits) {
  ByteVector bytes((bits.size() + 7) / 8);
  for (std::size_t k = 0; k < bits.size(); ++k) {
    const unsigned isOne = bits[k] == '1';
    bytes[k / 8] = static_cast<std::uint8_t>(bytes[k / 8] | isOne << (7 - k % 8));
  }
  return bytes;
}

}  // namespace corvane
