#include "rewrite/moved_block.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <utility>

#include "reader/directory.h"
#include "rewrite/record_proof.h"

namespace corvane {
namespace {

constexpr std::ptrdiff_t kFarthest = 64;
constexpr std::ptrdiff_t kTail = isf::kDirectorySize;

using Bytes = std::span<const std::uint8_t>;

[[nodiscard]] isf::sBlockTail TailAt(Bytes block, std::ptrdiff_t place) {
  return isf::LoadBlockTail(
      block.subspan(static_cast<std::size_t>(place)).first<isf::kBlockTailSize>());
}

[[nodiscard]] isf::sDirectoryEntry EntryIn(Bytes block, std::ptrdiff_t place) {
  return isf::LoadDirectoryEntry(
      block.subspan(static_cast<std::size_t>(place)).first<isf::kDirectoryEntrySize>());
}

// How far link and base time stand behind where they belong; negative: before.
[[nodiscard]] std::optional<std::ptrdiff_t> FindShift(Bytes block, std::uint64_t offset) {
  for (std::ptrdiff_t far = 1; far <= kFarthest; ++far) {
    for (const std::ptrdiff_t shift : {-far, far}) {
      const auto end = static_cast<std::size_t>(kTail + shift) + isf::kBlockTailSize;
      // A block does not begin before the file.
      if (end > block.size() || (shift < 0 && offset < static_cast<std::uint64_t>(-shift))) {
        continue;
      }
      const isf::sBlockTail tail = TailAt(block, kTail + shift);
      const bool isLink = tail.nextBlock == 0 || tail.nextBlock > offset + isf::kBlockSize;
      if (isLink && IsLikelyTime(tail.baseTime)) {
        return shift;
      }
    }
  }
  return std::nullopt;
}

[[nodiscard]] bool Continues(const isf::sDirectoryEntry& entry, std::uint64_t end) {
  return FindBrokenRule(entry).problem == nullptr && entry.position == end;
}

// The directory without the change. Up to there each record begins where the one before ends.
[[nodiscard]] sMovedBlock Mend(Bytes block, std::ptrdiff_t shift) {
  std::uint64_t end = 0;
  std::ptrdiff_t changed = 0;
  for (; changed < kTail; changed += isf::kDirectoryEntrySize) {
    const isf::sDirectoryEntry entry = EntryIn(block, changed);
    if (!Continues(entry, end)) {
      break;
    }
    end += entry.RecordSize();
  }
  std::vector<std::uint8_t> directory(block.begin(), block.begin() + changed);
  const std::ptrdiff_t behind = std::min(changed + std::ptrdiff_t{isf::kDirectoryEntrySize}, kTail);
  // Which of two bytes was put in, that with the type or the one in front, nothing tells.
  const bool isWhole = shift > 0 && behind != changed &&
                       block[static_cast<std::size_t>(changed)] ==
                           block[static_cast<std::size_t>(changed + shift)] &&
                       Continues(EntryIn(block, changed + shift), end);
  if (isWhole) {
    directory.insert(directory.end(), block.begin() + changed + shift,
                     block.begin() + behind + shift);
  }
  directory.resize(static_cast<std::size_t>(behind));  // the changed entry is zero
  directory.insert(directory.end(), block.begin() + std::max(behind + shift, std::ptrdiff_t{0}),
                   block.begin() + kTail + shift);
  directory.resize(isf::kDirectorySize);
  sMovedBlock mended;
  mended.isEntryChanged =
      changed != kTail && std::any_of(block.begin() + changed, block.begin() + behind,
                                      [](std::uint8_t byte) { return byte != 0; });
  mended.directory = std::move(directory);
  return mended;
}

// How many records that tell their own length stand where the directory leads, up to enough of
// them.
[[nodiscard]] int Proven(cByteSource& source, std::uint64_t recordsBegin, Bytes directory) {
  constexpr int kEnough = 100;
  cByteWindow window(source);
  int proven = 0;
  for (std::ptrdiff_t place = 0; place < kTail && proven < kEnough;
       place += isf::kDirectoryEntrySize) {
    const isf::sDirectoryEntry entry = EntryIn(directory, place);
    if (FindBrokenRule(entry).problem != nullptr) {
      continue;
    }
    const auto record = window.Read(recordsBegin + entry.position, entry.RecordSize());
    const auto packet = record ? record->last(entry.length) : Bytes();
    proven += record && IsTypeFor(entry.Type(), packet) && OwnLength(packet) == packet.size();
  }
  return proven;
}

}  // namespace

std::optional<sMovedBlock> FindMovedBlock(cByteSource& source, std::uint64_t offset) {
  std::vector<std::uint8_t> block(isf::kBlockSize + std::size_t{kFarthest});
  block.resize(source.ReadAt(offset, block));
  if (block.size() < isf::kBlockSize - std::size_t{kFarthest}) {
    return std::nullopt;
  }
  const auto shift = FindShift(block, offset);
  if (!shift) {
    return std::nullopt;
  }
  sMovedBlock moved = Mend(block, *shift);
  moved.offset = static_cast<std::uint64_t>(static_cast<std::int64_t>(offset) + *shift);
  moved.tail = TailAt(block, kTail + *shift);
  // Otherwise link and base time were overwritten, and the records stand where they belong.
  const bool areMoved = Proven(source, moved.offset + isf::kBlockSize, moved.directory) >
                        Proven(source, offset + isf::kBlockSize, moved.directory);
  return areMoved ? std::optional(std::move(moved)) : std::nullopt;
}

}  // namespace corvane
