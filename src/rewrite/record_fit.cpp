#include "rewrite/record_fit.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

#include "capture/isf/item_types.h"
#include "diag/packets.h"
#include "reader/directory.h"
#include "rewrite/record_proof.h"

namespace corvane {
namespace {

// What an entry says for a distance at which its record fits, may stand, and does not stand.
constexpr int kFitting = 4;
constexpr int kPossibleSubsystem = 2;  // of which more has to be right
constexpr int kPossible = 1;
constexpr int kUnlikely = -4;
constexpr int kContradicted = -5;
// By so much the best place may be better than one that is as good.
constexpr int kDoubt = 1;

// Records without a length of their own are only believed so close behind the one before them, in
// milliseconds.
constexpr std::uint64_t kPause = 2'000;

class cChange {
 public:
  cChange(cByteSource& bytes, const sMovedRecords& records) : source(bytes), moved(records) {}

  [[nodiscard]] int Sum() {
    const std::vector<int> scores = Scores(moved.from);
    return std::accumulate(scores.begin(), scores.end(), 0);
  }

  [[nodiscard]] std::optional<int> BestSplit() {
    Weigh();
    std::optional<int> best;
    for (std::size_t place = 0; place + 1 < back.size(); ++place) {
      if (back[place] > 0) {
        best = std::max(best, std::optional(front[place] + back[place]));
      }
    }
    return best;
  }

  [[nodiscard]] sChangePlace Find() {
    if (moved.first == moved.end) {
      return {moved.first, moved.end, 0};
    }
    Weigh();
    Choose();
    sChangePlace change = Widened();
    change.contradicted = static_cast<std::uint32_t>(
        std::count(here.begin(), here.begin() + std::ptrdiff_t{before}, kContradicted) +
        std::count(there.begin() + std::ptrdiff_t{after}, there.end(), kContradicted));
    return change;
  }

 private:
  [[nodiscard]] isf::sDirectoryEntry Entry(std::uint32_t place) const {
    return EntryAt(moved.directory, place);
  }

  // What each entry says for either distance; and what all in front of each say for the first one,
  // and all from it on for the second.
  void Weigh() {
    here = front = Scores(moved.from);
    there = back = moved.to ? Scores(*moved.to) : std::vector<int>(front.size());
    front.insert(front.begin(), 0);
    back.push_back(0);
    for (std::size_t place = 1; place < front.size(); ++place) {
      front[place] += front[place - 1];
    }
    for (std::size_t place = back.size() - 1; place-- > 0;) {
      back[place] += back[place + 1];
    }
  }

  [[nodiscard]] std::vector<int> Scores(std::int64_t distance) {
    std::vector<int> scores;
    cByteWindow window(source);
    std::optional<std::uint64_t> time;
    for (std::uint32_t place = moved.first; place < moved.end; ++place) {
      scores.push_back(Score(window, place, distance, time));
    }
    return scores;
  }

  // `time` is that of the record before, if it may be one, and becomes that of this one.
  [[nodiscard]] int Score(cByteWindow& window, std::uint32_t place, std::int64_t distance,
                          std::optional<std::uint64_t>& time) const {
    const std::optional<std::uint64_t> earlier = std::exchange(time, std::nullopt);
    const isf::sDirectoryEntry entry = Entry(place);
    if (FindBrokenRule(entry).problem != nullptr) {
      return 0;
    }
    const std::int64_t begin =
        static_cast<std::int64_t>(moved.recordsBegin + entry.position) + distance;
    const auto record = begin < 0
                            ? std::nullopt
                            : window.Read(static_cast<std::uint64_t>(begin), entry.RecordSize());
    const auto packet = record ? record->last(entry.length) : std::span<const std::uint8_t>();
    const eFit fit = record ? FitOf(entry, packet) : eFit::Differs;
    if (fit == eFit::Differs) {
      return kContradicted;
    }
    if (!IsTypeFor(entry.Type(), packet)) {
      return kUnlikely;
    }
    const isf::sRecordHead head = isf::LoadRecordHead(entry, moved.baseTime, *record);
    if (FindBrokenRule(entry, head, place, moved.baseTime).problem == nullptr) {
      time = head.time;
    }
    if (fit == eFit::Fits) {
      return kFitting;
    }
    const bool isTimely = time && (!earlier || (*time >= *earlier && *time - *earlier <= kPause));
    if (!isTimely) {
      return kUnlikely;
    }
    return command::IsSubsystem(packet[0]) ? kPossibleSubsystem : kPossible;
  }

  // Between the last record in front of the change and the first one behind it.
  void Choose() {
    int best = std::numeric_limits<int>::min();
    ForEachPair([&](std::uint32_t last, std::uint32_t next) {
      best = std::max(best, front[last] + back[next]);
    });
    before = moved.end;
    ForEachPair([&](std::uint32_t last, std::uint32_t next) {
      if (front[last] + back[next] + kDoubt >= best) {
        before = std::min(before, last);
        after = std::max(after, next);
        isBetween = isBetween && next == last + 1;
      }
    });
  }

  // Goes through all pairs of entries between which as much is lost as the change takes.
  template <typename Take>
  void ForEachPair(const Take& take) const {
    const std::uint32_t count = moved.end - moved.first;
    std::uint32_t next = 0;
    for (std::uint32_t last = 0; last <= count; ++last) {
      next = std::max(next, last);
      while (next < count && Begin(next) + isf::kLongestRecordHead < FirstBehind(last)) {
        ++next;
      }
      for (std::uint32_t more = 0; more <= kLooseEnds && next + more <= count; ++more) {
        take(last, next + more);
      }
    }
  }

  [[nodiscard]] std::uint64_t Begin(std::uint32_t number) const {
    return Entry(moved.first + number).position;
  }
  // Where a record can begin behind the bytes that were removed from record `last` on.
  [[nodiscard]] std::uint64_t FirstBehind(std::uint32_t last) const {
    if (Removed() == 0) {
      return 0;
    }
    return (last == 0 ? Begin(0) : Begin(last - 1)) + Removed();
  }
  [[nodiscard]] std::uint64_t Removed() const {
    return moved.to && *moved.to < moved.from ? static_cast<std::uint64_t>(moved.from - *moved.to)
                                              : 0;
  }

  // Bytes that were put in are inside one record at most: where that is known, its neighbours are
  // whole. So is the first one that is where the directory has it again.
  [[nodiscard]] sChangePlace Widened() const {
    const std::uint32_t place = moved.first + before;
    const std::uint32_t next = moved.to ? moved.first + after : moved.end;
    if (moved.to && Removed() == 0 && isBetween) {
      return {place, next, 0};
    }
    const bool isInItsPlace = moved.to == std::int64_t{0};
    return {place == 0 ? 0 : place - 1, isInItsPlace ? next : std::min(next + 1, moved.end), 0};
  }

  // So many records more than must be may be lost where bytes were removed or put in.
  static constexpr std::uint32_t kLooseEnds = 2;

  cByteSource& source;
  const sMovedRecords& moved;
  std::vector<int> here;
  std::vector<int> there;
  std::vector<int> front;
  std::vector<int> back;
  std::uint32_t before = 0;  // counted from the first
  std::uint32_t after = 0;
  bool isBetween = true;  // the one record between them is broken
};

}  // namespace

eFit FitOf(const isf::sDirectoryEntry& entry, std::span<const std::uint8_t> packet) {
  switch (entry.Type()) {
    case isf::kPacketItem:
    case isf::kRequestItem:
    case isf::kSubsystemItem:
    case isf::kSubsystemRequestItem:
    case isf::kShortLogItem:
      return eFit::CannotTell;
    default:
      break;
  }
  if (!IsTypeFor(entry.Type(), packet)) {
    return eFit::Differs;
  }
  const auto length = OwnLength(packet);
  if (!length) {
    const bool isLog = packet[0] == command::kLog;  // which always tells it
    return isLog ? eFit::Differs : eFit::CannotTell;
  }
  return *length == entry.length ? eFit::Fits : eFit::Differs;
}

int WeighDistance(cByteSource& source, const sMovedRecords& moved) {
  return cChange(source, moved).Sum();
}

std::optional<int> WeighChange(cByteSource& source, const sMovedRecords& moved) {
  return cChange(source, moved).BestSplit();
}

sChangePlace FindChange(cByteSource& source, const sMovedRecords& moved) {
  return cChange(source, moved).Find();
}

}  // namespace corvane
