#pragma once

#include <cstdint>

#include "diag/shared_buffer.h"
#include "ota/ota_packet.h"
#include "ota/sib_assembly.h"

namespace corvane {

// Takes what the reassembly rebuilds: implemented by whoever offers log items to it.
class cRebuiltPacketSink {
 public:
  // `packet` is a 0x412F log packet of the device. The sink may offer it to the reassembly again,
  // which rebuilds nothing from it. Throws nothing.
  virtual void AddRebuiltPacket(OwnedBuffer packet) = 0;

 protected:
  ~cRebuiltPacketSink() = default;
};

// Offers one log item to the reassembly of system information: gives `sink` every block that it
// completes, in order, and keeps unfinished ones in `assemblyMap`.
//
// `arrivalTime` is the item's FILETIME (100 ns units since 1601-01-01 UTC); the rebuilt packets
// carry it as their DIAG timestamp. Items that arrived before 1980-01-06 UTC complete nothing. The
// map is changed without a lock: calls with one map must not overlap, but for those that come from
// within `sink`. Throws nothing of its own; blocks that find no memory are missing.
void ProcessOtaLogItem(SibAssemblyMap& assemblyMap, const sSharedBuffer& item,
                       std::uint64_t arrivalTime, cRebuiltPacketSink& sink);
using LogItemHandler = decltype(&ProcessOtaLogItem);

// Runs one packet through the segment decoders: returns the blocks that it completed, in order, and
// keeps unfinished ones in `assemblyMap`. The result is empty, and the map unchanged, unless the
// item is a well-formed 0x412F log packet with a system-information message on BCCH.
//
// The returned packets belong to the caller. `item` need only live for the call.
[[nodiscard]] SibPacketList DecodeOtaPacket(SibAssemblyMap& assemblyMap, const sSharedBuffer& item,
                                            std::uint64_t diagTimestamp);

// Reads the system-information message of `packet`, which is of one of the two BCCH channels, as
// its payload choice says: 1 to 10, or the result is empty. The message is read most significant
// bit first. One that is cut short completes fewer blocks; segment_pieces.h says what becomes of
// stored ones.
[[nodiscard]] SibPacketList DecodeSystemInformation(std::uint32_t payloadChoice,
                                                    SibAssemblyMap& assemblyMap,
                                                    const sOtaPacket& packet,
                                                    std::uint64_t diagTimestamp);

}  // namespace corvane
