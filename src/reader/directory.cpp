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

// Walks through a directory's entries in order.
class cDirectoryWalk {
 public:
  cDirectoryWalk(DirectoryBytes directory, const sDirectoryPlace& surroundings,
                 cByteSource& bytesOfFile)
      : bytes(directory), place(surroundings), source(bytesOfFile) {}

  [[nodiscard]] sJudgedDirectory Walk() {
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
  [[nodiscard]] bool ProvesItself(std::uint32_t number) const {
    if (number >= judged.entries) {
      return false;
    }
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
