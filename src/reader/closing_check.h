#pragma once

#include <cstdint>
#include <optional>

#include "reader/block_chain.h"
#include "reader/byte_source.h"
#include "reader/capture_error.h"

namespace corvane {

// How a capture file ends.
struct sFileEnd {
  bool closed = false;  // block index and trailer are there and agree with the blocks
  std::optional<sCaptureError> error;  // what is wrong with them; never together with `closed`
};

// Checks what follows the last record of `chain`, which has accepted all that it could of `source`,
// against the chain. `size` is the file's. A file that just stops, with no trailer behind its last
// record, is neither closed nor in error.
[[nodiscard]] sFileEnd CheckFileEnd(cByteSource& source, const cBlockChain& chain,
                                    std::uint64_t size);

}  // namespace corvane
