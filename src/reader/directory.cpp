#include "reader/directory.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "capture/isf/item_types.h"

namespace corvane {
namespace {

using DirectoryBytes = std::span<const std::uint8_t, isf::kDirectorySize>;

constexpr std::uint64_t kSmallestRecord = 2;  // a time of one byte and a packet of one

[[nodiscard]] bool IsKnownType(std::uint32_t type) {
  switch (type) {
    case isf::kShortLogItem:
    case isf::kPacketItem:
    case isf::kRequestItem:
    case isf::kEventItem:
    case isf::kLogItem:
    case isf::kMessageItem:
    case isf::kInformationItem:
    case isf::kSignallingLogItem:
    case isf::kSubsystemItem:
    case isf::kSubsystemRequestItem:
      return true;
    default:
      return false;
  }
}

[[nodiscard]] bool IsAllZero(std::span<const std::uint8_t> bytes) {
  // Every byte equals the one before it: a comparison of memory, quicker than a loop over bytes.
  return bytes.empty() ||
         (bytes[0] == 0 && std::equal(bytes.begin() + 1, bytes.end(), bytes.begin()));
}

[[nodiscard]] bool IsUnused(const isf::sDirectoryEntry& entry) {
  return entry == isf::sDirectoryEntry{};
}

void AddTo(TypeTotals& types, std::uint32_t type, const sTypeTotals& more) {
  types[type].items += more.items;
  types[type].bytes += more.bytes;
}

// The entries at the front of a directory whose records follow each other from the block on, with
// packets as long as the recorder writes them. This is where the time goes that a large capture
// takes to open: it does as little as can be for an entry, and takes what else there is to know
// from how often each byte of flags came.
class cGaplessEntries {
 public:
  explicit cGaplessEntries(DirectoryBytes bytes) {
    static_assert(isf::kItemsPerBlock % 2 == 0);
    while (count < isf::kItemsPerBlock && Take(EntryAt(bytes, count), even) &&
           Take(EntryAt(bytes, count), odd)) {
    }
  }

  [[nodiscard]] std::uint32_t Count() const { return count; }
  // Behind the last record, counted from the end of the block.
  [[nodiscard]] std::uint64_t End() const { return end; }

  void AddTo(sJudgedDirectory& judged) const {
    for (std::size_t flags = 0; flags < even.size(); ++flags) {
      const std::uint64_t sum = even[flags] + odd[flags];
      if (sum == 0) {
        continue;
      }
      const sTypeTotals totals{sum >> kItemsShift, sum & ((std::uint64_t{1} << kItemsShift) - 1)};
      const isf::sDirectoryEntry entry{static_cast<std::uint8_t>(flags), 0, 1};
      corvane::AddTo(judged.types, entry.Type(), totals);
      judged.keepsRules = judged.keepsRules && FindBrokenRule(entry).problem == nullptr;
    }
  }

 private:
  // By flags: items in the upper half, and the bytes of their packets in the lower one.
  using FlagTotals = std::array<std::uint64_t, 256>;
  static constexpr int kItemsShift = 32;
  static_assert(std::uint64_t{isf::kItemsPerBlock} * isf::kLongestPacket >> kItemsShift == 0);

  static constexpr std::array<std::uint8_t, 256> kHeadSizes = [] {
    std::array<std::uint8_t, 256> sizes{};
    for (std::size_t flags = 0; flags < sizes.size(); ++flags) {
      const isf::sDirectoryEntry entry{static_cast<std::uint8_t>(flags)};
      sizes[flags] = static_cast<std::uint8_t>(entry.HeadSize());
    }
    return sizes;
  }();

  [[nodiscard]] bool Take(const isf::sDirectoryEntry& entry, FlagTotals& totals) {
    // A length of 0 becomes the greatest one.
    const auto beyondFirst = static_cast<std::uint16_t>(entry.length - 1);
    if (entry.position != end || beyondFirst >= isf::kLongestPacket) {
      return false;
    }
    end += kHeadSizes[entry.flags] + std::uint32_t{entry.length};
    totals[entry.flags] += (std::uint64_t{1} << kItemsShift) + entry.length;
    ++count;
    return true;
  }

  // Neighbours mostly have the same flags, and adding to a number in memory waits for the addition
  // before: two by turns take half the time.
  FlagTotals even{};
  FlagTotals odd{};
  std::uint32_t count = 0;
  std::uint64_t end = 0;
};

// Walks through a directory's entries in order.
class cDirectoryWalk {
 public:
  cDirectoryWalk(DirectoryBytes directory, const sDirectoryPlace& surroundings,
                 cByteSource& bytesOfFile)
      : bytes(directory), place(surroundings), source(bytesOfFile) {}

  [[nodiscard]] sJudgedDirectory Walk() {
    if (TakeWhole()) {
      return std::move(judged);
    }
    used = CountUsed();
    judged.entries = place.isFull ? isf::kItemsPerBlock : used;
    judged.end = place.BlockEnd();
    for (std::uint32_t number = 0; number < judged.entries; ++number) {
      const char* const problem = FindProblem(number);
      if (problem == nullptr) {
        Accept(number);
      } else if (runLength++ == 0) {
        runStart = number;
        runProblem = problem;
      }
    }
    EndRun();
    return std::move(judged);
  }

 private:
  // Mostly every used entry is good, and nothing but the directory has to be looked at to know.
  // False where the entries have to be judged one by one.
  [[nodiscard]] bool TakeWhole() {
    const cGaplessEntries front(bytes);
    const std::uint64_t end = place.BlockEnd() + front.End();
    if (end > (place.follows != 0 ? std::min(place.follows, place.fileSize) : place.fileSize) ||
        (place.isFull && front.Count() != isf::kItemsPerBlock) ||
        !IsAllZero(bytes.subspan(std::size_t{front.Count()} * isf::kDirectoryEntrySize))) {
      return false;
    }
    judged.good = FirstEntries(front.Count());
    judged.entries = front.Count();
    judged.end = end;
    front.AddTo(judged);
    return true;
  }

  [[nodiscard]] std::uint32_t CountUsed() const {
    std::uint32_t count = 0;
    while (count < isf::kItemsPerBlock && !IsUnused(EntryAt(bytes, count))) {
      ++count;
    }
    if (IsAllZero(bytes.subspan(std::size_t{count} * isf::kDirectoryEntrySize))) {
      return count;
    }
    for (count = isf::kItemsPerBlock; IsUnused(EntryAt(bytes, count - 1));) {
      --count;
    }
    return count;
  }

  [[nodiscard]] std::uint64_t BeginOf(const isf::sDirectoryEntry& entry) const {
    return place.BlockEnd() + entry.position;
  }
  [[nodiscard]] std::uint64_t EndOf(const isf::sDirectoryEntry& entry) const {
    return BeginOf(entry) + entry.RecordSize();
  }

  // Where the record behind that of entry `number` begins, or what follows the last one; nothing
  // when that is not known.
  [[nodiscard]] std::optional<std::uint64_t> NextRecord(std::uint32_t number) const {
    if (number + 1 < judged.entries) {
      const isf::sDirectoryEntry next = EntryAt(bytes, number + 1);
      return IsUnused(next) ? std::nullopt : std::optional(BeginOf(next));
    }
    return place.follows != 0 ? std::optional(place.follows) : std::nullopt;
  }

  // What is wrong with an entry whatever its neighbours say.
  [[nodiscard]] const char* FindOwnProblem(const isf::sDirectoryEntry& entry) const {
    if (entry.length == 0) {
      return "has length 0";
    }
    if (BeginOf(entry) < judged.end) {
      return "points into the record before its own";
    }
    if (EndOf(entry) > place.fileSize) {
      return "points past the end of the file";
    }
    if (place.follows != 0 && EndOf(entry) > place.follows) {
      return place.isFull ? "points into the next block" : "points into the block index";
    }
    return nullptr;
  }

  // Why an entry cannot be believed; null when it can.
  [[nodiscard]] const char* FindProblem(std::uint32_t number) const {
    const isf::sDirectoryEntry entry = EntryAt(bytes, number);
    if (IsUnused(entry)) {
      return number < used ? "is unused, but entries after it are used"
                           : "is unused, but a block follows";
    }
    if (const char* const problem = FindOwnProblem(entry)) {
      return problem;
    }
    const std::optional<std::uint64_t> next = NextRecord(number);
    if (runLength == 0 && BeginOf(entry) == judged.end) {
      // The record before it vouches for where it begins. When it runs into the next one, either
      // its length is wrong or the next one's position.
      const bool isTooLong = next && EndOf(entry) > *next && ProvesItself(number + 1);
      return isTooLong ? "runs into the record after its own" : nullptr;
    }
    if (next && EndOf(entry) > *next) {
      return "runs into the record after its own";
    }
    if (runLength != 0 && next && EndOf(entry) != *next) {
      return "does not end where the next record begins";
    }
    return HasGoodHead(entry, number) ? nullptr : "does not point to a record";
  }

  // Whether the entry is right even if the one before it, which is not accepted yet, is wrong.
  // There is such an entry: behind the last one no record begins.
  [[nodiscard]] bool ProvesItself(std::uint32_t number) const {
    const isf::sDirectoryEntry entry = EntryAt(bytes, number);
    if (FindOwnProblem(entry) != nullptr || BeginOf(entry) - judged.end < kSmallestRecord) {
      return false;
    }
    // The last record of a file that was not closed mostly ends with it.
    const std::uint64_t next = NextRecord(number).value_or(place.fileSize);
    return EndOf(entry) == next && HasGoodHead(entry, number);
  }

  [[nodiscard]] bool HasGoodHead(const isf::sDirectoryEntry& entry, std::uint32_t number) const {
    std::array<std::uint8_t, isf::kLongestRecordHead> head{};
    const auto wanted = std::span(head).first(entry.HeadSize());
    if (source.ReadAt(BeginOf(entry), wanted) != wanted.size()) {
      return false;
    }
    const isf::sRecordHead loaded = isf::LoadRecordHead(entry, place.baseTime, wanted);
    return FindBrokenRule(entry, loaded, number, place.baseTime).problem == nullptr;
  }

  void Accept(std::uint32_t number) {
    EndRun();
    const isf::sDirectoryEntry entry = EntryAt(bytes, number);
    judged.good.set(number);
    judged.gapBytes += BeginOf(entry) - judged.end;
    judged.end = EndOf(entry);
    AddTo(judged.types, entry.Type(), {1, entry.length});
    judged.keepsRules = judged.keepsRules && FindBrokenRule(entry).problem == nullptr;
  }

  // Says what was passed over since the last good entry.
  void EndRun() {
    if (runLength == 0) {
      return;
    }
    judged.passedOver += runLength;
    judged.damage.Add({"directory entry " + std::to_string(runStart) + " of the block at offset " +
                           std::to_string(place.block) + " " + runProblem + " (" +
                           std::to_string(runLength) +
                           (runLength == 1 ? " entry passed over)" : " entries passed over)"),
                       place.block + std::uint64_t{runStart} * isf::kDirectoryEntrySize});
    runLength = 0;
  }

  DirectoryBytes bytes;
  const sDirectoryPlace& place;
  cByteSource& source;
  sJudgedDirectory judged;
  std::uint32_t used = 0;  // up to the last entry that is not zero
  // The bad entries since the last good one, and what is wrong with the first of them.
  std::uint32_t runStart = 0;
  std::uint32_t runLength = 0;
  const char* runProblem = nullptr;
};

}  // namespace

sBrokenRule FindBrokenRule(const isf::sDirectoryEntry& entry) {
  if (!IsKnownType(entry.Type())) {
    return {"has a type that no item has"};
  }
  if (entry.length == 0) {
    return {"has no packet"};
  }
  if (entry.length > isf::kLongestPacket) {
    return {"has a packet longer than 16640 bytes"};
  }
  if (entry.HasExtra() && entry.Type() != isf::kSignallingLogItem) {
    return {"has an extra field, which items of its type never have"};
  }
  return {};
}

sBrokenRule FindBrokenRule(const isf::sDirectoryEntry& entry, const isf::sRecordHead& head,
                           std::uint32_t place, std::uint64_t baseTime) {
  if (const sBrokenRule broken = FindBrokenRule(entry); broken.problem != nullptr) {
    return broken;
  }
  if (head.time > isf::kLatestTime) {
    return {"has a time later than any clock can be", true};
  }
  // A block takes its base time from its first item.
  if (place == 0 && head.time != baseTime) {
    return {"is the first of its block, but not at the block's base time", true};
  }
  if (entry.WidthCode() != isf::ChooseTimeWidth(head.time, baseTime)) {
    return {entry.WidthCode() > isf::ChooseTimeWidth(head.time, baseTime)
                ? "has a wider time field than it needs"
                : "has a time field with all its bits set",
            true};
  }
  if (head.extra == kNotLearned) {
    return {"has an extra field of 0xFFFFFFFF, which stands for none", true};
  }
  return {};
}

sJudgedDirectory JudgeDirectory(DirectoryBytes bytes, const sDirectoryPlace& place,
                                cByteSource& source) {
  return cDirectoryWalk(bytes, place, source).Walk();
}

}  // namespace corvane
