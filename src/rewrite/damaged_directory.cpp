#include "rewrite/damaged_directory.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "rewrite/record_proof.h"

namespace corvane {
namespace {

using DirectoryBytes = std::span<const std::uint8_t, isf::kDirectorySize>;

// Each time without the entries that were found wrong, others may be: so often at most.
constexpr int kRounds = 16;
// So many records that an entry may swallow are looked at.
constexpr int kLooks = 8;

class cDoubts {
 public:
  cDoubts(DirectoryBytes directory, const sDirectoryPlace& surroundings, cByteSource& bytesOfFile)
      : bytes(directory), place(surroundings), window(bytesOfFile) {
    for (std::uint32_t number = 0; number + 2 < isf::kItemsPerBlock; ++number) {
      const isf::sDirectoryEntry entry = EntryAt(bytes, number);
      if (IsFollowed(entry, number + 1) && IsFollowed(EntryAt(bytes, number + 1), number + 2)) {
        rows.emplace_back(entry.position, number);
      }
    }
    std::sort(rows.begin(), rows.end());
  }

  // The good entries that cannot be.
  [[nodiscard]] std::vector<std::uint32_t> FindWrong(const sJudgedDirectory& judged) {
    std::vector<std::uint32_t> wrong;
    std::uint64_t end = 0;        // of the good record before
    std::uint64_t jumpedEnd = 0;  // of one that cannot be where it is
    for (std::uint32_t number = 0; number + 1 < judged.entries; ++number) {
      if (!judged.good.test(number)) {
        continue;
      }
      const isf::sDirectoryEntry entry = EntryAt(bytes, number);
      const std::uint64_t entryEnd = std::uint64_t{entry.position} + entry.RecordSize();
      // What follows it directly was overwritten together with it.
      const bool isJump =
          (jumpedEnd != 0 && entry.position == jumpedEnd) || LeadsInto(end, entry.position, number);
      if (isJump ||
          (!judged.good.test(number + 1) && LeadsInto(entry.position + 1, entryEnd, number))) {
        wrong.push_back(number);
      }
      jumpedEnd = isJump ? entryEnd : 0;
      end = isJump ? end : entryEnd;
    }
    return wrong;
  }

 private:
  // Whether the record of an entry ends where that of another begins.
  [[nodiscard]] bool IsFollowed(const isf::sDirectoryEntry& entry, std::uint32_t next) const {
    return FindBrokenRule(entry).problem == nullptr &&
           EntryAt(bytes, next).position == std::uint64_t{entry.position} + entry.RecordSize();
  }

  // Whether later entries that agree with each other lead to records that begin in a range.
  [[nodiscard]] bool LeadsInto(std::uint64_t from, std::uint64_t to, std::uint32_t number) {
    auto row = std::lower_bound(rows.begin(), rows.end(), std::pair(from, std::uint32_t{0}));
    for (int looks = 0; looks < kLooks && row != rows.end() && row->first < to; ++looks, ++row) {
      if (row->second > number && LeadsToRecord(EntryAt(bytes, row->second))) {
        return true;
      }
    }
    return false;
  }

  [[nodiscard]] bool LeadsToRecord(const isf::sDirectoryEntry& entry) {
    const auto record = window.Read(place.BlockEnd() + entry.position, entry.RecordSize());
    return record && IsTypeFor(entry.Type(), record->last(entry.length));
  }

  DirectoryBytes bytes;
  const sDirectoryPlace& place;
  cByteWindow window;
  // The first of three entries whose records follow each other: where its record is, and its place.
  std::vector<std::pair<std::uint64_t, std::uint32_t>> rows;
};

}  // namespace

sJudgedDirectory JudgeDamagedDirectory(DirectoryBytes directory, const sDirectoryPlace& place,
                                       cByteSource& source) {
  sJudgedDirectory judged = JudgeDirectory(directory, place, source);
  if (judged.passedOver == 0) {
    return judged;
  }
  std::vector<std::uint8_t> believed(directory.begin(), directory.end());
  const auto rest = std::span<const std::uint8_t, isf::kDirectorySize>(believed);
  cDoubts doubts(directory, place, source);
  for (int round = 0; round < kRounds; ++round) {
    const std::vector<std::uint32_t> wrong = doubts.FindWrong(judged);
    if (wrong.empty()) {
      break;
    }
    for (const std::uint32_t number : wrong) {
      isf::sDirectoryEntry entry = EntryAt(directory, number);
      entry.length = 0;  // which no entry has
      const auto bytes = isf::StoreDirectoryEntry(entry);
      std::copy(bytes.begin(), bytes.end(),
                believed.begin() + std::ptrdiff_t{number} * isf::kDirectoryEntrySize);
    }
    judged = JudgeDirectory(rest, place, source);
  }
  return judged;
}

}  // namespace corvane
