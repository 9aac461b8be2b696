#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "capture/isf/layout.h"
#include "reader/block_index.h"
#include "reader/byte_source.h"
#include "reader/damage.h"
#include "reader/directory.h"

namespace corvane {

// How often a capture that is written while it is looked at is looked at again before its last
// answer is believed.
inline constexpr int kLooks = 100;

// One block of a capture file.
struct sCaptureBlock {
  std::uint64_t number = 0;  // its place among the blocks, from 0: item 8192 * number is its first
  std::uint64_t offset = 0;  // file position
  // Milliseconds since 1601-01-01 UTC. The block index's where the block's own cannot be right; 0,
  // with no good items, when neither can.
  std::uint64_t baseTime = 0;
  std::uint32_t items = 0;    // entries of its directory that are good
  std::uint32_t entries = 0;  // entries of its directory that are used, good or not
  std::uint64_t follows = 0;  // file position behind its last record, where something tells it
  std::uint64_t end = 0;      // file position behind its last good record
  // Its directory needs no second look: all its used entries are good, their records follow each
  // other from the block on, and they break no rule by themselves.
  bool isFlawless = false;

  friend bool operator==(const sCaptureBlock&, const sCaptureBlock&) = default;
};

// A directory that items are read through.
struct sLoadedDirectory {
  std::array<std::uint8_t, isf::kDirectorySize> bytes{};
  std::bitset<isf::kItemsPerBlock> good;
};

// Follows the blocks of a capture file from the first one on and judges their directories. What is
// bad it passes over: it goes on with the next entry of a directory that proves itself, and with
// the next block that the block before, the block index, or the end of the records before leads to.
//
// The good records follow each other in the file without overlapping, each inside its block's room.
// The work grows with the size of the file and no faster, its memory with the number of blocks that
// the file holds.
class cBlockChain {
 public:
  // `bytes` is not owned and must outlive the chain. The first block stands at file position
  // `firstBlock`: right behind the header, unless what is in front of it was lost.
  explicit cBlockChain(cByteSource& bytes, std::uint64_t firstBlock = isf::kHeaderSize)
      : source(bytes), firstOffset(firstBlock) {}

  // Takes up the blocks and items that came since the last call, and judges the newest block anew:
  // seen while they were being written, its last entries may have lacked bytes. In a file that is
  // being written, a contradiction may only mean that the writer was overtaken: what is reported
  // was there at two looks in a row.
  void Advance();

  // Forgets all of it: the bytes are others than they were.
  void Forget();

  [[nodiscard]] const std::vector<sCaptureBlock>& Blocks() const { return blocks; }
  // The good items.
  [[nodiscard]] std::uint64_t ItemCount() const { return now.items; }
  // One more than the number of the last item that a directory knows of, good or not.
  [[nodiscard]] std::uint64_t NumbersEnd() const;
  // Items that were passed over.
  [[nodiscard]] std::uint64_t PassedOver() const { return now.passedOver; }
  // File position behind the last good record or block (behind the header before the first).
  [[nodiscard]] std::uint64_t End() const { return now.end; }
  // Bytes before End() that belong to no block and no good record.
  [[nodiscard]] std::uint64_t GapBytes() const { return now.gapBytes; }
  // The good items by their types.
  [[nodiscard]] const TypeTotals& Types() const { return now.types; }
  // What was passed over, and why.
  [[nodiscard]] const cDamage& Damage() const { return now.damage; }

  // Reads the directory of block `block` of Blocks(), with its good entries as they were judged.
  // False when it cannot be read.
  [[nodiscard]] bool LoadDirectory(std::size_t block, sLoadedDirectory& directory);

 private:
  struct sTotals {
    std::uint64_t items = 0;
    std::uint64_t passedOver = 0;
    std::uint64_t end = isf::kHeaderSize;
    std::uint64_t gapBytes = 0;
    TypeTotals types;
    cDamage damage;
  };
  // What one look at the newest block gives.
  struct sLook {
    sCaptureBlock block;  // the newest, judged
    std::uint64_t gapBytes = 0;
    TypeTotals types;  // of its good items
    std::optional<sCaptureBlock> next;
    cDamage damage;

    friend bool operator==(const sLook&, const sLook&) = default;
  };
  // The newest block as read.
  struct sView;

  [[nodiscard]] bool HoldsNothing() const;
  [[nodiscard]] sLook Look();
  [[nodiscard]] std::optional<std::uint64_t> FindBaseTime(const sView& view);
  static void ReportBaseTime(sLook& look, bool isInIndex);
  void Judge(const sView& view, sLook& look);
  void FindNext(const sView& view, sLook& look, bool isGoodToTheEnd);
  void FindClosing(const sView& view, sLook& look);
  [[nodiscard]] std::optional<sCaptureBlock> ChooseNext(const sView& view, const sLook& look,
                                                        bool isGoodToTheEnd);
  [[nodiscard]] std::optional<sCaptureBlock> FindInIndex(const sView& view, std::uint64_t from);
  [[nodiscard]] static bool IsRoomForBlock(const sView& view, std::uint64_t offset);
  [[nodiscard]] bool LooksLikeBlock(const sView& view, std::uint64_t offset, bool mayBeEmpty);
  void FindIndex(std::uint64_t fileSize);
  [[nodiscard]] std::optional<isf::sIndexEntry> IndexEntry(std::uint64_t block);
  void Take(sLook look);

  cByteSource& source;
  const std::uint64_t firstOffset;
  std::vector<sCaptureBlock> blocks;
  sTotals now;
  sTotals settled;  // without the newest block
  // The newest block's bytes, and the index that the file ends in when it can be believed.
  std::array<std::uint8_t, isf::kBlockSize> newest{};
  std::optional<cBlockIndex> index;
};

}  // namespace corvane
