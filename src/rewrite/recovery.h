#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "capture/isf/layout.h"
#include "reader/byte_source.h"
#include "reader/capture_file.h"
#include "reader/damage.h"
#include "rewrite/block_recovery.h"

namespace corvane {

// An item that was recovered. The packet lasts until the next one is handed over.
struct sRecoveredItem {
  isf::sRecordHead head;
  std::span<const std::uint8_t> packet;
  std::uint64_t offset = 0;  // file position of its record
};

// Takes an item; false ends the recovery.
using RecoveredItemTaker = std::function<bool(const sRecoveredItem&)>;

struct sRecoveryReport {
  std::uint64_t items = 0;      // that were recovered
  std::uint64_t proven = 0;     // of these, without a directory entry that leads to them
  sUnfitRecords unfit;          // of these
  std::uint64_t firstTime = 0;  // of the first and the last item, in milliseconds since 1601
  std::uint64_t finalTime = 0;

  // What was lost, and where; items and bytes in all, as far as they are known.
  cDamage losses;
  std::uint64_t lostItems = 0;
  std::uint64_t lostBytes = 0;
  // What was wrong and cost nothing.
  cDamage mended;
  // Bytes behind the last item that belong to what was being written when the recorder stopped.
  std::uint64_t unfinishedBytes = 0;
  // File positions at which another capture begins in the same file: of the first ones, and how
  // many there are.
  std::vector<std::uint64_t> moreCaptures;
  std::uint64_t captures = 0;
  // What a reader says of the file; nothing when it does not begin as a capture does.
  std::optional<eCaptureState> state;
};

// Hands over every item of a damaged, cut off or unclosed capture that can be relied on, in the
// order of the file.
//
// The blocks are followed as a reader follows them; where the chain breaks, blocks that prove
// themselves are looked for in the rest of the file, so that items behind a lost block are found as
// well as those of a capture that stands behind another one. block_recovery.h tells how the items
// of a block are found. Nothing is made up: what has no time, or may be one thing or another, is
// lost.
//
// No file content makes it crash, hang or read outside the file. Memory is bounded but for the
// blocks, which take 64 bytes each.
[[nodiscard]] sRecoveryReport RecoverCapture(cByteSource& source, const RecoveredItemTaker& take);

}  // namespace corvane
