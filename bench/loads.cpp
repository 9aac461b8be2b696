#include "bench/loads.h"

#include <random>
#include <utility>

#include "diag/hdlc.h"
#include "diag/packets.h"
#include "diag/shared_buffer.h"

namespace corvane::bench {
namespace {

constexpr std::size_t kStreamPackets = 2000;

// A log packet whose code is no signalling log's.
void MakeLogHead(Bytes& packet) {
  packet[0] = command::kLog;
  packet[log_packet::kLogCode] = 0x25;
  packet[log_packet::kLogCode + 1] = 0x41;
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
    if (size >= log_packet::kHeaderSize) {
      MakeLogHead(packet);
    }
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

}  // namespace corvane::bench
