#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "capture/isf/layout.h"
#include "reader/byte_source.h"

// Where the records of a directory stand, when bytes were removed from the file or put in.
namespace corvane {

// What the bytes at a place say to it that an entry's packet stands there.
enum class eFit { Fits, Differs, CannotTell };

// A packet that fits is one of its entry's type, and as long by its own account.
[[nodiscard]] eFit FitOf(const isf::sDirectoryEntry& entry, std::span<const std::uint8_t> packet);

// Entries of one block. Up to an unknown one their records stand at one distance from where the
// directory has them, and from another one on at a second distance.
struct sMovedRecords {
  std::span<const std::uint8_t, isf::kDirectorySize> directory;
  std::uint64_t recordsBegin = 0;  // file position, as the directory has it
  std::uint64_t baseTime = 0;      // milliseconds since 1601
  std::uint32_t first = 0;         // the entries from this one
  std::uint32_t end = 0;           // up to this one
  std::int64_t from = 0;           // the first distance, in bytes
  std::optional<std::int64_t> to;  // the second; nothing when no record is known to be anywhere
};

struct sChangePlace {
  std::uint32_t before = 0;  // the records of the entries in front of this one are whole
  std::uint32_t after = 0;   // and those from this one on, at the second distance
  // How many of these there are where another packet stands: of many, one change is not all.
  std::uint32_t contradicted = 0;
};

// Where most of the records say that one distance ends and the other begins. The last record in
// front of the change and the first one behind it are among the lost ones where the change may be
// inside them, but for one behind it that is where the directory has it; `before` may therefore be
// one less than `first`.
[[nodiscard]] sChangePlace FindChange(cByteSource& source, const sMovedRecords& moved);

// How much the records say for the first distance; comparable for the same entries.
[[nodiscard]] int WeighDistance(cByteSource& source, const sMovedRecords& moved);

// How much they say for the first distance up to an entry and for the second one from it on, where
// that is most. Nothing where no records at the end speak for the second one.
[[nodiscard]] std::optional<int> WeighChange(cByteSource& source, const sMovedRecords& moved);

}  // namespace corvane
