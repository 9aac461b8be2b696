#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "capture/isf/layout.h"
#include "reader/byte_source.h"

namespace corvane {

// What is known about the record that begins at a file position.
struct sRecordHints {
  std::uint64_t offset = 0;    // where it begins
  std::uint64_t limit = 0;     // where it ends at the latest
  std::uint64_t blockEnd = 0;  // the end of its block, from which positions count
  std::uint64_t baseTime = 0;  // of its block
  std::uint32_t place = 1;     // in its block; it matters whether it is the first
  std::uint64_t earliest = 0;  // its time is likely to lie between these two
  std::uint64_t latest = 0;
  // The directory entry for it, where one may be.
  std::optional<isf::sDirectoryEntry> entry;
  // Where the record behind it begins, and whether that can be relied on.
  std::optional<std::uint64_t> next;
  bool isNextSure = false;
};

// A record, and how it was found.
struct sRecordGuess {
  isf::sDirectoryEntry entry;  // as it should be
  std::uint64_t time = 0;
  bool isAsEntered = false;  // just as the directory entry says
  bool tellsLength = false;  // the packet says its own length
  bool isTimely = false;     // its time is the likely one
  bool endsAtNext = false;
};

// Finds out which record begins at a position. Nothing when too little speaks for any, or as much
// for two different ones. `window` is a stretch of the file.
[[nodiscard]] std::optional<sRecordGuess> GuessRecord(cByteWindow& window,
                                                      const sRecordHints& hints);

}  // namespace corvane
