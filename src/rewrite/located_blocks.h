#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "capture/isf/layout.h"
#include "reader/byte_source.h"

namespace corvane {

using Directory = std::vector<std::uint8_t>;  // isf::kDirectorySize of them

[[nodiscard]] inline std::span<const std::uint8_t, isf::kDirectorySize> AsDirectory(
    const Directory& bytes) {
  return std::span<const std::uint8_t, isf::kDirectorySize>(bytes);
}
// Behind the record of an entry, counted from the end of its block.
[[nodiscard]] inline std::uint64_t EndIn(const isf::sDirectoryEntry& entry) {
  return std::uint64_t{entry.position} + entry.RecordSize();
}
// The directory at a file position; zeros stand for what cannot be read.
[[nodiscard]] Directory ReadDirectoryAt(cByteSource& file, std::uint64_t place);

// What stands where it belongs at this distance: the end of a block, or, with the number behind
// that of the last one, the index. The beginning of the file has number -1.
struct sAnchor {
  std::int64_t number = 0;
  std::int64_t distance = 0;
};

// The blocks of a capture as they were, and where they are now.
struct sLocatedBlocks {
  std::vector<isf::sIndexEntry> blocks;
  std::vector<sAnchor> anchors;   // in order; the last one is that of the index
  bool isClosed = false;          // an index tells where they were, or else their links
  std::uint32_t lastEntries = 0;  // of the last block
  std::uint64_t indexPlace = 0;   // where the index is, or the file ends
  std::uint64_t indexOffset = 0;  // and where that was

  [[nodiscard]] std::int64_t Count() const { return std::ssize(blocks); }
  [[nodiscard]] std::uint64_t OffsetOf(std::int64_t number) const {
    return number == Count() ? indexOffset : blocks[static_cast<std::size_t>(number)].blockOffset;
  }
  [[nodiscard]] std::uint64_t TailOf(std::int64_t number) const {
    return OffsetOf(number) + isf::kDirectorySize;
  }
  [[nodiscard]] std::uint32_t EntriesOf(std::int64_t number) const {
    return number + 1 < Count() ? isf::kItemsPerBlock : lastEntries;
  }
  [[nodiscard]] isf::sBlockTail Tail(std::int64_t number) const {
    return {number + 1 < Count() ? OffsetOf(number + 1) : 0,
            blocks[static_cast<std::size_t>(number)].baseTime};
  }
  [[nodiscard]] std::uint64_t TimeOf(std::int64_t number) const {
    return blocks[static_cast<std::size_t>(number)].baseTime;
  }
};

// Finds the ends of blocks, which have their links and base times, wherever they are. Nothing when
// the file does not begin as a capture does, when no block is found, and when far more would have
// been lost than is left. Looks through a limited number of bytes besides those of the directories.
[[nodiscard]] std::optional<sLocatedBlocks> FindBlocks(cByteSource& file, std::uint64_t size);

}  // namespace corvane
