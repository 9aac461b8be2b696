#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "diag/shared_buffer.h"
#include "ota/bits.h"
#include "ota/sib_assembly.h"
#include "ota/sib_blocks.h"

// What the tests of the reassembly send and expect, all of it written out independently of the code
// under test.
namespace corvane {

inline constexpr std::uint8_t kBch = 4;
inline constexpr std::uint8_t kFach = 5;

// The channel of the rebuilt packets.
[[nodiscard]] constexpr std::uint8_t MarkerOf(std::uint8_t channel) {
  return channel == kBch ? 254 : 255;
}

// A system-information message of this payload choice. The choice stands where the dispatcher's
// least-significant-first reading finds it, and the content where the decoders' reading goes on. On
// FACH the content's first two bits share a byte with the message type and have to be 0; throws
// std::logic_error when they are not.
[[nodiscard]] Bits Message(std::uint8_t channel, unsigned choice, const Bits& content);

// How many bits of a message stand before its content.
[[nodiscard]] constexpr std::size_t LeadOf(std::uint8_t channel) {
  return channel == kBch ? 15 : 6;
}

// The contents of the single-piece messages, their numbers as they are meant: `count`, `index` (the
// first segment is 0) and the length of `data` are sent less one.
[[nodiscard]] Bits FirstFixed(unsigned sibType, unsigned count, const Bits& data);
[[nodiscard]] Bits FirstShort(unsigned sibType, unsigned count, const Bits& data);
[[nodiscard]] Bits SegmentFixed(unsigned sibType, unsigned index, const Bits& data);
[[nodiscard]] Bits SegmentShort(unsigned sibType, unsigned index, const Bits& data);
struct sListedSib {
  unsigned sibType;
  Bits data;
};
[[nodiscard]] Bits SibList(const std::vector<sListedSib>& sibs);

// A 0x412F log packet around these message bytes.
[[nodiscard]] ByteVector LogPacket(std::uint8_t channel, std::uint8_t rbId,
                                   const ByteVector& message,
                                   std::uint64_t timestamp = 0x0123456789ABCDEF);

// The packet that is expected for a complete block.
[[nodiscard]] ByteVector RebuiltPacket(std::uint8_t channel, std::uint8_t rbId, unsigned sibType,
                                       const Bits& data, std::uint64_t timestamp);

[[nodiscard]] OwnedBuffer Item(const ByteVector& bytes);
// The packets' bytes, in the list's order.
using Packets = std::vector<ByteVector>;
[[nodiscard]] Packets BytesOf(const SibPacketList& packets);

// A block that no packet was made of yet.
[[nodiscard]] sBlock UnfinishedBlock(unsigned expected, unsigned received, const Bits& data);
// The same after a packet was made of it: header written, rounded up to whole bytes.
[[nodiscard]] sBlock EmittedBlock(const BlockKey& key, unsigned expected, unsigned received,
                                  const Bits& data);

// The map as the code under test holds it. Adds a test failure where a block disagrees with its key
// or holds a bit behind its length.
[[nodiscard]] BlockMap BlocksOf(const SibAssemblyMap& map);
[[nodiscard]] sBlock BlockOf(const BlockKey& key, const sSibAssembly& assembly);

// Puts a block into the map under test.
void InsertBlock(SibAssemblyMap& map, const BlockKey& key, const sBlock& block);

}  // namespace corvane
