#pragma once

#include <cstdint>
#include <optional>

#include "capture/isf/layout.h"
#include "reader/byte_source.h"

namespace corvane {

// What a file ends in: where its trailer would be, and the block index in front of it.
class cBlockIndex {
 public:
  // What stands in the last bytes of a file of `fileSize` bytes, when it ends in a trailer's magic
  // number; nothing when it does not. `source` is not owned and must outlive the object.
  [[nodiscard]] static std::optional<cBlockIndex> Find(cByteSource& source, std::uint64_t fileSize);

  // An index in front of the trailer that begins at `trailerOffset`, whatever stands there.
  cBlockIndex(cByteSource& source, std::uint64_t trailerOffset, const isf::sTrailer& trailer = {});

  [[nodiscard]] const isf::sTrailer& Trailer() const { return found; }
  [[nodiscard]] std::uint64_t TrailerOffset() const { return place; }

  // How many blocks the trailer's item count fills, and where an index of so many begins; nothing
  // when there is no room for it.
  [[nodiscard]] std::uint64_t BlockCount() const;
  [[nodiscard]] std::optional<std::uint64_t> Offset() const { return OffsetFor(BlockCount()); }
  // The same for an index of `blocks` blocks.
  [[nodiscard]] std::optional<std::uint64_t> OffsetFor(std::uint64_t blocks) const;

  // Entry `block` of an index that begins at `offset`; nothing when it cannot be read.
  [[nodiscard]] std::optional<isf::sIndexEntry> Entry(std::uint64_t offset, std::uint64_t block);

 private:
  cByteWindow bytes;
  std::uint64_t place;  // of the trailer
  isf::sTrailer found;
};

}  // namespace corvane
