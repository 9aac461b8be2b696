#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "capture/isf/layout.h"
#include "reader/byte_source.h"

namespace corvane {

// A block whose items are to be recovered, as far as something tells about it.
struct sBlockToRecover {
  std::uint64_t offset = 0;       // file position
  std::uint64_t firstNumber = 0;  // of its first item in the file
  std::uint64_t baseTime = 0;     // milliseconds since 1601-01-01 UTC, at most kLatestTime
  // The file position before which its records end: of the next block or the block index, or the
  // end of the file.
  std::uint64_t limit = 0;
  // The records end exactly there: what stands there was written right behind them.
  bool endsAtLimit = false;
  // How many items it has, where that is known.
  std::optional<std::uint32_t> items;
  // It is one of a complete file: its items keep their types, also one that does not fit its
  // packet.
  bool keepsTypes = false;
  // File positions where records begin that may not be whole, although their packets look so.
  std::vector<std::uint64_t> spliced;

  [[nodiscard]] std::uint64_t RecordsBegin() const { return offset + isf::kBlockSize; }
};

// A whole record.
struct sFoundRecord {
  std::uint64_t offset = 0;    // file position
  isf::sDirectoryEntry entry;  // what its directory entry says, or would have to say
};

// Bytes of records that were lost, or directory entries that lead to none.
struct sLostItems {
  std::uint64_t offset = 0;  // file position of the first byte
  std::uint64_t bytes = 0;
  std::uint64_t items = 0;        // how many items are missing, as far as that is known
  std::uint64_t firstNumber = 0;  // the number of the first that may be among them
  std::uint64_t places = 0;       // how many numbers from that one on may be

  friend bool operator==(const sLostItems&, const sLostItems&) = default;
};

// A record whose packet is none of its type, or whose extra field is none of its packet.
struct sUnfitRecord {
  std::uint64_t offset = 0;             // file position
  std::optional<std::uint64_t> number;  // of its item in the file, where that is known

  friend bool operator==(const sUnfitRecord&, const sUnfitRecord&) = default;
};

// Such records, in the order of the file.
struct sUnfitRecords {
  std::uint64_t count = 0;
  sUnfitRecord first;  // this one and the last are meaningless without any
  sUnfitRecord last;

  void Add(const sUnfitRecord& record) {
    first = count == 0 ? record : first;
    last = record;
    ++count;
  }
};

struct sRecoveredBlock {
  std::vector<sFoundRecord> records;  // in the order of the file, none inside another
  std::vector<sLostItems> losses;
  // Records whose directory entry was lost or wrong.
  std::uint32_t proven = 0;
  // All else agrees with these types: the bytes of the packets may have been overwritten.
  sUnfitRecords unfit;
  // File position behind the last record.
  std::uint64_t end = 0;
};

// Finds every record of a block that can be relied on.
//
// A directory entry that the reader finds good, whose record the recorder can have written, and
// whose record ends where the next one begins, is relied on. The bytes between such records are
// taken apart from their beginning on. A record there has to be told by enough of these: the entry
// for its place (its flags, its length, its position), the beginning of the record behind it, and
// the packet's own account of its length. Where nothing tells which record comes next, or two
// answers are as good as each other, the bytes are lost up to the next entry that fits its record,
// or to three records in a row that tell their own lengths.
//
// `directory` is the block's. The work is in proportion to the bytes of the block's records, but
// for a fixed effort for each byte that looks like the beginning of a packet.
[[nodiscard]] sRecoveredBlock RecoverBlock(
    cByteSource& source, const sBlockToRecover& block,
    std::span<const std::uint8_t, isf::kDirectorySize> directory);

}  // namespace corvane
