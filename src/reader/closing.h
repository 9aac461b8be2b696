#pragma once

#include <cstdint>

#include "reader/block_chain.h"
#include "reader/byte_source.h"
#include "reader/damage.h"

namespace corvane {

// How a capture file ends.
struct sClosing {
  bool isClosed = false;  // it ends in a trailer
  cDamage damage;         // what is wrong with the file beside what `chain` says
};

// Looks at what follows the last record of `chain`, which has taken up all that it could of
// `source`. `size` is the file's.
//
// A file that just stops, with no trailer behind its last record, is not closed and good: its
// recorder may be at work, or may have died. A closed file has to be one that the recorder can have
// written, in its trailer, its block index and the entry and head of each record.
[[nodiscard]] sClosing CheckClosing(cByteSource& source, cBlockChain& chain, std::uint64_t size);

}  // namespace corvane
