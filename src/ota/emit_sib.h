#pragma once

#include <cstdint>
#include <vector>

#include "diag/shared_buffer.h"
#include "ota/sib_assembly.h"

namespace corvane {

// Rebuilt packets in the order in which their blocks were completed.
using SibPacketList = std::vector<OwnedBuffer>;

// Appends `block` to `list` as a 0x412F log packet of the device: its channel is the block's marker
// and its message the SIB type byte and the block's data bytes. Of a longer block the packet holds
// the first kMaxEmittedBytes only, and its message length still counts all of them.
//
// Writes the OTA header into the block's first bytes and rounds its `bitLength` up to whole bytes,
// also when there is no memory for the packet, in which case nothing is appended.
void EmitSib(sSibAssembly& block, std::uint64_t diagTimestamp, SibPacketList& list);

// The most bytes of a block, OTA header included, that go into a packet.
inline constexpr std::uint32_t kMaxEmittedBytes = 8192;

}  // namespace corvane
