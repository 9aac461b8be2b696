#include "rewrite/located_blocks.h"

#include <algorithm>
#include <array>
#include <tuple>
#include <utility>

#include "reader/block_index.h"
#include "reader/directory.h"
#include "rewrite/block_search.h"
#include "rewrite/record_fit.h"
#include "rewrite/record_proof.h"

namespace corvane {
namespace {

// A block's records take no more.
constexpr std::uint64_t kMostRecords =
    std::uint64_t{isf::kItemsPerBlock} * (isf::kLongestRecordHead + isf::kLongestPacket);
// Of a small file no more than this is believed to have been lost; of others as much as is left.
constexpr std::uint64_t kMostLost = std::uint64_t{1} << 28;
// How far behind its place the end of a block is looked for, and how many bytes are looked through
// in all.
constexpr std::uint64_t kReachBehindPlace = std::uint64_t{1} << 24;
constexpr std::uint64_t kMostLookedThrough = std::uint64_t{1} << 28;

using TailBytes = std::array<std::uint8_t, isf::kBlockTailSize>;

class cBlockLocator : private sLocatedBlocks {
 public:
  cBlockLocator(cByteSource& source, std::uint64_t fileSize) : file(source), size(fileSize) {}

  [[nodiscard]] std::optional<sLocatedBlocks> Find() {
    if (!IsHeaderAt(0)) {
      return std::nullopt;
    }
    isClosed = LoadIndex();
    if (!(isClosed ? LocateBlocks() : FollowBlocks()) || IsBehindAnother() || !LocateEnd()) {
      return std::nullopt;
    }
    return std::move(static_cast<sLocatedBlocks&>(*this));
  }

 private:
  // --- What the index says

  // Its blocks stand behind each other from the header on, no farther than their records can take
  // them, and have likely times.
  [[nodiscard]] bool LoadIndex() {
    auto index = cBlockIndex::Find(file, size);
    if (!index || index->Trailer().zero != 0 || index->BlockCount() == 0 || !index->Offset()) {
      return false;
    }
    indexPlace = *index->Offset();
    std::uint64_t least = isf::kHeaderSize;
    for (std::uint64_t number = 0; number < index->BlockCount(); ++number) {
      const auto entry = index->Entry(indexPlace, number);
      const std::uint64_t most = number == 0 ? least : least + kMostRecords;
      if (!entry || entry->blockOffset < least || entry->blockOffset > most ||
          !IsLikelyTime(entry->baseTime)) {
        return false;
      }
      blocks.push_back(*entry);
      least = entry->blockOffset + isf::kBlockSize;
    }
    lastEntries = static_cast<std::uint32_t>(index->Trailer().itemCount -
                                             (blocks.size() - 1) * isf::kItemsPerBlock);
    return true;
  }

  // --- Where the ends of the blocks are now

  [[nodiscard]] bool IsTailAt(std::int64_t number, std::int64_t distance) {
    TailBytes bytes{};
    const std::int64_t place = static_cast<std::int64_t>(TailOf(number)) + distance;
    return place >= 0 && file.ReadAt(static_cast<std::uint64_t>(place), bytes) == bytes.size() &&
           bytes == isf::StoreBlockTail(Tail(number));
  }

  [[nodiscard]] bool LocateBlocks() {
    std::int64_t distance = 0;
    for (std::int64_t number = 0; number < Count(); ++number) {
      if (IsTailAt(number, distance)) {
        anchors.push_back({number, distance});
        continue;
      }
      // It alone may have been overwritten.
      if (number + 1 < Count() && IsTailAt(number + 1, distance)) {
        continue;
      }
      if (const auto found = SearchTail(number, distance)) {
        distance = *found;
        anchors.push_back({number, distance});
      }
    }
    return !anchors.empty();
  }

  // Whether the bytes before the first block are another capture.
  [[nodiscard]] bool IsBehindAnother() {
    const std::int64_t distance = anchors.front().distance;
    return distance > 0 && (ProvesBlock(file, size, isf::kHeaderSize) ||
                            IsHeaderAt(static_cast<std::uint64_t>(distance)));
  }
  [[nodiscard]] bool IsHeaderAt(std::uint64_t place) {
    std::array<std::uint8_t, isf::kHeaderSize> bytes{};
    return file.ReadAt(place, bytes) == bytes.size() && isf::IsHeader(bytes);
  }

  // The distance at which the end of a block stands, behind the one that was found last.
  [[nodiscard]] std::optional<std::int64_t> SearchTail(std::int64_t number, std::int64_t distance) {
    const TailBytes tail = isf::StoreBlockTail(Tail(number));
    return Search(TailOf(number), distance, [&tail](std::span<const std::uint8_t> bytes) {
      return std::search(bytes.begin(), bytes.end(), tail.begin(), tail.end()) - bytes.begin();
    });
  }

  // `find` takes bytes and returns where the end of a block begins in them, or their end.
  template <typename Find>
  [[nodiscard]] std::optional<std::int64_t> Search(std::uint64_t was, std::int64_t distance,
                                                   const Find& find) {
    std::uint64_t place = anchors.empty() ? isf::kHeaderSize
                                          : TailOf(anchors.back().number) + isf::kBlockTailSize +
                                                static_cast<std::uint64_t>(anchors.back().distance);
    const std::uint64_t end =
        std::min(indexPlace, was + static_cast<std::uint64_t>(distance) + kReachBehindPlace);
    std::vector<std::uint8_t> bytes;
    while (place + isf::kBlockTailSize <= end && lookedThrough < kMostLookedThrough) {
      constexpr std::uint64_t kAtOnce = 1u << 18;
      bytes.resize(static_cast<std::size_t>(std::min(end - place, kAtOnce)));
      bytes.resize(file.ReadAt(place, bytes));
      if (bytes.size() < isf::kBlockTailSize) {
        break;
      }
      lookedThrough += bytes.size();
      const std::ptrdiff_t at = find(bytes);
      if (at != std::ssize(bytes)) {
        return static_cast<std::int64_t>(place) + at - static_cast<std::int64_t>(was);
      }
      place += bytes.size() - isf::kBlockTailSize + 1;
    }
    return std::nullopt;
  }

  // --- Where no index is

  // Each block tells where the next one stood.
  [[nodiscard]] bool FollowBlocks() {
    blocks.clear();
    indexPlace = size;
    std::uint64_t offset = isf::kHeaderSize;
    while (const auto tail = LocateNext(offset)) {
      blocks.push_back({offset, tail->baseTime});
      anchors.push_back({Count() - 1, nextDistance});
      if (tail->nextBlock == 0) {
        break;
      }
      // So does the end of its records, and one of both may be wrong.
      const Directory bytes = ReadDirectory(Count() - 1, nextDistance);
      const auto end = RecordsEnd(offset, isf::kItemsPerBlock, bytes);
      const bool isLinkBetter = !end || IsLikelyTailAt(tail->nextBlock);
      offset = isLinkBetter ? tail->nextBlock : *end;
    }
    return !blocks.empty();
  }

  // The end of the block that stood at `was`, and at `nextDistance` does now.
  [[nodiscard]] std::optional<isf::sBlockTail> LocateNext(std::uint64_t was) {
    const std::uint64_t tail = was + isf::kDirectorySize;
    if (!IsLikelyTailAt(was)) {
      const auto found =
          Search(tail, nextDistance, [this, was](std::span<const std::uint8_t> bytes) {
            std::ptrdiff_t at = 0;
            while (at + isf::kBlockTailSize <= std::ssize(bytes) &&
                   !IsLikelyTail(
                       was,
                       bytes.subspan(static_cast<std::size_t>(at)).first<isf::kBlockTailSize>())) {
              ++at;
            }
            return at + isf::kBlockTailSize <= std::ssize(bytes) ? at : std::ssize(bytes);
          });
      if (!found || !IsEndOf(was, *found)) {
        return std::nullopt;
      }
      nextDistance = *found;
    }
    TailBytes bytes{};
    const bool isRead =
        file.ReadAt(tail + static_cast<std::uint64_t>(nextDistance), bytes) == bytes.size();
    return isRead ? std::optional(isf::LoadBlockTail(bytes)) : std::nullopt;
  }

  // Whether what was found is not the end of another block that stands in its place.
  [[nodiscard]] bool IsEndOf(std::uint64_t was, std::int64_t distance) {
    TailBytes bytes{};
    const std::uint64_t place = was + static_cast<std::uint64_t>(distance);
    std::ignore = file.ReadAt(place + isf::kDirectorySize, bytes);
    const isf::sBlockTail tail = isf::LoadBlockTail(bytes);
    if (tail.nextBlock != 0) {
      return RecordsEnd(was, isf::kItemsPerBlock, ReadAt(place)) == tail.nextBlock;
    }
    if (BeginsChain(was, nextDistance)) {
      return !BeginsChain(was, distance) && BeginsRecords(was, distance) &&
             !BeginsRecords(was, nextDistance);
    }
    return !blocks.empty() && blocks.back().blockOffset + isf::kBlockSize < was &&
           AreLastMoved(Count() - 1, isf::kItemsPerBlock, ReadDirectory(Count() - 1, nextDistance),
                        nextDistance, distance);
  }

  // Whether the first record of a block whose directory begins where it is expected can stand there
  // at a distance.
  [[nodiscard]] bool BeginsRecords(std::uint64_t was, std::int64_t distance) {
    const Directory directory = ReadAt(was + static_cast<std::uint64_t>(nextDistance));
    const isf::sDirectoryEntry entry = EntryAt(AsDirectory(directory), 0);
    std::vector<std::uint8_t> record(entry.RecordSize());
    const std::uint64_t place = was + isf::kBlockSize + static_cast<std::uint64_t>(distance);
    return file.ReadAt(place, record) == record.size() && record.front() == 0 &&
           IsTypeFor(entry.Type(), std::span(record).last(entry.length));
  }

  [[nodiscard]] bool BeginsChain(std::uint64_t was, std::int64_t distance) {
    std::array<std::uint8_t, std::size_t{2} * isf::kDirectoryEntrySize> bytes{};
    const std::int64_t place = static_cast<std::int64_t>(was) + distance;
    if (place < 0 || file.ReadAt(static_cast<std::uint64_t>(place), bytes) != bytes.size()) {
      return false;
    }
    const auto all = std::span<const std::uint8_t, bytes.size()>(bytes);
    const auto first = isf::LoadDirectoryEntry(all.first<isf::kDirectoryEntrySize>());
    const auto second = isf::LoadDirectoryEntry(all.last<isf::kDirectoryEntrySize>());
    return FindBrokenRule(first).problem == nullptr && first.position == 0 &&
           (second == isf::sDirectoryEntry{} || second.position == first.RecordSize());
  }

  [[nodiscard]] bool IsLikelyTailAt(std::uint64_t was) {
    TailBytes bytes{};
    const std::uint64_t place =
        was + isf::kDirectorySize + static_cast<std::uint64_t>(nextDistance);
    return file.ReadAt(place, bytes) == bytes.size() && IsLikelyTail(was, bytes);
  }

  // Whether these can be link and base time of the block that stood at `was`: not far behind the
  // block in front of it, and with the next one where its records can end.
  [[nodiscard]] bool IsLikelyTail(std::uint64_t was,
                                  std::span<const std::uint8_t, isf::kBlockTailSize> bytes) const {
    constexpr std::uint64_t kDay = 86'400'000;
    const isf::sBlockTail tail = isf::LoadBlockTail(bytes);
    const std::uint64_t records = was + isf::kBlockSize;
    const bool isLink = tail.nextBlock == 0 ||
                        (tail.nextBlock > records && tail.nextBlock <= records + kMostRecords);
    const std::uint64_t before = blocks.empty() ? tail.baseTime : blocks.back().baseTime;
    return isLink && IsLikelyTime(tail.baseTime) && tail.baseTime + kDay >= before &&
           tail.baseTime <= before + 30 * kDay;
  }

  // --- The end of the capture

  // The index stood behind the last record, to which the last entry leads.
  [[nodiscard]] bool LocateEnd() {
    const std::int64_t last = Count() - 1;
    const std::int64_t distance = anchors.back().distance;
    std::int64_t before = 0;
    for (const sAnchor& anchor : anchors) {
      before = anchor.number < last ? anchor.distance : before;
    }
    indexOffset = static_cast<std::uint64_t>(static_cast<std::int64_t>(indexPlace) - distance);
    for (const std::int64_t looked : {distance, before}) {
      const Directory bytes = ReadDirectory(last, looked);
      if (!isClosed) {
        lastEntries = UsedIn(bytes);
      }
      const auto end =
          lastEntries != 0 ? RecordsEnd(OffsetOf(last), lastEntries, bytes) : std::nullopt;
      if (!end) {
        continue;
      }
      // A file that was not closed may have been cut off: records that it would have cut say
      // nothing.
      const std::uint32_t whole = isClosed ? lastEntries : WholeIn(last, bytes, distance);
      if (whole != 0 && AreLastMoved(last, whole, bytes, distance,
                                     static_cast<std::int64_t>(indexPlace - *end))) {
        indexOffset = *end;
      }
      break;
    }
    if (indexOffset < OffsetOf(last) + isf::kBlockSize ||
        indexOffset > indexPlace + std::max(size, kMostLost)) {
      return false;
    }
    anchors.push_back({Count(), static_cast<std::int64_t>(indexPlace - indexOffset)});
    return true;
  }

  // Whether the last records are at another distance, behind a change in front of them or between
  // them. The last entry of all says nothing: it may be the one that is wrong, and then its packet
  // can still end where the records do.
  [[nodiscard]] bool AreLastMoved(std::int64_t number, std::uint32_t entries,
                                  const Directory& bytes, std::int64_t distance,
                                  std::int64_t farther) {
    constexpr std::uint32_t kLast = 8;
    sMovedRecords last{AsDirectory(bytes),
                       OffsetOf(number) + isf::kBlockSize,
                       TimeOf(number),
                       entries - std::min(entries, kLast),
                       entries - 1,
                       distance,
                       farther};
    const std::optional<int> moved = WeighChange(file, last);
    return farther != distance && moved && *moved > WeighDistance(file, last);
  }

  // How many of the last block's entries have records that end within the file at a distance.
  [[nodiscard]] std::uint32_t WholeIn(std::int64_t last, const Directory& bytes,
                                      std::int64_t distance) const {
    const std::int64_t records =
        static_cast<std::int64_t>(OffsetOf(last) + isf::kBlockSize) + distance;
    std::uint32_t whole = lastEntries;
    while (whole != 0 &&
           records + static_cast<std::int64_t>(EndIn(EntryAt(AsDirectory(bytes), whole - 1))) >
               static_cast<std::int64_t>(indexPlace)) {
      --whole;
    }
    return whole;
  }

  [[nodiscard]] static std::uint32_t UsedIn(const Directory& bytes) {
    std::uint32_t used = isf::kItemsPerBlock;
    while (used != 0 && EntryAt(AsDirectory(bytes), used - 1) == isf::sDirectoryEntry{}) {
      --used;
    }
    return used;
  }

  // Where the last of so many entries says that the records end, if it can be right.
  [[nodiscard]] std::optional<std::uint64_t> RecordsEnd(std::uint64_t block, std::uint32_t entries,
                                                        const Directory& bytes) const {
    const std::uint32_t place = entries - 1;
    const isf::sDirectoryEntry entry = EntryAt(AsDirectory(bytes), place);
    const std::uint64_t begin = place == 0 ? 0 : EndIn(EntryAt(AsDirectory(bytes), place - 1));
    const bool isLast = place + 1 == isf::kItemsPerBlock ||
                        EntryAt(AsDirectory(bytes), place + 1) == isf::sDirectoryEntry{};
    return isLast && entry.position == begin && FindBrokenRule(entry).problem == nullptr
               ? std::optional(block + isf::kBlockSize + EndIn(entry))
               : std::nullopt;
  }

  [[nodiscard]] Directory ReadDirectory(std::int64_t number, std::int64_t distance) {
    return ReadAt(OffsetOf(number) + static_cast<std::uint64_t>(distance));
  }
  [[nodiscard]] Directory ReadAt(std::uint64_t place) { return ReadDirectoryAt(file, place); }

  cByteSource& file;
  const std::uint64_t size;
  std::int64_t nextDistance = 0;    // at which the next block is looked for
  std::uint64_t lookedThrough = 0;  // bytes
};

}  // namespace

Directory ReadDirectoryAt(cByteSource& file, std::uint64_t place) {
  Directory bytes(isf::kDirectorySize);
  std::ignore = file.ReadAt(place, bytes);
  return bytes;
}

std::optional<sLocatedBlocks> FindBlocks(cByteSource& file, std::uint64_t size) {
  return cBlockLocator(file, size).Find();
}

}  // namespace corvane
