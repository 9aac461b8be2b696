#include "bench/loads.h"

#include <array>
#include <random>
#include <utility>

#include "diag/hdlc.h"
#include "diag/packets.h"
#include "diag/shared_buffer.h"

namespace corvane::bench {
namespace {

constexpr std::size_t kStreamPackets = 2000;

constexpr std::array<std::uint16_t, 256> kTable = [] {
  std::array<std::uint16_t, 256> table{};
  for (std::uint32_t i = 0; i < table.size(); ++i) {
    std::uint32_t entry = i;
    for (int bit = 0; bit < 8; ++bit) {
      entry = entry % 2 == 0 ? entry >> 1 : (entry >> 1) ^ 0x8408;
    }
    table[i] = static_cast<std::uint16_t>(entry);
  }
  return table;
}();

// A log packet, whose code, where there is one, is no signalling log's.
void MakeLogHead(Bytes& packet) {
  packet[0] = command::kLog;
  if (packet.size() >= log_packet::kHeaderSize) {
    packet[log_packet::kLogCode] = 0x25;
    packet[log_packet::kLogCode + 1] = 0x41;
  }
}

[[nodiscard]] std::uint8_t PlainByte(std::mt19937& random) {
  const auto byte = static_cast<std::uint8_t>(random() % 254);
  return byte < kFrameEscape ? byte : static_cast<std::uint8_t>(byte + 2);
}

}  // namespace

std::size_t sLoad::ByteCount() const {
  std::size_t count = 0;
  for (const Bytes& packet : packets) {
    count += packet.size();
  }
  return count;
}

sLoad StreamLoad() {
  std::mt19937 random{1};
  sLoad load{"stream", {}};
  for (std::size_t i = 0; i < kStreamPackets; ++i) {
    Bytes packet(20 + random() % 401);
    for (std::uint8_t& byte : packet) {
      const bool needsEscape = random() % 100 == 0;
      byte =
          needsEscape ? static_cast<std::uint8_t>(kFrameEscape + random() % 2) : PlainByte(random);
    }
    MakeLogHead(packet);
    load.packets.push_back(std::move(packet));
  }
  return load;
}

sLoad PlainLoad(const char* name, std::size_t size, std::size_t count) {
  std::mt19937 random{1};
  sLoad load{name, {}};
  for (std::size_t i = 0; i < count; ++i) {
    Bytes packet(size);
    for (std::uint8_t& byte : packet) {
      byte = PlainByte(random);
    }
    MakeLogHead(packet);
    load.packets.push_back(std::move(packet));
  }
  return load;
}

sLoad EscapedLoad() { return {"all escaped", std::vector<Bytes>(1000, Bytes(200, kFrameFlag))}; }

Bytes FramesOf(const sLoad& load) {
  Bytes frames;
  for (const Bytes& packet : load.packets) {
    const OwnedBuffer buffer = MakeBuffer(packet, kOriginDevice);
    const OwnedBuffer frame = FramePacket(buffer.get());
    frames.insert(frames.end(), frame->Bytes().begin(), frame->Bytes().end());
  }
  return frames;
}

std::uint16_t PlainCrc(std::span<const std::uint8_t> bytes) {
  std::uint16_t crc = 0xFFFF;
  for (const std::uint8_t byte : bytes) {
    crc = static_cast<std::uint16_t>((crc >> 8) ^ kTable[(crc ^ byte) & 0xFF]);
  }
  return crc;
}

}  // namespace corvane::bench
