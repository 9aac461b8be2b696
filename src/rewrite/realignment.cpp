#include "rewrite/realignment.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <tuple>
#include <utility>

#include "reader/directory.h"
#include "rewrite/located_blocks.h"
#include "rewrite/record_fit.h"

namespace corvane {
namespace {

// So few records may be others than they should where one change explains all.
constexpr std::uint32_t kFewContradicted = 16;
constexpr std::int64_t kFewBytes = 64;
// What is behind all bytes.
constexpr std::uint64_t kNoEnd = std::numeric_limits<std::uint64_t>::max();

class cRealigner : private sLocatedBlocks {
 public:
  cRealigner(cByteSource& source, std::uint64_t fileSize, sLocatedBlocks located)
      : sLocatedBlocks(std::move(located)), file(source) {
    result.size = indexOffset + (fileSize - indexPlace);
  }

  [[nodiscard]] std::optional<sRealignment> Find() {
    result.pieces.push_back({0, kNoEnd, 0});
    sAnchor before{-1, 0};
    for (const sAnchor& anchor : anchors) {
      if (anchor.distance != before.distance) {
        Cross(before, anchor);
      }
      before = anchor;
    }
    result.pieces.back().end = result.size;
    if (!isClosed) {
      Close();
    }
    return isExplained && result.pieces.size() > 1 ? std::optional(std::move(result))
                                                   : std::nullopt;
  }

 private:
  // The index and the trailer that the recorder would have written: the blocks are known.
  void Close() {
    std::vector<std::uint8_t> closing;
    const auto add = [&closing](const auto& bytes) {
      closing.insert(closing.end(), bytes.begin(), bytes.end());
    };
    for (const isf::sIndexEntry& block : blocks) {
      add(isf::StoreIndexEntry(block));
    }
    isf::sTrailer trailer;
    trailer.itemCount =
        static_cast<std::uint32_t>((blocks.size() - 1) * isf::kItemsPerBlock) + lastEntries;
    trailer.magic = isf::kTrailerMagic;
    add(isf::StoreTrailer(trailer));
    const std::uint64_t place = std::exchange(result.size, result.size + closing.size());
    result.known.emplace_back(place, std::move(closing));
  }

  // --- Where the bytes were removed or put in

  // A side of the change: the block up to which, or from which on, all is at one distance.
  struct sSide {
    std::int64_t block = 0;
    bool isInDirectory = false;  // or else in its records
    std::uint32_t entries = 0;   // that are on this side
  };

  void Cross(const sAnchor& from, const sAnchor& to) {
    const sSide front = FrontSide(from, to);
    const sSide back = BackSide(front, to);
    // Of a few bytes in a directory moved_block.h knows more.
    const bool isFew = std::abs(to.distance - from.distance) <= kFewBytes;
    isExplained = isExplained && !(isFew && (front.isInDirectory || back.isInDirectory));
    const bool isInOne = !front.isInDirectory && !back.isInDirectory && front.block >= 0;
    const auto removed =
        static_cast<std::uint64_t>(std::max(from.distance - to.distance, std::int64_t{0}));
    std::uint64_t begin = BeginOfLoss(front);
    // As much is lost as was removed, from the last entry or record in front of it on or the next.
    std::uint64_t end = std::max(EndOfLoss(back), begin + removed + 2 * isf::kDirectoryEntrySize);
    if (!front.isInDirectory && front.block >= 0) {
      const Directory directory = LoadDirectory(front.block);
      const std::uint64_t records = OffsetOf(front.block) + isf::kBlockSize;
      const std::uint32_t entries = EntriesOf(front.block);
      const sChangePlace change =
          FindChange(file, {AsDirectory(directory), records, TimeOf(front.block), 0, entries,
                            from.distance, isInOne ? std::optional(to.distance) : std::nullopt});
      isExplained = isExplained && change.contradicted <= kFewContradicted;
      begin = PlaceOf(directory, records, change.before, entries, OffsetOf(front.block + 1));
      const std::uint32_t behind = isInOne ? change.after : change.before + 2;
      const std::uint64_t least =
          PlaceOf(directory, records, behind, entries, OffsetOf(front.block + 1));
      end = isInOne ? std::max(least, begin + removed) : std::max(EndOfLoss(back), least + removed);
    }
    end = std::min(end, PlaceOfAnchor(to));
    begin = std::min(begin, end - std::min(end, removed));
    result.pieces.back().end = begin;
    result.pieces.push_back({end, kNoEnd, to.distance});
    LoseEntries(std::max(from.number, std::int64_t{0}), to.number, begin, end);
  }

  [[nodiscard]] std::uint64_t PlaceOfAnchor(const sAnchor& anchor) const {
    return anchor.number == Count() ? indexOffset : TailOf(anchor.number);
  }

  [[nodiscard]] static std::uint64_t PlaceOf(const Directory& directory, std::uint64_t records,
                                             std::uint32_t place, std::uint32_t entries,
                                             std::uint64_t end) {
    return place < entries
               ? std::min(records + EntryAt(AsDirectory(directory), place).position, end)
               : end;
  }

  // The directories in front of the change chain from their beginnings on.
  [[nodiscard]] sSide FrontSide(const sAnchor& from, const sAnchor& to) {
    // What is known to be behind the change is not in front of it, whatever it looks like.
    const sSide back = BackSide({to.number - 1, false, 0}, to);
    const bool isWhole = to.number < Count() && !back.isInDirectory;
    const std::int64_t taken =
        to.distance + static_cast<std::int64_t>(isWhole ? OffsetOf(to.number) : PlaceOfAnchor(to));
    sSide side{from.number, false, 0};
    for (std::int64_t number = from.number + 1;
         number <= std::min(to.number, Count() - 1) && !side.isInDirectory; ++number) {
      const Directory bytes = ReadDirectory(number, from.distance);
      std::uint64_t end = 0;
      std::uint32_t entries = 0;
      for (; entries < EntriesOf(number); ++entries) {
        const isf::sDirectoryEntry entry = EntryAt(AsDirectory(bytes), entries);
        if (entry.position != end || FindBrokenRule(entry).problem != nullptr) {
          break;
        }
        end = EndIn(entry);
      }
      const std::uint64_t used =
          OffsetOf(number) + std::uint64_t{entries} * isf::kDirectoryEntrySize;
      if (entries == 0 || static_cast<std::int64_t>(used) + from.distance > taken) {
        break;
      }
      side = {number, entries != EntriesOf(number) || number == to.number, entries};
    }
    return side;
  }

  // Those behind it do up to their ends.
  [[nodiscard]] sSide BackSide(const sSide& front, const sAnchor& to) {
    sSide side{to.number, false, 0};
    for (std::int64_t number = std::min(to.number, Count() - 1);
         number > front.block || (front.isInDirectory && number == front.block); --number) {
      const Directory bytes = ReadDirectory(number, to.distance);
      std::uint64_t begin = OffsetOf(number + 1) - OffsetOf(number) - isf::kBlockSize;
      const std::uint32_t least = number == front.block ? front.entries : 0;
      std::uint32_t entries = EntriesOf(number);
      for (; entries > least; --entries) {
        const isf::sDirectoryEntry entry = EntryAt(AsDirectory(bytes), entries - 1);
        if (EndIn(entry) != begin || FindBrokenRule(entry).problem != nullptr) {
          break;
        }
        begin = entry.position;
      }
      side = {number, entries != 0, EntriesOf(number) - entries};
      if (side.isInDirectory) {
        return side;
      }
      side.block = number - 1;
    }
    return side;
  }

  // The last entry in front of the change may have lost its length to it, and the first one behind
  // it its type.
  [[nodiscard]] std::uint64_t BeginOfLoss(const sSide& front) const {
    if (front.block < 0) {
      return isf::kHeaderSize;
    }
    return OffsetOf(front.block) +
           std::uint64_t{std::max(front.entries, 1u) - 1} * isf::kDirectoryEntrySize;
  }
  [[nodiscard]] std::uint64_t EndOfLoss(const sSide& back) const {
    if (!back.isInDirectory) {
      return back.block < 0 ? isf::kHeaderSize : OffsetOf(std::min(back.block + 1, Count()));
    }
    const std::uint32_t first = EntriesOf(back.block) - back.entries;
    return OffsetOf(back.block) +
           std::uint64_t{std::min(first + 1, EntriesOf(back.block))} * isf::kDirectoryEntrySize;
  }

  // --- What is lost with it

  // The entries whose records are touched, and the ends of the blocks.
  void LoseEntries(std::int64_t first, std::int64_t last, std::uint64_t begin, std::uint64_t end) {
    for (std::int64_t number = first; number <= std::min(last, Count() - 1); ++number) {
      if (TailOf(number) < end && begin < TailOf(number) + isf::kBlockTailSize) {
        const auto tail = isf::StoreBlockTail(Tail(number));
        result.known.emplace_back(TailOf(number), std::vector(tail.begin(), tail.end()));
      }
      const std::uint64_t records = OffsetOf(number) + isf::kBlockSize;
      if (records >= end || OffsetOf(number + 1) <= begin) {
        continue;
      }
      const Directory directory = LoadDirectory(number);
      std::uint32_t from = isf::kItemsPerBlock;
      std::uint32_t to = 0;
      for (std::uint32_t place = 0; place < EntriesOf(number); ++place) {
        const isf::sDirectoryEntry entry = EntryAt(AsDirectory(directory), place);
        if (entry.length != 0 && records + entry.position < end && begin < records + EndIn(entry)) {
          from = std::min(from, place);
          to = place + 1;
        }
      }
      if (from < to) {
        Lose(OffsetOf(number) + std::uint64_t{from} * isf::kDirectoryEntrySize,
             OffsetOf(number) + std::uint64_t{to} * isf::kDirectoryEntrySize);
      }
    }
  }

  void Lose(std::uint64_t begin, std::uint64_t end) {
    std::vector<sMovedPiece> pieces;
    for (const sMovedPiece& piece : result.pieces) {
      if (piece.begin < std::min(piece.end, begin)) {
        pieces.push_back({piece.begin, std::min(piece.end, begin), piece.distance});
      }
      if (std::max(piece.begin, end) < piece.end) {
        pieces.push_back({std::max(piece.begin, end), piece.end, piece.distance});
      }
    }
    result.pieces = std::move(pieces);
  }

  // As it was, as far as that is known.
  [[nodiscard]] Directory LoadDirectory(std::int64_t number) {
    Directory bytes(isf::kDirectorySize);
    std::ignore = cRealignedSource(file, result).ReadAt(OffsetOf(number), bytes);
    return bytes;
  }

  [[nodiscard]] Directory ReadDirectory(std::int64_t number, std::int64_t distance) {
    return ReadDirectoryAt(file, OffsetOf(number) + static_cast<std::uint64_t>(distance));
  }

  cByteSource& file;
  bool isExplained = true;  // one change in each block is all
  sRealignment result;
};

}  // namespace

std::uint64_t sRealignment::PlaceNow(std::uint64_t place) const {
  const auto piece =
      std::upper_bound(pieces.begin(), pieces.end(), place,
                       [](std::uint64_t one, const sMovedPiece& other) { return one < other.end; });
  return piece == pieces.end()
             ? place
             : static_cast<std::uint64_t>(static_cast<std::int64_t>(place) + piece->distance);
}

std::size_t cRealignedSource::ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) {
  const std::uint64_t room = offset < was.size ? was.size - offset : 0;
  const auto wanted =
      bytes.first(static_cast<std::size_t>(std::min<std::uint64_t>(room, bytes.size())));
  std::fill(wanted.begin(), wanted.end(), std::uint8_t{0});
  const std::uint64_t end = offset + wanted.size();
  // Copies what of [begin, begin + length) is wanted.
  const auto part = [&](std::uint64_t begin, std::uint64_t partEnd) {
    const std::uint64_t from = std::max(begin, offset);
    return wanted.subspan(static_cast<std::size_t>(from - offset),
                          static_cast<std::size_t>(std::min(partEnd, end) - from));
  };
  auto piece =
      std::upper_bound(was.pieces.begin(), was.pieces.end(), offset,
                       [](std::uint64_t place, const sMovedPiece& one) { return place < one.end; });
  for (; piece != was.pieces.end() && piece->begin < end; ++piece) {
    const std::uint64_t from = std::max(piece->begin, offset);
    std::ignore =
        file.ReadAt(static_cast<std::uint64_t>(static_cast<std::int64_t>(from) + piece->distance),
                    part(piece->begin, piece->end));
  }
  for (const auto& [place, known] : was.known) {
    if (place < end && offset < place + known.size()) {
      const auto there = part(place, place + known.size());
      const std::size_t skipped = place < offset ? static_cast<std::size_t>(offset - place) : 0;
      std::copy_n(known.begin() + static_cast<std::ptrdiff_t>(skipped), there.size(),
                  there.begin());
    }
  }
  return wanted.size();
}

std::optional<sRealignment> FindRealignment(cByteSource& file, std::uint64_t size) {
  auto located = FindBlocks(file, size);
  return located ? cRealigner(file, size, std::move(*located)).Find() : std::nullopt;
}

}  // namespace corvane
