#include "rewrite/displaced_entries.h"

#include <algorithm>
#include <bitset>
#include <cstdlib>
#include <limits>
#include <utility>

#include "capture/isf/item_types.h"
#include "diag/packets.h"
#include "reader/directory.h"
#include "rewrite/record_fit.h"
#include "rewrite/record_proof.h"

namespace corvane {
namespace {

using DirectoryBytes = std::span<const std::uint8_t, isf::kDirectorySize>;

// So many packets that tell their own lengths, all at one distance, are no accident.
constexpr std::size_t kProof = 3;
// Where there are more of them, so many are held to it: captures repeat themselves.
constexpr std::size_t kLongProof = 8;
// How far records are looked for, in bytes, and how often in one block.
constexpr std::int64_t kReach = std::int64_t{1} << 20;
constexpr int kMostSearches = 48;
// So few records may be lost where bytes were removed or put in.
constexpr std::uint32_t kFewRecords = 16;

constexpr std::uint64_t kEndOfTime = std::numeric_limits<std::uint64_t>::max();

// It is used, and no word of it speaks for any record.
constexpr isf::sDirectoryEntry kNoEntry{isf::kItemTypes - 1, 0xFFFF'FFFF, 0};

class cDisplacement {
 public:
  cDisplacement(cByteSource& source, const sBlockToRecover& toRecover, DirectoryBytes bytes)
      : block(toRecover),
        directory(bytes),
        file(source),
        window(source),
        looks(source),
        recordsEnd(static_cast<std::int64_t>(toRecover.RecordsBegin())),
        recordsLimit(static_cast<std::int64_t>(toRecover.limit)) {
    result.bytes.assign(bytes.begin(), bytes.end());
    for (std::uint32_t place = 0; place < isf::kItemsPerBlock; ++place) {
      if (FindBrokenRule(Entry(place)).problem == nullptr) {
        used = place + 1;
      }
    }
  }

  [[nodiscard]] std::optional<sMendedDirectory> Mend() {
    std::uint32_t place = 0;
    while (place < used) {
      place = LookAt(place);
    }
    MoveUpTo(used);
    const bool isChanged = result.moved != 0 || result.dropped != 0;
    return isChanged ? std::optional(std::move(result)) : std::nullopt;
  }

 private:
  // Entries whose packets are not where they should be.
  struct sRun {
    std::vector<std::uint32_t> places;
    std::uint32_t next = 0;  // the place behind them, of one that fits again
  };

  [[nodiscard]] isf::sDirectoryEntry Entry(std::uint32_t place) const {
    return EntryAt(directory, place);
  }
  // Where the record of an entry begins at a distance from where the directory has it.
  [[nodiscard]] std::int64_t BeginOf(std::uint32_t place, std::int64_t distance) const {
    return static_cast<std::int64_t>(block.RecordsBegin() + Entry(place).position) + distance;
  }

  // The packet to which an entry leads at a distance; empty where there is none.
  [[nodiscard]] std::span<const std::uint8_t> PacketAt(cByteWindow& bytes, std::uint32_t place,
                                                       std::int64_t distance) {
    const isf::sDirectoryEntry entry = Entry(place);
    const std::int64_t begin = BeginOf(place, distance);
    const auto record = begin < 0
                            ? std::nullopt
                            : bytes.Read(static_cast<std::uint64_t>(begin), entry.RecordSize());
    return record ? record->last(entry.length) : std::span<const std::uint8_t>();
  }

  [[nodiscard]] eFit FitAt(cByteWindow& bytes, std::uint32_t place, std::int64_t distance) {
    const isf::sDirectoryEntry entry = Entry(place);
    if (FindBrokenRule(entry).problem != nullptr) {
      return eFit::CannotTell;
    }
    const std::int64_t begin = BeginOf(place, distance);
    if (begin < recordsEnd || begin + std::int64_t{entry.RecordSize()} > recordsLimit) {
      return eFit::Differs;
    }
    const auto packet = PacketAt(bytes, place, distance);
    return packet.empty() ? eFit::Differs : FitOf(entry, packet);
  }
  // Where the directory has it, whatever was found elsewhere.
  [[nodiscard]] eFit FitInPlace(std::uint32_t place) {
    const isf::sDirectoryEntry entry = Entry(place);
    const bool isEntry = FindBrokenRule(entry).problem == nullptr;
    const auto packet = isEntry ? PacketAt(looks, place, 0) : std::span<const std::uint8_t>();
    return !packet.empty() && IsTypeFor(entry.Type(), packet) ? FitOf(entry, packet)
                                                              : eFit::Differs;
  }

  [[nodiscard]] bool AllFit(std::span<const std::uint32_t> places, std::int64_t distance) {
    return std::all_of(places.begin(), places.end(), [&](std::uint32_t place) {
      return FitAt(looks, place, distance) == eFit::Fits;
    });
  }

  // Returns the place to look at next.
  [[nodiscard]] std::uint32_t LookAt(std::uint32_t place) {
    const eFit fit = FitAt(window, place, displacement);
    if (fit == eFit::Fits) {
      MoveUpTo(place + 1);
      recordsEnd = BeginOf(place, displacement) + std::int64_t{Entry(place).RecordSize()};
      return place + 1;
    }
    if (fit == eFit::CannotTell) {
      return place + 1;
    }
    const sRun run = RunFrom(place);
    recordsLimit =
        run.next < used ? BeginOf(run.next, displacement) : static_cast<std::int64_t>(block.limit);
    earliest = settled != 0 ? TimeAt(settled - 1, displacement).value_or(0) : 0;
    // The time field of the first one that fits may belong to the bytes that do not.
    const std::uint32_t behind = run.next + 1;
    latest = behind < used ? TimeAt(behind, displacement).value_or(kEndOfTime) : kEndOfTime;
    const auto found = FindDistance(run);
    recordsLimit = static_cast<std::int64_t>(block.limit);
    if (found) {
      return GoOnAt(*found);
    }
    if (run.places.size() >= kProof && !IsInOrder(run)) {
      Drop(run.places.front());
      for (std::size_t number = 1; number < run.places.size(); ++number) {
        DropBetween(run.places[number - 1], run.places[number]);
        Drop(run.places[number]);
      }
    }
    return run.next;
  }

  // What any bytes would satisfy is not believed between records that are not there.
  void DropBetween(std::uint32_t last, std::uint32_t next) {
    for (std::uint32_t place = last + 1; place < next; ++place) {
      if (FitAt(looks, place, displacement) == eFit::Fits) {
        return;
      }
    }
    for (std::uint32_t place = last + 1; place < next; ++place) {
      Drop(place);
    }
  }

  // The run ends where the records are in their places again: one alone may only look so.
  [[nodiscard]] sRun RunFrom(std::uint32_t place) {
    sRun run{{}, place};
    std::size_t fitting = 0;
    for (; place < used && fitting < kLongProof; ++place) {
      const eFit fit = FitAt(window, place, displacement);
      if (fit == eFit::Differs) {
        run.places.push_back(place);
        fitting = 0;
      } else if (fit == eFit::Fits && fitting++ == 0) {
        run.next = place;
      }
    }
    run.next = fitting == 0 ? used : run.next;
    return run;
  }

  struct sFoundDistance {
    std::int64_t distance = 0;
    std::uint32_t place = 0;  // of an entry that fits there
  };

  [[nodiscard]] std::optional<sFoundDistance> FindDistance(const sRun& run) {
    const std::span<const std::uint32_t> places = run.places;
    std::optional<sFoundDistance> best;
    // The last records lie before what follows the block, however few they are; but the position of
    // one alone is what is wrong.
    if (block.endsAtLimit && run.next == used && places.size() > 1) {
      const std::int64_t atEnd =
          static_cast<std::int64_t>(block.limit) -
          (BeginOf(used - 1, 0) + std::int64_t{Entry(used - 1).RecordSize()});
      const auto last = places.last(std::min(places.size(), kLongProof));
      if (atEnd != displacement && AllFit(last, atEnd)) {
        best = sFoundDistance{atEnd, FirstAt({atEnd, last.front()})};
        if (best->place - settled <= kFewRecords) {
          return best;
        }
      }
    }
    // Captures repeat themselves: the nearest is the best.
    const auto distanceOf = [this](const sFoundDistance& found) {
      return std::abs(found.distance - displacement);
    };
    std::optional<sFoundDistance> nearest;
    for (std::size_t first = 0; first + kProof <= places.size();
         first = first == 0 ? 1 : 2 * first) {
      const auto some = places.subspan(first, std::min(places.size() - first, kLongProof));
      if (best && some.front() >= best->place) {
        break;
      }
      if (nearest && first > kFewRecords) {
        break;
      }
      const auto distance = Search(some);
      const auto found =
          distance ? std::optional(sFoundDistance{*distance, some.front()}) : std::nullopt;
      if (found && (!nearest || distanceOf(*found) < distanceOf(*nearest))) {
        nearest = found;
      }
    }
    return nearest ? nearest : best;
  }

  // The distance next to the present one at which the records of some entries are.
  [[nodiscard]] std::optional<std::int64_t> Search(std::span<const std::uint32_t> places) {
    if (++searches > kMostSearches) {
      return std::nullopt;
    }
    const isf::sDirectoryEntry entry = Entry(places.front());
    const std::int64_t expected = BeginOf(places.front(), displacement);
    const std::int64_t from = std::max(expected - kReach, recordsEnd);
    const std::int64_t to =
        std::min(expected + kReach + std::int64_t{entry.RecordSize()}, recordsLimit);
    if (from >= to) {
      return std::nullopt;
    }
    around.resize(static_cast<std::size_t>(to - from));
    around.resize(file.ReadAt(static_cast<std::uint64_t>(from), around));
    const auto fits = [&](std::int64_t begin) {
      const std::int64_t packet = begin - from + std::int64_t{entry.HeadSize()};
      return begin >= from && packet + entry.length <= std::ssize(around) &&
             FitOf(entry, std::span(around).subspan(static_cast<std::size_t>(packet),
                                                    entry.length)) == eFit::Fits &&
             AllFit(places, displacement + begin - expected) &&
             IsTimely(places, displacement + begin - expected);
    };
    const std::int64_t farthest = std::max(expected - from, to - expected);
    for (std::int64_t step = 1; step <= farthest; ++step) {
      for (const std::int64_t distance : {-step, step}) {
        if (fits(expected + distance)) {
          return displacement + distance;
        }
      }
    }
    return std::nullopt;
  }

  // Whether times lie between those around: captures repeat themselves.
  [[nodiscard]] bool IsTimely(std::span<const std::uint32_t> places, std::int64_t distance) {
    return TimeAt(places.front(), distance).value_or(earliest) >= earliest &&
           TimeAt(places.back(), distance).value_or(latest) <= latest;
  }

  // The first entry that fits at a distance, with all behind it up to one that is known to.
  [[nodiscard]] std::uint32_t FirstAt(const sFoundDistance& found) {
    std::uint32_t first = found.place;
    for (std::uint32_t place = found.place; place-- > settled;) {
      const eFit fit = FitAt(looks, place, found.distance);
      if (fit == eFit::Differs) {
        break;
      }
      first = fit == eFit::Fits ? place : first;
    }
    return first;
  }

  // Goes on at a distance. What lies where it should, up to the change, stays.
  [[nodiscard]] std::uint32_t GoOnAt(const sFoundDistance& found) {
    const std::uint32_t back = found.distance == 0 ? FirstInPlace(found.place) : used;
    if (back < settled) {
      PutBack(back);
      return back;
    }
    const sChangePlace change =
        FindChange(file, {directory, block.RecordsBegin(), block.baseTime, settled, found.place + 1,
                          displacement, found.distance});
    if (displacement == 0) {
      left = change;
    }
    MoveUpTo(change.before);
    for (std::uint32_t place = change.before; place < change.after; ++place) {
      Drop(place);
    }
    if (change.before < change.after) {
      // Their packets may look whole.
      result.spliced.push_back(PlaceOf(change.before, displacement));
      result.spliced.push_back(PlaceOf(change.after - 1, found.distance));
    }
    displacement = found.distance;
    settled = change.after;
    if (change.after < used) {
      recordsEnd = BeginOf(change.after, displacement);
    }
    return change.after;
  }

  // Where the records are in their places again, some in front may be so too: they were found
  // elsewhere only because others were overwritten with copies of them.
  [[nodiscard]] std::uint32_t FirstInPlace(std::uint32_t place) {
    std::uint32_t first = place;
    for (; place != 0 && FitInPlace(place - 1) != eFit::Differs; --place) {
      first = FitInPlace(place - 1) == eFit::Fits ? place - 1 : first;
    }
    return first;
  }

  // Takes back that the entries from one on lead elsewhere: some bytes were overwritten with a copy
  // of others, and none removed. So the last records in front of them are whole too, and the last
  // copy unless it is longer than the way to what it is a copy of.
  void PutBack(std::uint32_t first) {
    for (std::uint32_t place = first; place < settled; ++place) {
      Keep(place);
    }
    result.moved -= std::min(result.moved, settled - first);
    if (first != 0 && Entry(first - 1).RecordSize() > std::abs(displacement)) {
      Drop(first - 1);
      result.spliced.push_back(PlaceOf(first - 1, displacement));
    }
    for (std::uint32_t place = left.before; place < left.after; ++place) {
      if (FitInPlace(place) == eFit::Differs) {
        break;
      }
      Keep(place);
    }
    displacement = 0;
    settled = first;
    recordsEnd = BeginOf(first, 0);
  }
  [[nodiscard]] std::uint64_t PlaceOf(std::uint32_t place, std::int64_t distance) const {
    return static_cast<std::uint64_t>(BeginOf(place, distance));
  }

  [[nodiscard]] std::optional<std::uint64_t> TimeAt(std::uint32_t place, std::int64_t distance) {
    const isf::sDirectoryEntry entry = Entry(place);
    const std::int64_t begin = BeginOf(place, distance);
    const auto bytes =
        begin < 0 ? std::nullopt : looks.Read(static_cast<std::uint64_t>(begin), entry.HeadSize());
    if (!bytes) {
      return std::nullopt;
    }
    const isf::sRecordHead head = isf::LoadRecordHead(entry, block.baseTime, *bytes);
    const bool isGood = FindBrokenRule(entry, head, place, block.baseTime).problem == nullptr;
    return isGood ? std::optional(head.time) : std::nullopt;
  }

  // Moves the entries up to one that fits to where their records are.
  void MoveUpTo(std::uint32_t end) {
    for (; settled < end; ++settled) {
      isf::sDirectoryEntry entry = Entry(settled);
      if (displacement == 0 || dropped.test(settled) || FindBrokenRule(entry).problem != nullptr) {
        continue;
      }
      entry.position = static_cast<std::uint32_t>(entry.position + displacement);
      Store(settled, entry);
      ++result.moved;
    }
  }

  void Keep(std::uint32_t place) {
    Store(place, Entry(place));
    dropped.reset(place);
  }

  void Drop(std::uint32_t place) {
    Store(place, kNoEntry);
    dropped.set(place);
    ++result.dropped;
  }

  void Store(std::uint32_t place, const isf::sDirectoryEntry& entry) {
    const auto bytes = isf::StoreDirectoryEntry(entry);
    std::copy(bytes.begin(), bytes.end(),
              result.bytes.begin() + std::ptrdiff_t{place} * isf::kDirectoryEntrySize);
  }

  // Whether the times of records that hold other packets than they should are in order: only the
  // packets are odd then.
  [[nodiscard]] bool IsInOrder(const sRun& run) {
    std::uint64_t time = block.baseTime;
    for (const std::uint32_t place : run.places) {
      const auto own = TimeAt(place, displacement);
      if (own.value_or(0) < time) {
        return false;
      }
      time = *own;
    }
    return true;
  }

  const sBlockToRecover& block;
  DirectoryBytes directory;
  cByteSource& file;
  cByteWindow window;  // for what is read in order
  cByteWindow looks;   // for looks here and there
  std::vector<std::uint8_t> around;
  std::bitset<isf::kItemsPerBlock> dropped;
  std::uint32_t used = 0;         // behind the last entry that can be one
  std::uint32_t settled = 0;      // behind the last entry that is where it should be, or was moved
  std::int64_t displacement = 0;  // of the records from there on
  sChangePlace left;              // where they are in their places no longer
  std::int64_t recordsEnd;        // file position behind the last one that fits
  std::int64_t recordsLimit;      // file position before which records are looked for
  std::uint64_t earliest = 0;     // between these are the times of records that are looked for
  std::uint64_t latest = kEndOfTime;
  int searches = 0;
  sMendedDirectory result;
};

}  // namespace

std::optional<sMendedDirectory> MendDisplacedEntries(cByteSource& source,
                                                     const sBlockToRecover& block,
                                                     DirectoryBytes directory) {
  return cDisplacement(source, block, directory).Mend();
}

}  // namespace corvane
