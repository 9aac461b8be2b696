#pragma once

#include <cstdint>
#include <optional>

#include "reader/block_index.h"
#include "reader/byte_source.h"

namespace corvane {

// Whether what stands at a file position proves itself a block with items: its directory leads to
// records that follow each other, and the first of them fits its type.
[[nodiscard]] bool ProvesBlock(cByteSource& source, std::uint64_t fileSize, std::uint64_t offset);

// Looks for the first such block at or behind a file position, where nothing leads to one. Reads up
// to the block or the end of the file.
[[nodiscard]] std::optional<std::uint64_t> FindBlock(cByteSource& source, std::uint64_t fileSize,
                                                     std::uint64_t from);

// The block index that a capture of `size` bytes ends in, found without following its blocks: the
// last block to which it leads ends where it begins. `capture` is not owned and must outlive it.
[[nodiscard]] std::optional<cBlockIndex> FindIndex(cByteSource& capture, std::uint64_t size);

// The index of so many blocks that begins at an offset, with the trailer behind it; what follows
// that does not matter.
[[nodiscard]] std::optional<cBlockIndex> FindIndexAt(cByteSource& capture, std::uint64_t offset,
                                                     std::uint64_t blocks);

// Whether the bytes from `from` up to `end` are the beginning of a block in which no entry is used
// yet.
[[nodiscard]] bool IsBlockBegun(cByteSource& source, std::uint64_t from, std::uint64_t end);

// How many entries the recorder can have written into the directory of a block that is cut off at
// `end`.
[[nodiscard]] std::uint32_t UsedEntriesAt(cByteSource& source, std::uint64_t offset,
                                          std::uint64_t end);

}  // namespace corvane
