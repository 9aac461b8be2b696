#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <vector>

#include "diag/little_endian.h"
#include "ota/dispatcher.h"

// A sequence of 0x412F log packets, decoded into one assembly map. docs/fuzzing.md describes the
// input.
namespace corvane {
namespace {

constexpr std::uint64_t kTimestamp = 0x1122334455667788;
constexpr std::size_t kLogHeaderBytes = 16;
constexpr std::size_t kOtaHeaderBytes = 4;

void Require(bool isTrue, const char* what) {
  if (isTrue) {
    return;
  }
  std::fprintf(stderr, "Not true: %s\n", what);
  std::abort();
}

// Well-formed, of the sender's channel and bearer, and of no effect when it comes back.
void CheckPacket(const sSharedBuffer& packet, std::uint8_t channel, std::uint8_t rbId) {
  Require(packet.IsUsable() && packet.origin == kOriginDevice, "a packet is one of the device");
  Require(packet.refCount == 0, "a packet belongs to the caller");
  Require(packet.size > kLogHeaderBytes + kOtaHeaderBytes, "a packet has a message");
  const std::uint8_t* bytes = packet.data;
  Require(Load16(bytes) == 16 && Load16(bytes + 6) == 0x412F, "a packet is a 0x412F log packet");
  Require(Load16(bytes + 2) == packet.size - 4 && Load16(bytes + 4) == packet.size - 4,
          "a packet's lengths are its own");
  Require(Load64(bytes + 8) == kTimestamp, "a packet carries the given time");
  Require(bytes[16] == (channel == 4 ? 254 : 255), "a packet carries its channel's marker");
  Require(bytes[17] == rbId, "a packet carries its bearer");
  Require(Load16(bytes + 18) == packet.size - 20, "a packet's message fills it");
  Require(bytes[20] < 32, "a packet's SIB type has five bits");
  SibAssemblyMap untouched;
  Require(DecodeOtaPacket(untouched, packet, kTimestamp).empty() && untouched.empty(),
          "a rebuilt packet yields nothing");
}

void CheckBlock(const sSibKey& key, const sSibAssembly& block) {
  Require(key.channelMarker == 254 || key.channelMarker == 255, "a marker is 254 or 255");
  Require(key.sibType < 32, "a SIB type has five bits");
  Require(key == sSibKey{block.channelMarker, block.rbId, block.sibType}, "a block fits its key");
  Require(block.expectedSegments >= 2 && block.expectedSegments <= 16,
          "a stored block has 2 to 16 segments");
  // One complete at 16 segments still takes segment 16, and no block waits for segment 17.
  Require(block.receivedSegments >= 1 && block.receivedSegments <= 17,
          "a stored block has received 1 to 17 segments");
  Require(block.bitLength >= 40 && block.bitLength <= 40 + 255 + 16 * 222 + 7,
          "a block is as long as its segments");
  const auto used = static_cast<std::ptrdiff_t>((block.bitLength + 7) / 8);
  Require(std::all_of(block.buffer.begin() + used, block.buffer.end(),
                      [](std::uint8_t byte) { return byte == 0; }),
          "a block is zero behind its bits");
}

void Decode(SibAssemblyMap& map, std::span<const std::uint8_t> packet) {
  // The copy ends where the packet does, so that a read behind it is seen.
  const sSharedBuffer item(packet.data(), static_cast<std::int32_t>(packet.size()), kOriginDevice);
  const SibPacketList list = DecodeOtaPacket(map, item, kTimestamp);
  Require(list.size() <= 18, "a message completes at most 18 blocks");
  for (const OwnedBuffer& rebuilt : list) {
    CheckPacket(*rebuilt, item.data[kLogHeaderBytes], item.data[kLogHeaderBytes + 1]);
  }
}

}  // namespace
}  // namespace corvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvane;
  SibAssemblyMap map;
  std::span<const std::uint8_t> input(data, size);
  if (!input.empty() && input.size() <= kMaxBufferSize) {
    Decode(map, input);
  }

  std::vector<std::uint8_t> packet;
  while (input.size() >= kOtaHeaderBytes) {
    const std::size_t messageBytes = Load16(input.data() + 2);
    const std::size_t taken = std::min(input.size(), kOtaHeaderBytes + messageBytes);
    packet.assign(kLogHeaderBytes, 0);
    packet[0] = 0x10;
    Store16(packet.data() + 6, 0x412F);
    packet.insert(packet.end(), input.begin(), input.begin() + static_cast<std::ptrdiff_t>(taken));
    if (packet.size() <= kMaxBufferSize) {
      Decode(map, packet);
    }
    input = input.subspan(taken);
  }
  for (const auto& [key, block] : map) {
    CheckBlock(key, block);
  }
  return 0;
}
