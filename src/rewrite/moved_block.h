#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "capture/isf/layout.h"
#include "reader/byte_source.h"

namespace corvane {

// A block from whose directory bytes were removed, or into which some were put, as it was: its
// link, its base time and its records stand before or behind where they belong.
struct sMovedBlock {
  std::uint64_t offset = 0;  // where it would have to begin for these to be right
  std::vector<std::uint8_t> directory;
  isf::sBlockTail tail;
  // The change is in the entries that are in use; otherwise it may also be in link or base time.
  bool isEntryChanged = false;
};

// Looks at the block at `offset` for that, in steps of single bytes up to kFarthest. The directory
// entry into which the change falls is given no length, which leads to no item. Nothing where no
// such change explains the block; that it has no likely base time is for the caller to see.
[[nodiscard]] std::optional<sMovedBlock> FindMovedBlock(cByteSource& source, std::uint64_t offset);

}  // namespace corvane
