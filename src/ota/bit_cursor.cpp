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

[[nodiscard]] std::uint32_t BytesOf(std::uint32_t bits) { return bits / 8 + (bits % 8 != 0); }

// Eight bytes, the first one the most significant. Written out, this and its counterpart are one
// instruction each.
[[nodiscard]] std::uint64_t LoadBigEndian(const std::uint8_t* bytes) {
  return std::uint64_t{bytes[0]} << 56 | std::uint64_t{bytes[1]} << 48 |
         std::uint64_t{bytes[2]} << 40 | std::uint64_t{bytes[3]} << 32 |
         std::uint64_t{bytes[4]} << 24 | std::uint64_t{bytes[5]} << 16 |
         std::uint64_t{bytes[6]} << 8 | std::uint64_t{bytes[7]};
}

void StoreBigEndian(std::uint8_t* bytes, std::uint64_t value) {
  bytes[0] = static_cast<std::uint8_t>(value >> 56);
  bytes[1] = static_cast<std::uint8_t>(value >> 48);
  bytes[2] = static_cast<std::uint8_t>(value >> 40);
  bytes[3] = static_cast<std::uint8_t>(value >> 32);
  bytes[4] = static_cast<std::uint8_t>(value >> 24);
  bytes[5] = static_cast<std::uint8_t>(value >> 16);
  bytes[6] = static_cast<std::uint8_t>(value >> 8);
  bytes[7] = static_cast<std::uint8_t>(value);
}

// The eight bytes from `first` on, of which as many as are below `end` are there, one at least. The
// others are zeros.
[[nodiscard]] std::uint64_t LoadWindow(const std::uint8_t* bytes, std::uint32_t first,
                                       std::uint32_t end) {
  const std::uint32_t size = end - first;
  if (size >= 8) {
    return LoadBigEndian(bytes + first);
  }
  if (end >= 8) {
    return LoadBigEndian(bytes + end - 8) << (64 - 8 * size);
  }
  std::uint64_t window = 0;
  for (std::uint32_t i = 0; i < size; ++i) {
    window |= std::uint64_t{bytes[first + i]} << (56 - 8 * i);
  }
  return window;
}

// The `count` bits at `position`, which are there; 1 to 57.
[[nodiscard]] inline std::uint64_t GatherMostSignificantFirst(const sBitReader& reader,
                                                              std::uint32_t position,
                                                              std::uint32_t count) {
  const std::uint64_t window = LoadWindow(reader.data, position / 8, BytesOf(reader.bitCount));
  return window << position % 8 >> (64 - count);
}

// The 64 bits at `position`, which are there.
[[nodiscard]] std::uint64_t Gather64(const sBitReader& reader, std::uint32_t position) {
  const std::uint8_t* const bytes = reader.data + position / 8;
  const std::uint32_t offset = position % 8;
  const std::uint64_t bits = LoadBigEndian(bytes) << offset;
  return offset == 0 ? bits : bits | bytes[8] >> (8 - offset);
}

// The value of the next `count` bits, which are there.
[[nodiscard]] inline std::uint32_t PeekBits(const sBitReader& reader, std::uint32_t count) {
  if (reader.bitOrder != kLeastSignificantBitFirst) {
    return static_cast<std::uint32_t>(GatherMostSignificantFirst(reader, reader.position, count));
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

// The same for 1 to 8 bits, which lie in two bytes. Most fields are that short.
[[nodiscard]] inline std::uint8_t PeekFewBits(const sBitReader& reader, std::uint32_t count) {
  if (reader.bitOrder == kLeastSignificantBitFirst) {
    return static_cast<std::uint8_t>(PeekBits(reader, count));
  }
  const std::uint8_t* const bytes = reader.data + reader.position / 8;
  const std::uint32_t end = reader.position % 8 + count;
  const std::uint32_t pair = std::uint32_t{bytes[0]} << 8 | (end > 8 ? bytes[1] : 0u);
  return static_cast<std::uint8_t>((pair >> (16 - end)) & kLowBits[count]);
}

[[nodiscard]] std::uint32_t BitsBetween(std::uint32_t position, std::uint32_t end) {
  return position < end ? end - position : 0;
}

// With a part of a byte on either side, so many bits lie within eight bytes.
constexpr std::uint32_t kBitsInWindow = 64 - 7;

// Sets what is set in `window`, whose bits behind the last byte are zeros.
void AddWindow(std::uint8_t* bytes, std::uint64_t window, std::uint32_t size) {
  if (size >= 8) {
    StoreBigEndian(bytes, LoadBigEndian(bytes) | window);
    return;
  }
  for (std::uint32_t i = 0; i < size; ++i) {
    bytes[i] |= static_cast<std::uint8_t>(window >> (56 - 8 * i));
  }
}

// The `count` bits at `from`, 0 to 57, which are there; at `to` there is room for them.
void CopyFew(const sBitReader& reader, std::uint32_t from, const sBitWriter& writer,
             std::uint32_t to, std::uint32_t count) {
  if (count != 0) {
    const std::uint64_t value = GatherMostSignificantFirst(reader, from, count);
    AddWindow(writer.data + to / 8, value << (64 - count - to % 8),
              BytesOf(writer.capacity) - to / 8);
  }
}

// The next `count` bits, which are there, and there is room for them. No cursor moves.
//
// Up to a whole byte, then 64 bits at a time: what is read back of the writer's bytes was not
// written just before, for which a processor would wait.
void CopyMostSignificantFirst(const sBitReader& reader, const sBitWriter& writer,
                              std::uint32_t count) {
  std::uint32_t from = reader.position;
  std::uint32_t to = writer.position;
  const std::uint32_t end = to + count;
  const std::uint32_t lead = std::min(count, (8 - to % 8) % 8);
  if (lead != 0) {
    const std::uint64_t value = GatherMostSignificantFirst(reader, from, lead);
    writer.data[to / 8] |= static_cast<std::uint8_t>(value << (8 - to % 8 - lead));
    from += lead;
    to += lead;
  }
  for (; end - to >= 64; from += 64, to += 64) {
    std::uint8_t* const place = writer.data + to / 8;
    StoreBigEndian(place, LoadBigEndian(place) | Gather64(reader, from));
  }
  const std::uint32_t most = std::min(end - to, kBitsInWindow - 1);  // whole bytes
  CopyFew(reader, from, writer, to, most);
  CopyFew(reader, from + most, writer, to + most, end - to - most);
}

// The same in any bit order.
void CopyOneByOne(const sBitReader& reader, const sBitWriter& writer, std::uint32_t count) {
  for (std::uint32_t copied = 0; copied < count; ++copied) {
    const std::uint32_t bit = BitAt(reader, reader.position + copied);
    const std::uint32_t to = writer.position + copied;
    writer.data[to / 8] |= static_cast<std::uint8_t>(bit << BitShift(to, writer.bitOrder));
  }
}

}  // namespace

std::uint32_t ReadBits8(sBitReader& reader, std::uint32_t count, std::uint8_t& out) {
  const std::uint32_t status = CheckRead(reader, count, 8);
  if (status != kErrorSuccess) {
    return status;
  }
  out = PeekFewBits(reader, count);
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
  const std::uint32_t left = BitsBetween(reader.position, reader.bitCount);
  const std::uint32_t room = BitsBetween(writer.position, writer.capacity);
  const std::uint32_t copied = std::min({count, left, room});
  if (reader.bitOrder != kLeastSignificantBitFirst &&
      writer.bitOrder != kLeastSignificantBitFirst) {
    CopyMostSignificantFirst(reader, writer, copied);
  } else {
    CopyOneByOne(reader, writer, copied);
  }
  reader.position += copied;
  writer.position += copied;
  if (copied != 0) {
    writer.length = std::max(writer.length, writer.position);
  }
  if (copied == count) {
    return true;
  }
  // The bit that finds no room is read before that shows.
  if (copied != left) {
    ++reader.position;
  }
  return false;
}

}  // namespace corvane
