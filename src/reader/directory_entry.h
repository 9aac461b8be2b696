#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "capture/isf/layout.h"
#include "diag/little_endian.h"

namespace corvane {

// One entry of a block's directory.
struct sDirectoryEntry {
  std::uint8_t flags = 0;
  std::uint32_t position = 0;  // of the record, counted from the end of the block
  std::uint16_t length = 0;    // of the packet, without the fields in front of it

  [[nodiscard]] std::uint32_t Type() const { return flags & isf::kFlagsTypeMask; }
  [[nodiscard]] std::uint8_t WidthCode() const {
    return static_cast<std::uint8_t>((flags & isf::kFlagsWidthMask) >> isf::kFlagsWidthShift);
  }
  [[nodiscard]] std::uint32_t TimeSize() const { return 1u << WidthCode(); }
  [[nodiscard]] std::uint32_t ExtraSize() const { return (flags & isf::kFlagsExtraField) ? 4 : 0; }
  [[nodiscard]] std::uint32_t RecordSize() const { return TimeSize() + ExtraSize() + length; }
};

// `bytes` points to the 7 bytes of an entry.
[[nodiscard]] inline sDirectoryEntry LoadDirectoryEntry(const std::uint8_t* bytes) {
  return {bytes[isf::kEntryFlags], Load32(bytes + isf::kEntryPosition),
          Load16(bytes + isf::kEntryLength)};
}

[[nodiscard]] inline bool IsAllZero(std::span<const std::uint8_t> bytes) {
  // Every byte equals the one before it: a comparison of memory, quicker than a loop over bytes.
  return bytes.empty() ||
         (bytes[0] == 0 && std::equal(bytes.begin() + 1, bytes.end(), bytes.begin()));
}

}  // namespace corvane
