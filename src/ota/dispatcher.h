#pragma once

#include <cstdint>

#include "diag/shared_buffer.h"
#include "ota/emit_sib.h"
#include "ota/sib_assembly.h"

namespace corvane {

class cISFStore;

// Offers one log item that `store` has just written to the reassembly of system information, and
// adds every block that it completed to the store, as a 0x412F log packet of the device.
//
// `arrivalTime` is the item's FILETIME (100 ns units since 1601-01-01 UTC); the added packets carry
// it as their DIAG timestamp. Items that arrived before 1980-01-06 UTC add nothing.
//
// Called from inside the store's AddItem, with storeLock held: the store's assembly map is changed
// without a lock of its own. AddItem comes back here with each added packet, which is of a channel
// that adds nothing. Throws nothing of its own; out of memory, blocks are missing from the result.
void ProcessOtaLogItem(cISFStore& store, sSharedBuffer& item, std::uint64_t arrivalTime);

// Runs one packet through the segment decoders: returns the blocks that it completed, in order, and
// keeps unfinished ones in `assemblyMap`. The result is empty, and the map unchanged, unless the
// item is a well-formed 0x412F log packet with a system-information message on BCCH.
//
// The returned packets belong to the caller. `item` need only live for the call.
[[nodiscard]] SibPacketList DecodeOtaPacket(SibAssemblyMap& assemblyMap, const sSharedBuffer& item,
                                            std::uint64_t diagTimestamp);

}  // namespace corvane
