#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace corvane {

// Bits as text of '0' and '1', in the order in which they are sent: of a byte, the most significant
// bit first.
using Bits = std::string;

// `value` in `width` bits, most significant first.
[[nodiscard]] Bits Number(std::uint64_t value, std::size_t width);

// The number that the bits are, most significant first.
[[nodiscard]] std::uint64_t NumberOf(const Bits& bits);

// `count` bits without a visible order, the same for the same `variant`.
[[nodiscard]] Bits Pattern(std::size_t count, unsigned variant = 0);

[[nodiscard]] Bits BitsOf(std::span<const std::uint8_t> bytes);

// The bytes of the bits, the last one filled up with zero bits.
[[nodiscard]] ByteVector BytesOf(const Bits& bits);

}  // namespace corvane
