#pragma once

#include <cstdint>

#include "diag/shared_buffer.h"
#include "ota/sib_assembly.h"

namespace corvane::bench {

// Where the data of a segment begins in its message, and how many bits it has.
inline constexpr std::uint32_t kSegmentStart = 15 + 5 + 4;
inline constexpr std::uint32_t kSegmentBits = 222;

// The two log packets, of BCCH on BCH, that a block in two segments comes in.
struct sTwoSegments {
  sTwoSegments();

  // Runs both through the reassembly. True when they gave one packet.
  [[nodiscard]] bool Complete(SibAssemblyMap& blocks) const;

  OwnedBuffer first;
  OwnedBuffer last;
};

}  // namespace corvane::bench
