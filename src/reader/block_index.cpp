#include "reader/block_index.h"

#include <array>

namespace corvane {

cBlockIndex::cBlockIndex(cByteSource& source, std::uint64_t trailerOffset,
                         const isf::sTrailer& trailer)
    : bytes(source), place(trailerOffset), found(trailer) {}

std::optional<cBlockIndex> cBlockIndex::Find(cByteSource& source, std::uint64_t fileSize) {
  if (fileSize < isf::kHeaderSize + isf::kTrailerSize) {
    return std::nullopt;
  }
  std::array<std::uint8_t, isf::kTrailerSize> bytes{};
  const std::uint64_t offset = fileSize - isf::kTrailerSize;
  if (source.ReadAt(offset, bytes) != bytes.size()) {
    return std::nullopt;
  }
  const isf::sTrailer trailer = isf::LoadTrailer(bytes);
  if (trailer.magic != isf::kTrailerMagic) {
    return std::nullopt;
  }
  return cBlockIndex(source, offset, trailer);
}

std::uint64_t cBlockIndex::BlockCount() const {
  return (std::uint64_t{found.itemCount} + isf::kItemsPerBlock - 1) / isf::kItemsPerBlock;
}

std::optional<std::uint64_t> cBlockIndex::OffsetFor(std::uint64_t blocks) const {
  const std::uint64_t size = blocks * isf::kIndexEntrySize;
  if (place - isf::kHeaderSize < size) {
    return std::nullopt;
  }
  return place - size;
}

std::optional<isf::sIndexEntry> cBlockIndex::Entry(std::uint64_t offset, std::uint64_t block) {
  const auto entry = bytes.Read(offset + block * isf::kIndexEntrySize, isf::kIndexEntrySize);
  if (!entry) {
    return std::nullopt;
  }
  return isf::LoadIndexEntry(entry->first<isf::kIndexEntrySize>());
}

}  // namespace corvane
