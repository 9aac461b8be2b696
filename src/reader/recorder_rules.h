#pragma once

#include <cstdint>

#include "capture/isf/layout.h"

namespace corvane {

// A rule that every item of the recorder keeps, and that one does not.
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

}  // namespace corvane
