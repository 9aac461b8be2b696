#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "capture/isf/layout.h"
#include "reader/byte_source.h"
#include "rewrite/block_recovery.h"

namespace corvane {

// A directory as it would have to be where bytes were removed from a block's records, or put
// between them.
struct sMendedDirectory {
  std::vector<std::uint8_t> bytes;     // isf::kDirectorySize of them
  std::uint32_t moved = 0;             // entries that lead elsewhere now
  std::uint32_t dropped = 0;           // entries whose records are nowhere, which lead nowhere now
  std::vector<std::uint64_t> spliced;  // file positions of records that are not whole

  [[nodiscard]] std::span<const std::uint8_t, isf::kDirectorySize> Bytes() const {
    return std::span<const std::uint8_t, isf::kDirectorySize>(bytes);
  }
};

// Looks at the packets that tell their own lengths. Where three of them in a row are not where the
// directory says, all of it from there on is looked for at one distance: that by which the block's
// end was moved, or the nearest at which such packets are found with times between those around, no
// more than 1 MiB away. Where the change is, record_fit.h tells: up to there all stays, and what
// may not be whole is dropped, and so is what was found nowhere when its times are in no order, as
// those of overwritten records are. What fits in its place again stays there, although it was found
// elsewhere too: that was a copy. Nothing when there is nothing to change.
[[nodiscard]] std::optional<sMendedDirectory> MendDisplacedEntries(
    cByteSource& source, const sBlockToRecover& block,
    std::span<const std::uint8_t, isf::kDirectorySize> directory);

}  // namespace corvane
