#include "rewrite/block_recovery.h"

#include <algorithm>
#include <bitset>
#include <limits>
#include <utility>

#include "diag/little_endian.h"
#include "diag/packets.h"
#include "reader/directory.h"
#include "rewrite/damaged_directory.h"
#include "rewrite/record_guess.h"
#include "rewrite/record_proof.h"

namespace corvane {
namespace {

using DirectoryBytes = std::span<const std::uint8_t, isf::kDirectorySize>;

constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();
// So many records in a row that tell their own lengths are no accident.
constexpr int kRecordsInARow = 3;
constexpr std::uint32_t kNoPlace = isf::kItemsPerBlock;

class cBlockRecovery {
 public:
  cBlockRecovery(cByteSource& source, const sBlockToRecover& toRecover, DirectoryBytes bytes)
      : block(toRecover), directory(bytes), window(source), looks(source) {
    judged = JudgeDamagedDirectory(
        directory,
        {block.offset, block.baseTime, block.limit, block.endsAtLimit ? block.limit : 0,
         block.endsAtLimit && block.items == isf::kItemsPerBlock},
        source);
  }

  [[nodiscard]] sRecoveredBlock Recover() {
    FindSound();
    lastTime = block.baseTime;
    result.end = block.RecordsBegin();
    std::uint32_t place = 0;
    for (;;) {
      const std::uint32_t sure = NextSound(place);
      if (sure == Places()) {
        RecoverEnd(place);
        return std::move(result);
      }
      const isf::sDirectoryEntry entry = Entry(sure);
      if (sure != place || BeginOf(entry) != result.end) {
        RecoverBetween(place, sure);
      }
      Accept(WithFittingType(sure), TimeOf(entry));
      place = sure + 1;
    }
  }

 private:
  struct sStretch {
    std::uint64_t end = 0;  // file position
    bool isEndSure = false;
    std::uint32_t place = 0;      // of the first item that may be in it
    std::uint32_t placesEnd = 0;  // behind the last one that may
    bool isCountSure = false;     // there are as many items in it as places
    std::uint64_t latest = 0;     // the time of the item behind it
  };

  [[nodiscard]] isf::sDirectoryEntry Entry(std::uint32_t place) const {
    return EntryAt(directory, place);
  }
  [[nodiscard]] bool IsUsed(std::uint32_t place) const {
    return place < isf::kItemsPerBlock && Entry(place) != isf::sDirectoryEntry{};
  }
  [[nodiscard]] std::uint64_t BeginOf(const isf::sDirectoryEntry& entry) const {
    return block.RecordsBegin() + entry.position;
  }
  [[nodiscard]] std::uint64_t EndOf(const isf::sDirectoryEntry& entry) const {
    return BeginOf(entry) + entry.RecordSize();
  }
  [[nodiscard]] std::uint32_t Places() const { return judged.entries; }

  // The places after the last good entry are counted by the trailer or the block behind, if any.
  [[nodiscard]] bool IsLastPlace(std::uint32_t place) const {
    return block.endsAtLimit && block.items == place + 1;
  }

  [[nodiscard]] std::optional<isf::sRecordHead> HeadOf(const isf::sDirectoryEntry& entry) {
    const auto bytes = window.Read(BeginOf(entry), entry.HeadSize());
    return bytes ? std::optional(isf::LoadRecordHead(entry, block.baseTime, *bytes)) : std::nullopt;
  }
  [[nodiscard]] std::uint64_t TimeOf(const isf::sDirectoryEntry& entry) {
    const auto head = HeadOf(entry);
    return head ? head->time : lastTime;
  }

  // Which entries are relied on.
  void FindSound() {
    std::uint64_t end = block.RecordsBegin();  // of the record before
    for (std::uint32_t place = 0; place < judged.entries; ++place) {
      if (!judged.good.test(place)) {
        continue;
      }
      const isf::sDirectoryEntry entry = Entry(place);
      const bool isBehindLast = BeginOf(entry) == end;
      const bool isVouchedFor = isBehindLast && EndsAtNext(place, entry);
      const bool mayTellWrong = isBehindLast && MayEndUnfinished(place, entry);
      sound.set(place,
                !EndsTooEarly(place, entry) && IsRecord(place, entry, isVouchedFor, mayTellWrong));
      end = EndOf(entry);
    }
  }

  // Whether the recorder can have written the record to which an entry leads. Where its neighbours
  // do not vouch for its beginning and its end, the packet has to; but a modem may tell a wrong
  // length, as long as the entry explains all that the file has.
  [[nodiscard]] bool IsRecord(std::uint32_t place, const isf::sDirectoryEntry& entry,
                              bool isVouchedFor, bool mayTellWrong) {
    const auto record = window.Read(BeginOf(entry), entry.RecordSize());
    if (!record || (!isVouchedFor && !(IsTypeFor(entry.Type(), record->last(entry.length)) &&
                                       FitsOwnLength(entry, mayTellWrong)))) {
      return false;
    }
    const isf::sRecordHead head = isf::LoadRecordHead(entry, block.baseTime, *record);
    // The rules of time fields hold for the block's own base time, which may be the one that is
    // wrong.
    return isVouchedFor ? FindBrokenRule(entry).problem == nullptr && head.time <= isf::kLatestTime
                        : FindBrokenRule(entry, head, place, block.baseTime).problem == nullptr;
  }

  // Whether the bytes behind the last record can be the beginning of one, or of a block, that was
  // being written when the recorder died: no entry leads to it yet.
  [[nodiscard]] bool MayEndUnfinished(std::uint32_t place,
                                      const isf::sDirectoryEntry& entry) const {
    const bool isBlockFull = place + 1 == isf::kItemsPerBlock;
    return !block.endsAtLimit && !block.items && place + 1 == judged.entries &&
           block.limit - EndOf(entry) <= (isBlockFull ? isf::kBlockSize : kLongestRecord);
  }

  // Whether a packet that tells its own length agrees with its entry. If it may tell a wrong one,
  // it is believed only where the bytes end with it.
  [[nodiscard]] bool FitsOwnLength(const isf::sDirectoryEntry& entry, bool mayTellWrong) {
    const std::uint64_t packet = BeginOf(entry) + entry.HeadSize();
    const auto bytes = looks.Read(packet, static_cast<std::size_t>(std::min<std::uint64_t>(
                                              block.limit - packet, isf::kLongestPacket)));
    const std::size_t length = bytes ? OwnLength(*bytes).value_or(entry.length) : entry.length;
    return length == entry.length || (mayTellWrong && packet + length != block.limit);
  }

  // Where the record behind that of an entry begins, as far as it is known.
  [[nodiscard]] std::optional<std::uint64_t> NextOf(std::uint32_t place) const {
    if (IsLastPlace(place)) {
      return block.limit;
    }
    const bool isNextGood = place + 1 < judged.entries && judged.good.test(place + 1);
    return isNextGood ? std::optional(BeginOf(Entry(place + 1))) : std::nullopt;
  }

  // Records follow each other without a gap. Where one is, this record's length or time field may
  // be taken for shorter than they are.
  [[nodiscard]] bool EndsTooEarly(std::uint32_t place, const isf::sDirectoryEntry& entry) const {
    return EndOf(entry) != NextOf(place).value_or(EndOf(entry));
  }
  [[nodiscard]] bool EndsAtNext(std::uint32_t place, const isf::sDirectoryEntry& entry) const {
    return EndOf(entry) == NextOf(place).value_or(block.limit);
  }

  [[nodiscard]] std::uint32_t NextSound(std::uint32_t place) const {
    while (place < Places() && !sound.test(place)) {
      ++place;
    }
    return place;
  }

  // The entry with the type that its packet tells, where its own is none for such a packet and all
  // else agrees. In a complete file the types agree with all else, too.
  [[nodiscard]] isf::sDirectoryEntry WithFittingType(std::uint32_t place) {
    const isf::sDirectoryEntry entry = Entry(place);
    const auto record = window.Read(BeginOf(entry), entry.RecordSize());
    if (!record) {
      return entry;
    }
    const auto packet = record->last(entry.length);
    if (block.keepsTypes ? IsAsRecorded(isf::LoadRecordHead(entry, block.baseTime, *record), packet)
                         : IsTypeFor(entry.Type(), packet)) {
      return entry;
    }
    const std::uint32_t type = FittingType(entry.Type(), packet).value_or(entry.Type());
    if (block.keepsTypes || type == entry.Type() ||
        (entry.HasExtra() && type != isf::kSignallingLogItem)) {
      result.unfit.Add({BeginOf(entry), block.firstNumber + place});
      return entry;
    }
    ++result.proven;
    return {isf::EntryFlags(type, entry.WidthCode(), entry.HasExtra()), entry.position,
            entry.length};
  }

  void Accept(const isf::sDirectoryEntry& entry, std::uint64_t time) {
    result.records.push_back({BeginOf(entry), entry});
    result.end = EndOf(entry);
    lastTime = time;
  }

  // Between two records that are relied on there are as many items as entries.
  void RecoverBetween(std::uint32_t place, std::uint32_t sure) {
    const isf::sDirectoryEntry entry = Entry(sure);
    RecoverStretch({BeginOf(entry), true, place, sure, true, TimeOf(entry)});
  }

  void RecoverEnd(std::uint32_t place) {
    if (place == isf::kItemsPerBlock) {
      return;  // what follows is none of the block's
    }
    const std::uint32_t placesEnd = std::max(place, block.items.value_or(isf::kItemsPerBlock));
    RecoverStretch({block.limit, block.endsAtLimit, place, placesEnd, false, kNever});
  }

  void RecoverStretch(const sStretch& stretch) {
    const std::size_t recordsBefore = result.records.size();
    const std::uint32_t provenBefore = result.proven;
    const std::uint64_t endBefore = result.end;
    const std::uint64_t timeBefore = lastTime;
    FindHints(stretch);
    onlyAsEntered = false;
    sLostItems lost = TakeApart(stretch);
    const std::size_t found = result.records.size() - recordsBefore;
    const std::size_t places = stretch.placesEnd - stretch.place;
    if (stretch.isCountSure && result.proven != provenBefore &&
        (found > places || (found < places && lost.bytes == 0))) {
      // Something was taken for a record that is none.
      result.records.resize(recordsBefore);
      result.proven = provenBefore;
      result.end = endBefore;
      lastTime = timeBefore;
      onlyAsEntered = true;
      lost = TakeApart(stretch);
    }
    CountLost(stretch, result.records.size() - recordsBefore, lost);
  }

  void CountLost(const sStretch& stretch, std::size_t found, sLostItems lost) {
    std::uint32_t expected = 0;
    if (stretch.isCountSure) {
      expected = stretch.placesEnd - stretch.place;
    } else {
      // Entries behind an unused one are no items' unless something counts them.
      while (stretch.place + expected < stretch.placesEnd && IsUsed(stretch.place + expected)) {
        ++expected;
      }
      if (block.items && lost.bytes != 0) {
        expected = stretch.placesEnd - stretch.place;
      }
    }
    lost.places = expected;
    lost.items = expected > found ? expected - found : 0;
    if (lost.items != 0 || lost.bytes != 0) {
      result.losses.push_back(lost);
    }
  }

  // The entries of a stretch that fit the records to which they point.
  void FindHints(const sStretch& stretch) {
    hinted.clear();
    for (std::uint32_t place = stretch.place; place < stretch.placesEnd; ++place) {
      const isf::sDirectoryEntry entry = Entry(place);
      const std::uint64_t begin = BeginOf(entry);
      if (entry.length == 0 || begin < result.end || EndOf(entry) > stretch.end) {
        continue;
      }
      const auto guess = GuessRecord(looks, HintsAt(begin, place, stretch));
      if (guess && guess->isAsEntered &&
          (guess->endsAtNext || guess->tellsLength || guess->isTimely)) {
        hinted.push_back({begin, place});
      }
    }
    std::sort(hinted.begin(), hinted.end());
  }

  [[nodiscard]] sRecordHints HintsAt(std::uint64_t offset, std::uint32_t place,
                                     const sStretch& stretch) const {
    sRecordHints hints;
    hints.offset = offset;
    hints.limit = stretch.end;
    hints.blockEnd = block.RecordsBegin();
    hints.baseTime = block.baseTime;
    hints.earliest = lastTime;
    hints.latest = stretch.latest;
    if (place >= stretch.placesEnd) {
      return hints;
    }
    hints.place = place;
    if (IsUsed(place)) {
      hints.entry = Entry(place);
    }
    if (place + 1 == stretch.placesEnd && (stretch.isCountSure || IsLastPlace(place))) {
      hints.next = stretch.end;
      hints.isNextSure = true;
    } else if (place + 1 < stretch.placesEnd && IsUsed(place + 1)) {
      hints.next = BeginOf(Entry(place + 1));
      hints.isNextSure = EndsWhereNextBegins(place + 1, stretch);
    }
    return hints;
  }

  // Whether an entry agrees with the one behind it.
  [[nodiscard]] bool EndsWhereNextBegins(std::uint32_t place, const sStretch& stretch) const {
    const std::uint64_t end = EndOf(Entry(place));
    if (place + 1 == stretch.placesEnd && stretch.isCountSure) {
      return end == stretch.end;
    }
    return IsUsed(place + 1) && BeginOf(Entry(place + 1)) == end;
  }

  // Takes a stretch apart from its beginning on. Returns the bytes that are lost.
  [[nodiscard]] sLostItems TakeApart(const sStretch& stretch) {
    sLostItems lost{result.end, 0, 0, block.firstNumber + stretch.place, 0};
    std::uint32_t place = stretch.place;
    while (result.end < stretch.end && result.records.size() < isf::kItemsPerBlock) {
      place = PlaceAt(result.end, place);
      const auto guess = GuessRecord(window, HintsAt(result.end, place, stretch));
      if (guess && (guess->isAsEntered || !onlyAsEntered) &&
          std::count(block.spliced.begin(), block.spliced.end(), result.end) == 0) {
        result.proven += guess->isAsEntered ? 0U : 1U;
        Accept(guess->entry, guess->time);
        place += place < kNoPlace ? 1U : 0U;
        continue;
      }
      const std::uint64_t next = NextRecord(stretch, place);
      if (lost.bytes == 0) {
        lost.offset = result.end;
      }
      lost.bytes += next - result.end;
      result.end = next;
      place = kNoPlace;
    }
    return lost;
  }

  // The place of the record at `offset`, as far as it is known.
  [[nodiscard]] std::uint32_t PlaceAt(std::uint64_t offset, std::uint32_t expected) const {
    const auto at = std::lower_bound(hinted.begin(), hinted.end(), std::pair(offset, 0u));
    return at != hinted.end() && at->first == offset ? at->second : expected;
  }

  // Where the next record begins behind one that was lost, or the end of the stretch.
  [[nodiscard]] std::uint64_t NextRecord(const sStretch& stretch, std::uint32_t place) {
    const auto hint = std::find_if(
        std::upper_bound(hinted.begin(), hinted.end(), std::pair(result.end, kNoPlace)),
        hinted.end(),
        [place](const auto& one) { return place == kNoPlace || one.second >= place; });
    const std::uint64_t end = hint != hinted.end() ? hint->first : stretch.end;
    const bool isEndSure = hint != hinted.end() || stretch.isEndSure;
    // A packet that begins close behind is that of the record that was lost, whose head is wrong.
    for (std::uint64_t offset = result.end + isf::kLongestRecordHead;
         offset < end && !onlyAsEntered; ++offset) {
      if (!MayBeginPacket(offset)) {
        continue;
      }
      if (const auto row = FirstInRow(offset, end, isEndSure, stretch)) {
        return IsOnlyHead(offset, *row, end, isEndSure, stretch) ? offset
                                                                 : offset + row->RecordSize();
      }
    }
    return end;
  }

  // A quick look: whether a packet that tells its own length may stand behind a record head here.
  [[nodiscard]] bool MayBeginPacket(std::uint64_t offset) {
    const auto bytes = looks.Read(offset, isf::kLongestRecordHead + 1);
    if (!bytes) {
      return true;
    }
    const auto isCode = [](std::uint8_t code) {
      return code == command::kLog || command::IsEventReport(code) ||
             code == command::kExtendedMessage || code == command::kTerseMessage ||
             code == static_cast<std::uint8_t>(isf::kTextItemHeader);
    };
    return std::any_of(bytes->begin() + 1, bytes->end(), isCode);
  }

  // The first of several records that tell their own lengths and follow each other from here on, up
  // to `end` or for long enough; nothing where there are none.
  [[nodiscard]] std::optional<isf::sDirectoryEntry> FirstInRow(std::uint64_t offset,
                                                               std::uint64_t end, bool isEndSure,
                                                               const sStretch& stretch) {
    sStretch row = stretch;
    row.end = end;
    std::optional<isf::sDirectoryEntry> first;
    std::uint64_t time = lastTime;
    for (int records = 0; records < kRecordsInARow; ++records) {
      const auto guess = GuessRecord(looks, HintsAt(offset, kNoPlace, row));
      if (!guess || !guess->tellsLength || !guess->isTimely || (first && guess->time < time) ||
          (!first && IsInsideResponse(offset + guess->entry.HeadSize()))) {
        return std::nullopt;
      }
      first = first ? first : guess->entry;
      time = guess->time;
      offset += guess->entry.RecordSize();
      if (offset == end && isEndSure) {
        // Where the times around are in no order, fewer records have nothing to be held to.
        return lastTime <= stretch.latest ? first : std::nullopt;
      }
    }
    return first;
  }

  // Nothing tells where the first record of a row begins but its packet: whether no shorter head is
  // as good. Otherwise its time is not known.
  [[nodiscard]] bool IsOnlyHead(std::uint64_t offset, const isf::sDirectoryEntry& record,
                                std::uint64_t end, bool isEndSure, const sStretch& stretch) {
    const std::uint64_t packet = offset + record.HeadSize();
    for (std::uint64_t other = offset + 1; other < packet; ++other) {
      const auto row = FirstInRow(other, end, isEndSure, stretch);
      if (row && other + row->HeadSize() == packet) {
        return false;
      }
    }
    return true;
  }

  // A response of the debug subsystem that hands over a packet looks as if a record began in it.
  [[nodiscard]] bool IsInsideResponse(std::uint64_t packet) {
    if (packet < block.RecordsBegin() + get_item::kPacket) {
      return false;
    }
    const auto bytes = looks.Read(packet - get_item::kPacket, get_item::kPacket);
    return bytes && command::IsSubsystem((*bytes)[0]) &&
           (*bytes)[subsystem::kId] == subsystem::kDebugSubsystem &&
           Load16(&(*bytes)[subsystem::kCommand]) == subsystem::kGetItemCommand;
  }

  const sBlockToRecover& block;
  DirectoryBytes directory;
  cByteWindow window;  // for what is read in order
  cByteWindow looks;   // for looks here and there
  sJudgedDirectory judged;
  std::bitset<isf::kItemsPerBlock> sound;
  std::vector<std::pair<std::uint64_t, std::uint32_t>> hinted;  // begin and place
  bool onlyAsEntered = false;  // no record is taken that its entry does not lead to
  std::uint64_t lastTime = 0;
  sRecoveredBlock result;
};

}  // namespace

sRecoveredBlock RecoverBlock(cByteSource& source, const sBlockToRecover& block,
                             DirectoryBytes directory) {
  return cBlockRecovery(source, block, directory).Recover();
}

}  // namespace corvane
