#include "ota/bit_cursor.h"

#include <algorithm>
#include <array>

#include "diag/little_endian.h"
#include "platform/error_codes.h"

namespace corvane {
namespace {

// kLowBits[n] has the n least significant bits set.
constexpr std::array<std::uint8_t, 9> kLowBits = {0, 1, 3, 7, 15, 31, 63, 127, 255};

[[nodiscard]] std::uint32_t CheckRead(const sBitReader& reader, std::uint32_t count,
                                      std::uint32_t maximum) {
  if (count < 1 || count > maximum) {
    return kErrorInvalidParameter;
  }
  // Callers are told 8 ("not enough memory") when too few bits are left, though no memory is short.
  if (reader.position >= reader.bitCount) {
    return kErrorNotEnoughMemory;
  }
  if (reader.bitCount - reader.position < count) {
    return kErrorNotEnoughMemory;
  }
  return kErrorSuccess;
}

// Where in its byte the bit at `position` lies, counted from the least significant one.
[[nodiscard]] std::uint32_t BitShift(std::uint32_t position, std::uint8_t bitOrder) {
  return bitOrder == kLeastSignificantBitFirst ? position % 8 : 7 - position % 8;
}

[[nodiscard]] std::uint32_t BitAt(const sBitReader& reader, std::uint32_t position) {
  return (reader.data[position / 8] >> BitShift(position, reader.bitOrder)) & 1u;
}

[[nodiscard]] std::uint32_t GatherLeastSignificantFirst(const sBitReader& reader,
                                                        std::uint32_t count) {
  std::uint32_t value = 0;
  for (std::uint32_t k = 0; k < count; ++k) {
    value |= BitAt(reader, reader.position + k) << k;
  }
  return value;
}

[[nodiscard]] std::uint32_t GatherMostSignificantFirst(const sBitReader& reader,
                                                       std::uint32_t count) {
  std::uint32_t value = 0;
  for (std::uint32_t k = 0; k < count; ++k) {
    value = value << 1 | BitAt(reader, reader.position + k);
  }
  return value;
}

// The value of the next `count` bits, which are there.
[[nodiscard]] std::uint32_t PeekBits(const sBitReader& reader, std::uint32_t count) {
  if (reader.bitOrder != kLeastSignificantBitFirst) {
    return GatherMostSignificantFirst(reader, count);
  }
  const std::uint8_t* bytes = reader.data + reader.position / 8;
  const std::uint32_t offset = reader.position % 8;
  if (count == 32 && offset == 0) {
    return Load32(bytes);
  }
  if (count <= 8 - offset) {
    return static_cast<std::uint32_t>(*bytes >> offset) & kLowBits[count];
  }
  return GatherLeastSignificantFirst(reader, count);
}

}  // namespace

std::uint32_t ReadBits8(sBitReader& reader, std::uint32_t count, std::uint8_t& out) {
  const std::uint32_t status = CheckRead(reader, count, 8);
  if (status != kErrorSuccess) {
    return status;
  }
  if (count == 8 && reader.position % 8 == 0 && reader.bitOrder == kLeastSignificantBitFirst) {
    out = reader.data[reader.position / 8];
  } else {
    out = static_cast<std::uint8_t>(PeekBits(reader, count));
  }
  reader.position += count;
  return kErrorSuccess;
}

std::uint32_t ReadBits32(sBitReader& reader, std::uint32_t count, std::uint32_t& out) {
  const std::uint32_t status = CheckRead(reader, count, 32);
  if (status != kErrorSuccess) {
    return status;
  }
  out = PeekBits(reader, count);
  reader.position += count;
  return kErrorSuccess;
}

bool CopyBits(sBitReader& reader, sBitWriter& writer, std::uint32_t count) {
  for (; count != 0; --count) {
    if (reader.position >= reader.bitCount) {
      return false;
    }
    const std::uint32_t bit = BitAt(reader, reader.position++);
    if (writer.position >= writer.capacity) {
      return false;
    }
    writer.data[writer.position / 8] |=
        static_cast<std::uint8_t>(bit << BitShift(writer.position, writer.bitOrder));
    ++writer.position;
    writer.length = std::max(writer.length, writer.position);
  }
  return true;
}

}  // namespace corvane
