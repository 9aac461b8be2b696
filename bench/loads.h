#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace corvane::bench {

using Bytes = std::vector<std::uint8_t>;

// Packets that one measurement runs over.
struct sLoad {
  const char* name;
  std::vector<Bytes> packets;

  [[nodiscard]] std::size_t ByteCount() const;
};

// Log packets as a modem sends them: 20 to 420 bytes, of which one in a hundred needs an escape.
// The same ones come with every call.
[[nodiscard]] sLoad StreamLoad();

// Packets of `size` bytes, without a byte that needs an escape.
[[nodiscard]] sLoad PlainLoad(const char* name, std::size_t size, std::size_t count);

// Packets of 200 bytes that all need an escape.
[[nodiscard]] sLoad EscapedLoad();

// The frames of a load's packets, one behind the other.
[[nodiscard]] Bytes FramesOf(const sLoad& load);

// The CRC register behind these bytes, by the loop as it is written down: crc = (crc >> 8) ^
// table[(crc ^ byte) & 0xFF]. No packet can be framed or checked without it.
[[nodiscard]] std::uint16_t PlainCrc(std::span<const std::uint8_t> bytes);

}  // namespace corvane::bench
