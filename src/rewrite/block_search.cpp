#include "rewrite/block_search.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>
#include <vector>

#include "capture/isf/layout.h"
#include "reader/block_chain.h"
#include "reader/directory.h"
#include "rewrite/damaged_directory.h"
#include "rewrite/record_proof.h"

namespace corvane {
namespace {

using EntryBytes = std::span<const std::uint8_t, 2 * isf::kDirectoryEntrySize>;

// Whether the first two entries of a directory can be these: the first record stands right behind
// the block with a time of one byte, the second behind the first.
[[nodiscard]] bool BeginsDirectory(EntryBytes bytes) {
  const auto first = isf::LoadDirectoryEntry(bytes.first<isf::kDirectoryEntrySize>());
  if (first.length == 0 || first.position != 0 || first.WidthCode() != isf::kTimeDelta8 ||
      FindBrokenRule(first).problem != nullptr) {
    return false;
  }
  const auto second = isf::LoadDirectoryEntry(bytes.last<isf::kDirectoryEntrySize>());
  return second == isf::sDirectoryEntry{} || second.position == first.RecordSize();
}

// Whether the records of the first entries have packets that fit their types.
[[nodiscard]] bool HasFittingPackets(cByteSource& source, std::uint64_t block,
                                     std::span<const std::uint8_t, isf::kDirectorySize> directory,
                                     const sJudgedDirectory& judged) {
  constexpr std::uint32_t kLooks = 3;
  std::vector<std::uint8_t> record;
  for (std::uint32_t place = 0; place < std::min(judged.entries, kLooks); ++place) {
    if (!judged.good.test(place)) {
      continue;
    }
    const isf::sDirectoryEntry entry = EntryAt(directory, place);
    record.resize(entry.RecordSize());
    if (source.ReadAt(block + isf::kBlockSize + entry.position, record) != record.size() ||
        !IsTypeFor(entry.Type(), std::span(record).subspan(entry.HeadSize()))) {
      return false;
    }
  }
  return judged.good.test(0);
}

}  // namespace

bool ProvesBlock(cByteSource& source, std::uint64_t fileSize, std::uint64_t offset) {
  if (offset > fileSize || fileSize - offset < isf::kBlockSize) {
    return false;
  }
  // First a few bytes: this is asked at every place that looks like the beginning of a directory.
  std::array<std::uint8_t, isf::kBlockTailSize> tailBytes{};
  if (source.ReadAt(offset + isf::kDirectorySize, tailBytes) != tailBytes.size()) {
    return false;
  }
  const std::uint64_t baseTime = isf::LoadBlockTail(tailBytes).baseTime;
  std::vector<std::uint8_t> bytes(IsLikelyTime(baseTime) ? isf::kDirectorySize : 0);
  if (bytes.empty() || source.ReadAt(offset, bytes) != bytes.size()) {
    return false;
  }
  const auto directory = std::span<const std::uint8_t, isf::kDirectorySize>(bytes);
  if (!BeginsDirectory(directory.first<2 * isf::kDirectoryEntrySize>())) {
    return false;
  }
  const sJudgedDirectory judged =
      JudgeDamagedDirectory(directory, {offset, baseTime, fileSize, 0, false}, source);
  return judged.passedOver <= judged.entries / 2 &&
         HasFittingPackets(source, offset, directory, judged);
}

std::optional<std::uint64_t> FindBlock(cByteSource& source, std::uint64_t fileSize,
                                       std::uint64_t from) {
  cByteWindow window(source);
  for (std::uint64_t offset = from; offset + isf::kBlockSize < fileSize; ++offset) {
    const auto entries = window.Read(offset, EntryBytes::extent);
    if (!entries) {
      return std::nullopt;
    }
    if (BeginsDirectory(entries->first<EntryBytes::extent>()) &&
        ProvesBlock(source, fileSize, offset)) {
      return offset;
    }
  }
  return std::nullopt;
}

std::optional<cBlockIndex> FindIndex(cByteSource& capture, std::uint64_t size) {
  std::optional<cBlockIndex> index = cBlockIndex::Find(capture, size);
  if (!index || index->Trailer().zero != 0 || index->BlockCount() == 0 || !index->Offset()) {
    return std::nullopt;
  }
  const auto last = index->Entry(*index->Offset(), index->BlockCount() - 1);
  if (!last || last->blockOffset >= *index->Offset()) {
    return std::nullopt;
  }
  cBlockChain chain(capture, last->blockOffset);
  chain.Advance();
  const bool isLast = chain.Blocks().size() == 1 && chain.End() == *index->Offset();
  return isLast ? std::move(index) : std::nullopt;
}

std::optional<cBlockIndex> FindIndexAt(cByteSource& source, std::uint64_t offset,
                                       std::uint64_t blocks) {
  std::array<std::uint8_t, isf::kTrailerSize> bytes{};
  const std::uint64_t place = offset + blocks * isf::kIndexEntrySize;
  const bool isRead = source.ReadAt(place, bytes) == bytes.size();
  const isf::sTrailer trailer = isf::LoadTrailer(bytes);
  if (!isRead || trailer.magic != isf::kTrailerMagic || trailer.zero != 0) {
    return std::nullopt;
  }
  cBlockIndex index(source, place, trailer);
  return index.BlockCount() == blocks ? std::optional(std::move(index)) : std::nullopt;
}

bool IsBlockBegun(cByteSource& source, std::uint64_t from, std::uint64_t end) {
  std::vector<std::uint8_t> bytes(
      static_cast<std::size_t>(std::min<std::uint64_t>(end - from, isf::kBlockSize)));
  const auto used = [](std::uint8_t byte) { return byte != 0; };
  return end - from <= isf::kBlockSize && source.ReadAt(from, bytes) == bytes.size() &&
         std::none_of(
             bytes.begin(),
             bytes.begin() + std::min<std::ptrdiff_t>(std::ssize(bytes), isf::kDirectorySize),
             used);
}

std::uint32_t UsedEntriesAt(cByteSource& source, std::uint64_t offset, std::uint64_t end) {
  std::vector<std::uint8_t> bytes(isf::kDirectorySize);
  const std::uint64_t there = offset < end ? end - offset : 0;
  const std::size_t count = source.ReadAt(
      offset,
      std::span(bytes).first(std::min<std::size_t>(bytes.size(), static_cast<std::size_t>(there))));
  const auto directory = std::span<const std::uint8_t, isf::kDirectorySize>(bytes);
  std::uint32_t used = 0;
  for (std::uint32_t place = 0; place < count / isf::kDirectoryEntrySize; ++place) {
    used += FindBrokenRule(EntryAt(directory, place)).problem == nullptr ? 1U : 0U;
  }
  return used;
}

}  // namespace corvane
