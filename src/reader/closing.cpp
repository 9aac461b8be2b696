#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "capture/isf/layout.h"
#include "reader/block_index.h"
#include "reader/capture_file.h"
#include "reader/joined_captures.h"

namespace corvane {
namespace {

// How many blocks the chain knows of, lost ones included.
[[nodiscard]] std::uint64_t BlockCount(const cBlockChain& chain) {
  return chain.Blocks().empty() ? 0 : chain.Blocks().back().number + 1;
}

// Whether an index of `blocks` blocks begins with the chain's first one.
[[nodiscard]] bool LeadsToFirstBlock(cBlockIndex& index, std::uint64_t blocks,
                                     const cBlockChain& chain) {
  const auto offset = index.OffsetFor(blocks);
  if (!offset || blocks == 0 || chain.Blocks().empty()) {
    return false;
  }
  const auto entry = index.Entry(*offset, 0);
  return entry && entry->blockOffset == chain.Blocks().front().offset;
}

// Whether what the file ends in is a trailer rather than bytes of a packet that look like one.
[[nodiscard]] bool IsTrailer(cBlockIndex& index, const cBlockChain& chain) {
  if (chain.End() > index.TrailerOffset()) {
    return false;
  }
  if (chain.Blocks().empty()) {
    // Behind a header alone; anything longer is a block that is just being written.
    return index.TrailerOffset() == isf::kHeaderSize;
  }
  const bool counts = index.Trailer().itemCount == static_cast<std::uint32_t>(chain.NumbersEnd());
  return (counts && index.Trailer().zero == 0) ||
         LeadsToFirstBlock(index, BlockCount(chain), chain) ||
         LeadsToFirstBlock(index, index.BlockCount(), chain);
}

// Compares an index that begins at `offset` with the blocks. Stops at the first entry that cannot
// be read.
void CheckIndex(cBlockIndex& index, std::uint64_t offset, const cBlockChain& chain,
                cDamage& damage) {
  for (const sCaptureBlock& block : chain.Blocks()) {
    const std::uint64_t here = offset + block.number * isf::kIndexEntrySize;
    const std::string name = "block index entry " + std::to_string(block.number);
    const auto entry = index.Entry(offset, block.number);
    if (!entry) {
      damage.Add({name + " cannot be read", here});
      return;
    }
    if (entry->blockOffset != block.offset) {
      damage.Add({name + " does not have its block's position", here + isf::kIndexBlockOffset});
    }
    if (entry->baseTime != block.baseTime) {
      damage.Add({name + " does not have its block's base time", here + isf::kIndexBaseTime});
    }
  }
}

void CheckTrailer(cBlockIndex& index, const cBlockChain& chain, cDamage& damage) {
  const std::uint64_t offset = index.TrailerOffset();
  if (index.Trailer().zero != 0) {
    damage.Add({"the first 64 bits of the trailer are not zero", offset});
  }
  // The trailer has 32 bits for the count; a longer capture's count has gone round.
  if (index.Trailer().itemCount != static_cast<std::uint32_t>(chain.NumbersEnd())) {
    damage.Add({"the trailer counts " + std::to_string(index.Trailer().itemCount) +
                    " items, the directories hold " + std::to_string(chain.NumbersEnd()),
                offset + isf::kTrailerItemCount});
  }
  if (!chain.Blocks().empty() && chain.Blocks().back().entries == 0) {
    damage.Add({"the last block has no items", chain.Blocks().back().offset});
  }
  const auto indexOffset = index.OffsetFor(BlockCount(chain));
  if (!indexOffset || *indexOffset < chain.End()) {
    damage.Add(
        {"the block index does not fit between the last record and the trailer", chain.End()});
    return;
  }
  CheckIndex(index, *indexOffset, chain, damage);
}

// Checks every good item of a closed file against what the recorder writes.
class cRecordCheck {
 public:
  cRecordCheck(cByteSource& source, eCheck howMuch, cBlockChain& blocks, cDamage& found)
      : heads(source), check(howMuch), chain(blocks), damage(found) {}

  // What begins at `follows` stands behind the block's records; 0 when that is not known.
  void CheckBlock(std::size_t number, std::uint64_t follows) {
    const sCaptureBlock& block = chain.Blocks()[number];
    const char* const nextName = number + 1 < chain.Blocks().size() ? "next block" : "block index";
    if (check == eCheck::Directories && block.isFlawless) {
      CheckGap(block.end, follows, nextName);
      return;
    }
    if (!chain.LoadDirectory(number, *directory)) {
      damage.Add({"the directory of the block at offset " + std::to_string(block.offset) +
                      " cannot be read",
                  block.offset});
      return;
    }
    std::uint64_t end = block.offset + isf::kBlockSize;
    bool isBehindGood = true;
    for (std::uint32_t place = 0; place < block.entries; ++place) {
      // What was passed over explains the bytes up to the next good record.
      if (!directory->good.test(place)) {
        isBehindGood = false;
        continue;
      }
      const isf::sDirectoryEntry entry = EntryAt(directory->bytes, place);
      const std::uint64_t record = block.offset + isf::kBlockSize + entry.position;
      if (isBehindGood) {
        CheckGap(end, record, "next record");
      }
      CheckItem(block, entry, place, record);
      end = record + entry.RecordSize();
      isBehindGood = true;
    }
    if (isBehindGood) {
      CheckGap(end, follows, nextName);
    }
  }

 private:
  void CheckGap(std::uint64_t end, std::uint64_t next, const char* nextName) {
    if (next > end) {
      damage.Add({std::to_string(next - end) + (next - end == 1 ? " byte" : " bytes") +
                      " before the " + nextName + " belong to no record",
                  end});
    }
  }

  [[nodiscard]] static std::string NameOf(const sCaptureBlock& block, std::uint32_t place) {
    return "item " + std::to_string(block.number * isf::kItemsPerBlock + place);
  }

  void CheckItem(const sCaptureBlock& block, const isf::sDirectoryEntry& entry, std::uint32_t place,
                 std::uint64_t record) {
    sBrokenRule broken = FindBrokenRule(entry);
    if (check == eCheck::Records) {
      const auto head = heads.Read(record, entry.HeadSize());
      if (!head) {
        damage.Add({"the record of " + NameOf(block, place) + " cannot be read", record});
        return;
      }
      broken = FindBrokenRule(entry, isf::LoadRecordHead(entry, block.baseTime, *head), place,
                              block.baseTime);
    }
    if (broken.problem != nullptr) {
      damage.Add({NameOf(block, place) + " " + broken.problem,
                  broken.inRecord
                      ? record
                      : block.offset + std::uint64_t{place} * isf::kDirectoryEntrySize});
    }
  }

  cByteWindow heads;
  eCheck check;
  cBlockChain& chain;
  cDamage& damage;
  std::unique_ptr<sLoadedDirectory> directory = std::make_unique<sLoadedDirectory>();
};

void CheckRecords(cByteSource& source, eCheck howMuch, cBlockChain& chain,
                  std::uint64_t indexOffset, cDamage& damage) {
  cRecordCheck check(source, howMuch, chain, damage);
  const auto& blocks = chain.Blocks();
  for (std::size_t number = 0; number < blocks.size(); ++number) {
    std::uint64_t follows = indexOffset;
    if (number + 1 < blocks.size()) {
      const bool isNext = blocks[number + 1].number == blocks[number].number + 1;
      follows = isNext ? blocks[number + 1].offset : 0;
    }
    check.CheckBlock(number, follows);
  }
}

// A file without blocks that has no trailer either: what there is must be the beginning of a block.
[[nodiscard]] std::optional<sCaptureError> CheckBlockBegun(cByteSource& source,
                                                           std::uint64_t size) {
  const std::uint64_t directoryEnd = isf::kHeaderSize + isf::kDirectorySize;
  std::vector<std::uint8_t> bytes(
      static_cast<std::size_t>(std::min(size, directoryEnd) - isf::kHeaderSize));
  if (source.ReadAt(isf::kHeaderSize, bytes) != bytes.size()) {
    return sCaptureError{"the first block cannot be read", isf::kHeaderSize};
  }
  const auto used =
      std::find_if(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte != 0; });
  if (used == bytes.end()) {
    return std::nullopt;
  }
  const char* const what = size == isf::kHeaderSize + isf::kTrailerSize
                               ? "what follows the header is neither a block nor a trailer"
                               : "the first block is cut off, although its directory is in use";
  return sCaptureError{what, isf::kHeaderSize + static_cast<std::uint64_t>(used - bytes.begin())};
}

// A whole index where that of a closed file would be was followed by a trailer once.
[[nodiscard]] bool HasIndexWithoutTrailer(cByteSource& source, const cBlockChain& chain,
                                          std::uint64_t size) {
  const std::uint64_t closing = BlockCount(chain) * isf::kIndexEntrySize + isf::kTrailerSize;
  if (chain.Blocks().empty() || size - chain.End() < closing) {
    return false;
  }
  cBlockIndex index(source, size - isf::kTrailerSize);
  cDamage differences;
  CheckIndex(index, size - closing, chain, differences);
  return differences.Count() == 0;
}

// The index and trailer that stand right behind the records of `chain`, whatever follows them;
// nothing unless they are just those of its blocks.
[[nodiscard]] std::optional<cBlockIndex> FindWholeClosing(cByteSource& source,
                                                          const cBlockChain& chain,
                                                          std::uint64_t size) {
  const std::uint64_t offset = chain.End() + BlockCount(chain) * isf::kIndexEntrySize;
  std::array<std::uint8_t, isf::kTrailerSize> bytes{};
  if (offset > size || size - offset < isf::kTrailerSize ||
      source.ReadAt(offset, bytes) != bytes.size()) {
    return std::nullopt;
  }
  const isf::sTrailer trailer = isf::LoadTrailer(bytes);
  if (trailer.magic != isf::kTrailerMagic || trailer.zero != 0 ||
      trailer.itemCount != static_cast<std::uint32_t>(chain.NumbersEnd())) {
    return std::nullopt;
  }
  cBlockIndex index(source, offset, trailer);
  cDamage differences;
  CheckIndex(index, chain.End(), chain, differences);
  return differences.Count() == 0 ? std::optional(std::move(index)) : std::nullopt;
}

}  // namespace

cDamage cCaptureFile::CheckClosing() {
  cDamage found;
  if (size < chain.End()) {
    found.Add({"the file has become shorter than its items need", size});
    return found;
  }
  if (size - isf::kHeaderSize >= isf::kTrailerSize) {
    std::array<std::uint8_t, isf::kTrailerSize> last{};
    const std::uint64_t offset = size - isf::kTrailerSize;
    if (source.ReadAt(offset, last) != last.size()) {
      found.Add({"the end of the file cannot be read", offset});
      return found;
    }
  }

  const std::optional<cBlockIndex> whole = FindWholeClosing(source, chain, size);
  closed = whole.has_value();
  closedEnd = whole ? whole->TrailerOffset() + isf::kTrailerSize : size;
  std::optional<cBlockIndex> index = cBlockIndex::Find(source, size);
  if (index && IsTrailer(*index, chain)) {
    closed = true;
    closedEnd = size;
    const auto offset = index->OffsetFor(BlockCount(chain)).value_or(0);
    CheckRecords(source, check, chain, offset, found);
    CheckTrailer(*index, chain, found);
  } else if (closed) {
    CheckRecords(source, check, chain, chain.End(), found);
    const std::uint64_t more = size - closedEnd;
    found.Add({std::to_string(more) + (more == 1 ? " byte stands" : " bytes stand") +
                   " behind the trailer",
               closedEnd});
  } else if (HasIndexWithoutTrailer(source, chain, size)) {
    const std::uint64_t number = size - isf::kTrailerSize + isf::kTrailerMagicOffset;
    found.Add({"the trailer does not end in its closing number", number});
  } else if (chain.Blocks().empty()) {
    if (auto error = CheckBlockBegun(source, size)) {
      found.Add(std::move(*error));
    }
  }
  return found;
}

// Whether another capture may have begun in this one before it was closed. Its first block is
// longer than any record of this one, which can reach into it.
bool cCaptureFile::MayHoldSecond() const {
  constexpr std::uint64_t kRest = isf::kBlockSize - isf::kLongestPacket - isf::kLongestRecordHead;
  std::uint64_t recordsEnd = isf::kHeaderSize;
  for (const sCaptureBlock& block : chain.Blocks()) {
    recordsEnd = block.entries != 0 ? block.end : recordsEnd;
  }
  return damage.Count() != 0 || (!closed && size >= recordsEnd + kRest);
}

std::optional<std::uint64_t> cCaptureFile::FindSecondCapture() {
  cByteSource& file = source.WholeFile();
  // A capture without items, before another one, is taken for one with a block.
  const bool hasItems = chain.ItemCount() != 0;
  const std::uint64_t end = hasItems ? chain.End() : std::uint64_t{isf::kHeaderSize};
  const std::uint64_t closing =
      (hasItems ? BlockCount(chain) * isf::kIndexEntrySize : 0) + isf::kTrailerSize;
  for (const std::uint64_t offset : {end + closing, end}) {
    if (IsCaptureAt(file, offset, size)) {
      return offset;
    }
  }
  if (!MayHoldSecond() || std::exchange(lookedWithin, true)) {
    return std::nullopt;
  }
  // A capture that was cut off has nothing wrong in front of that place. Of what is behind it one
  // directory can look as if it were right: it is empty, or its block is where the one before says.
  std::uint64_t wrong = UINT64_MAX;
  for (const sCaptureError& error : damage.Kept()) {
    wrong = std::min(wrong, error.offset.value_or(0));
  }
  std::uint64_t from = isf::kHeaderSize;
  std::uint64_t last = isf::kHeaderSize;
  for (const sCaptureBlock& block : chain.Blocks()) {
    if (block.offset <= wrong) {
      from = std::exchange(last, block.offset);
    }
  }
  return FindCaptureBehind(file, from, size);
}

}  // namespace corvane
