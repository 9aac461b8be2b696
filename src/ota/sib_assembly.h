#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "diag/shared_buffer.h"

namespace corvane {

// One system-information block under reassembly, or ready to emit: its data bits, most significant
// first, behind room for the OTA header of the packet that it will become.
//
// Aligned to 32 bytes, as the elements of the session's map are laid out.
struct alignas(32) sSibAssembly {
  static constexpr std::uint32_t kBufferSize = 8208;
  static constexpr std::uint32_t kBufferBits = kBufferSize * 8;
  // The OTA header and the SIB type byte, which are filled in when the block is emitted.
  static constexpr std::uint32_t kHeaderBits = 40;

  std::uint8_t channelMarker = 0;      // ota_log::kSibFromBch or ota_log::kSibFromFach
  std::uint8_t rbId = 0;               // radio bearer byte of the packets
  std::uint8_t sibType = 0;            // 3GPP TS 25.331 SIB-Type, 0 to 31
  std::uint32_t expectedSegments = 0;  // 1 to 16
  std::uint32_t receivedSegments = 0;
  std::uint32_t bitLength = kHeaderBits;  // bits used in `buffer`; the rest of it is zero
  std::array<std::uint8_t, kBufferSize> buffer{};

  // Makes it as a new one is. Only what was used of the buffer is cleared.
  void Clear();
};

// Compared by marker, then bearer, then type: at most one block of a SIB type, bearer and channel
// is under reassembly at any time.
struct sSibKey {
  std::int32_t channelMarker = 0;
  std::uint8_t rbId = 0;
  std::uint8_t sibType = 0;

  friend auto operator<=>(const sSibKey&, const sSibKey&) = default;
};

// The blocks under reassembly, for the life of one store. A block whose last segment never comes
// stays; the key bounds their number.
//
// The room of the block that was removed last is kept for the next one: finding and clearing it
// would take longer than all else that is done for a block.
class SibAssemblyMap : public std::map<sSibKey, sSibAssembly> {
 public:
  // Puts an empty block into the map, in the place of one with its key. Throws std::bad_alloc, with
  // the map unchanged, when a new key finds no memory.
  [[nodiscard]] sSibAssembly& Start(const sSibKey& key);

  void Remove(iterator entry);

 private:
  node_type spare;  // its block is empty
};

// The blocks under reassembly of each subscription of a modem with several SIMs, which listen to
// cells of their own. A modem with one SIM has one.
class cSubscriptionAssemblies {
 public:
  // No modem has so many SIMs, but a stream of nonsense may: of the subscriptions beyond, each
  // takes the place, and drops the blocks, of the one that was selected the longest ago.
  static constexpr std::size_t kMostSubscriptions = 8;

  // The blocks of the selected subscription, 1 at first.
  [[nodiscard]] SibAssemblyMap& Selected() { return slots[selected].blocks; }

  // Selects a subscription, counted from 1. Needs no memory.
  void Select(std::uint32_t subscription);

 private:
  struct sSlot {
    std::uint32_t subscription = 0;  // 0: free
    std::uint64_t selectedAt = 0;    // of the selections
    SibAssemblyMap blocks;
  };
  std::array<sSlot, kMostSubscriptions> slots{sSlot{1, 1, {}}};
  std::size_t selected = 0;
  std::uint64_t selections = 1;
};

// Rebuilt packets in the order in which their blocks were completed.
using SibPacketList = std::vector<OwnedBuffer>;

// Appends `block` to `list` as a 0x412F log packet of the device: its channel is the block's marker
// and its message the SIB type byte and the block's data bytes. The packet of a longer block holds
// the first kMaxEmittedBytes only, and its message length still counts all of them.
//
// Writes the OTA header into the block's first bytes and rounds its `bitLength` up to whole bytes,
// also when there is no memory for the packet, in which case nothing is appended.
void EmitSib(sSibAssembly& block, std::uint64_t diagTimestamp, SibPacketList& list);

// The most bytes of a block, OTA header included, that go into a packet.
inline constexpr std::uint32_t kMaxEmittedBytes = 8192;

}  // namespace corvane
