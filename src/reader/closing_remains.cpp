#include "reader/closing_remains.h"

#include <algorithm>
#include <array>
#include <span>

#include "capture/isf/layout.h"
#include "reader/block_index.h"

namespace corvane {
namespace {

// Whether the bytes from `offset` to the end of the file begin a trailer that counts so many items;
// none at all do.
[[nodiscard]] bool BeginsTrailer(cByteSource& source, std::uint64_t offset, std::uint64_t size,
                                 std::uint64_t items) {
  const auto trailer = isf::StoreTrailer({.itemCount = static_cast<std::uint32_t>(items)});
  std::array<std::uint8_t, isf::kTrailerSize> there{};
  const auto bytes = std::span(there).first(static_cast<std::size_t>(size - offset));
  return source.ReadAt(offset, bytes) == bytes.size() &&
         std::equal(bytes.begin(), bytes.end(), trailer.begin());
}

}  // namespace

const char* sClosingRemains::Text() const {
  switch (what) {
    case eWhat::CutIndex:
      return "the block index is cut off, and there is no trailer";
    case eWhat::CutTrailer:
      return "the trailer is cut off";
    case eWhat::DamagedTrailer:
      return "the trailer is damaged";
    case eWhat::Nothing:
      break;
  }
  return "";
}

sClosingRemains FindClosingRemains(cByteSource& source, const std::vector<sCaptureBlock>& blocks,
                                   std::uint64_t offset, std::uint64_t size) {
  if (blocks.empty() || size < offset + isf::kIndexEntrySize) {
    return {};
  }
  cBlockIndex index(source, size);  // of which only entries are looked at
  for (const sCaptureBlock& block : blocks) {
    if (size - offset < (block.number + 1) * isf::kIndexEntrySize) {
      const std::uint64_t entries = (size - offset) / isf::kIndexEntrySize;
      return {sClosingRemains::eWhat::CutIndex, offset + entries * isf::kIndexEntrySize};
    }
    const auto entry = index.Entry(offset, block.number);
    if (!entry || *entry != isf::sIndexEntry{block.offset, block.baseTime}) {
      return {};
    }
  }
  const sCaptureBlock& last = blocks.back();
  const std::uint64_t end = offset + (last.number + 1) * isf::kIndexEntrySize;
  if (size - end >= isf::kTrailerSize) {
    return {size - end == isf::kTrailerSize ? sClosingRemains::eWhat::DamagedTrailer
                                            : sClosingRemains::eWhat::Nothing,
            end};
  }
  const std::uint64_t items = last.number * isf::kItemsPerBlock + last.entries;
  return {BeginsTrailer(source, end, size, items) ? sClosingRemains::eWhat::CutTrailer
                                                  : sClosingRemains::eWhat::Nothing,
          end};
}

}  // namespace corvane
