#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <span>

#include "capture/isf/layout.h"
#include "reader/byte_source.h"
#include "reader/damage.h"

namespace corvane {

// A rule of layout that every item of the recorder keeps, and that one does not. No rule is about
// what is inside the packet.
struct sBrokenRule {
  // What is wrong, behind "item 17 of the file": "has a wider time field than it needs". Null when
  // the item keeps all rules.
  const char* problem = nullptr;
  // Where it shows: in the record, or else in the directory entry.
  bool inRecord = false;
};

// Whether the recorder can have written this directory entry.
[[nodiscard]] sBrokenRule FindBrokenRule(const isf::sDirectoryEntry& entry);

// Whether it can have written the entry with this record head. `place` is the entry's place in its
// directory, from 0; `baseTime` is the block's, and at most kLatestTime.
[[nodiscard]] sBrokenRule FindBrokenRule(const isf::sDirectoryEntry& entry,
                                         const isf::sRecordHead& head, std::uint32_t place,
                                         std::uint64_t baseTime);

// The items of one type, as the directories have them.
struct sTypeTotals {
  std::uint64_t items = 0;
  std::uint64_t bytes = 0;  // of their packets

  friend bool operator==(const sTypeTotals&, const sTypeTotals&) = default;
};
// By the types, 0 to 31.
using TypeTotals = std::array<sTypeTotals, isf::kItemTypes>;

// What is known about the surroundings of a block's directory.
struct sDirectoryPlace {
  std::uint64_t block = 0;     // file position of the block
  std::uint64_t baseTime = 0;  // the block's
  std::uint64_t fileSize = 0;
  // File position of what was written right behind the block's last record, the next block or the
  // block index; 0 when that is not known.
  std::uint64_t follows = 0;
  // A block follows, so that all entries have to be used.
  bool isFull = false;

  [[nodiscard]] std::uint64_t BlockEnd() const { return block + isf::kBlockSize; }
};

// Which entries of a directory are good.
//
// The records of good entries follow each other in the file without overlapping and lie between the
// block and what follows it. An entry whose record does not begin where the one before it ends is
// good only when something else speaks for it: where the next record begins, and a record head that
// the recorder can have written.
struct sJudgedDirectory {
  std::bitset<isf::kItemsPerBlock> good;
  std::uint32_t entries = 0;     // used ones, good or not: those up to the last that is not zero
  std::uint32_t passedOver = 0;  // used ones that are not good
  std::uint64_t end = 0;         // behind the last good record, or the block when there is none
  std::uint64_t gapBytes = 0;    // between the block and `end`, in no good record
  cDamage damage;                // what was passed over, and why
  TypeTotals types;              // the good items
  bool keepsRules = true;        // no good entry breaks a rule by itself

  [[nodiscard]] bool IsGoodToTheEnd() const { return good.test(isf::kItemsPerBlock - 1); }
  // The records of all used entries follow each other, from the block on.
  [[nodiscard]] bool IsGapless() const { return passedOver == 0 && gapBytes == 0; }

  friend bool operator==(const sJudgedDirectory&, const sJudgedDirectory&) = default;
};

// Judges the directory in `bytes`. After a bad entry it goes on with the next one that proves
// itself. It looks at each entry a fixed number of times, and reads at most one record head from
// `source` at each look.
[[nodiscard]] sJudgedDirectory JudgeDirectory(
    std::span<const std::uint8_t, isf::kDirectorySize> bytes, const sDirectoryPlace& place,
    cByteSource& source);

// So many entries from the first on.
[[nodiscard]] inline std::bitset<isf::kItemsPerBlock> FirstEntries(std::uint32_t count) {
  return std::bitset<isf::kItemsPerBlock>().set() >> (isf::kItemsPerBlock - count);
}

// Entry number `place` of a directory.
[[nodiscard]] inline isf::sDirectoryEntry EntryAt(
    std::span<const std::uint8_t, isf::kDirectorySize> directory, std::uint32_t place) {
  return isf::LoadDirectoryEntry(directory.subspan(std::size_t{place} * isf::kDirectoryEntrySize)
                                     .first<isf::kDirectoryEntrySize>());
}

}  // namespace corvane
