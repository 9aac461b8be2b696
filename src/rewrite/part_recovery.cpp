#include "rewrite/part_recovery.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "capture/isf/item_types.h"
#include "reader/closing_remains.h"
#include "reader/directory.h"
#include "rewrite/base_time_choice.h"
#include "rewrite/block_search.h"
#include "rewrite/displaced_entries.h"
#include "rewrite/loss_text.h"
#include "rewrite/moved_block.h"
#include "rewrite/record_proof.h"

namespace corvane {
namespace {

// The base time that an index has for a block that is its entry `number`.
[[nodiscard]] std::optional<std::uint64_t> TimeIn(cBlockIndex& found, std::uint64_t number,
                                                  const sCaptureBlock& block) {
  const auto entry =
      number < found.BlockCount() ? found.Entry(*found.Offset(), number) : std::nullopt;
  const bool isIt = entry && entry->blockOffset == block.offset;
  return isIt ? std::optional(entry->baseTime) : std::nullopt;
}

}  // namespace

cPartRecovery::cPartRecovery(cByteSource& source, const sPartPlace& place,
                             const RecoveredItemTaker& taker, sRecoveryReport& result)
    : part(source, place.origin, place.end),
      rest(source, place.origin, place.fileEnd),
      origin(place.origin),
      size(place.end - place.origin),
      isWhole(place.firstBlock == isf::kHeaderSize),
      isFollowed(place.isFollowed),
      chain(part, place.firstBlock),
      take(taker),
      report(result) {
  chain.Advance();
  if (!chain.Blocks().empty()) {
    std::array<std::uint8_t, isf::kBlockTailSize> tail{};
    const std::uint64_t offset = chain.Blocks().back().offset + isf::kDirectorySize;
    lastLink = part.ReadAt(offset, tail) == tail.size() ? isf::LoadBlockTail(tail).nextBlock : 0;
  }
  FindOwnIndex();
}

bool cPartRecovery::Recover() {
  const auto& blocks = chain.Blocks();
  for (std::size_t number = 0; number < blocks.size(); ++number) {
    if (!RecoverOne(number)) {
      return false;
    }
  }
  LoseBlockBehind();
  LoseBehindTrailer();
  return true;
}

std::optional<std::uint64_t> cPartRecovery::FindNextPart() {
  const auto& blocks = chain.Blocks();
  for (std::size_t number = 1; number < blocks.size(); ++number) {
    if (ProvesBlock(part, size, blocks[number].offset)) {
      continue;
    }
    const auto found = FindBlock(part, size, ProvenEnd(number - 1));
    if (found && !IsBlockOfChain(*found)) {
      return origin + *found;
    }
    // Only its head was overwritten, and those of the blocks before the one that was found.
    while (number + 1 < blocks.size() && (!found || blocks[number + 1].offset < *found)) {
      ++number;
    }
  }
  const bool isClosed = index && *index->Offset() == chain.End() &&
                        index->TrailerOffset() + isf::kTrailerSize == size;
  if (blocks.empty() || isClosed) {
    return std::nullopt;
  }
  const auto found = FindBlock(part, size, ProvenEnd(blocks.size() - 1));
  return found ? std::optional(origin + *found) : std::nullopt;
}

bool cPartRecovery::IsBlockOfChain(std::uint64_t offset) const {
  return std::any_of(chain.Blocks().begin(), chain.Blocks().end(),
                     [offset](const sCaptureBlock& block) { return block.offset == offset; });
}

// Behind the last record of a block whose packet tells its own length; where bytes were removed,
// the records behind it lie before the place to which the directory leads.
std::uint64_t cPartRecovery::ProvenEnd(std::size_t number) {
  const sCaptureBlock& block = chain.Blocks()[number];
  const std::uint64_t begin = block.offset + isf::kBlockSize;
  std::vector<std::uint8_t> bytes(isf::kDirectorySize);
  if (part.ReadAt(block.offset, bytes) != bytes.size()) {
    return begin;
  }
  std::vector<std::uint8_t> record;
  for (std::uint32_t place = isf::kItemsPerBlock; place-- > 0;) {
    const isf::sDirectoryEntry entry =
        EntryAt(std::span<const std::uint8_t, isf::kDirectorySize>(bytes), place);
    record.resize(FindBrokenRule(entry).problem == nullptr ? entry.RecordSize() : 0);
    if (record.empty() || part.ReadAt(begin + entry.position, record) != record.size()) {
      continue;
    }
    const auto packet = std::span<const std::uint8_t>(record).last(entry.length);
    if (IsTypeFor(entry.Type(), packet) && OwnLength(packet) == packet.size()) {
      return begin + entry.position + entry.RecordSize();
    }
  }
  return begin;
}

// Whether the block that stands at the end of the part is the one that the last block names, which
// then is somewhere else than it was.
bool cPartRecovery::IsNextDisplaced() {
  const sCaptureBlock& last = chain.Blocks().back();
  if (!isFollowed || last.entries < isf::kItemsPerBlock || lastLink == 0) {
    return false;
  }
  // Where the link cannot be right, there is no room for another block between them.
  return (IsLinkPossible() ? lastLink : chain.End()) + isf::kBlockSize > size;
}

bool cPartRecovery::IsLinkPossible() {
  return lastLink >= chain.Blocks().back().offset + isf::kBlockSize &&
         lastLink < rest.Size().value_or(0);
}

// The block index that the part ends in, if it has the last block.
void cPartRecovery::FindOwnIndex() {
  if (chain.Blocks().empty()) {
    return;
  }
  index = cBlockIndex::Find(part, size);
  if (!index || !IsOfLastBlock(*index)) {
    index = FindIndexAt(part, chain.End(), chain.Blocks().back().number + 1);
  }
  if (index && !IsOfLastBlock(*index)) {
    index.reset();
  }
}

// What is neither of the capture nor another one without items.
void cPartRecovery::LoseBehindTrailer() {
  const std::uint64_t end = index ? index->TrailerOffset() + isf::kTrailerSize : size;
  std::array<std::uint8_t, isf::kHeaderSize> header{};
  const bool isCapture = size - end == isf::kHeaderSize + isf::kTrailerSize &&
                         part.ReadAt(end, header) == header.size() && isf::IsHeader(header);
  if (end != size && !isCapture) {
    report.losses.Add({Count(size - end, "byte") + " behind the trailer belong" +
                           (size - end == 1 ? "s" : "") + " to no item",
                       origin + end});
    report.lostBytes += size - end;
  }
}

bool cPartRecovery::IsOfLastBlock(cBlockIndex& found) {
  const sCaptureBlock& last = chain.Blocks().back();
  const std::uint64_t offset = found.Offset().value_or(0);
  if (found.BlockCount() == 0 || offset < last.offset + isf::kBlockSize) {
    return false;
  }
  const auto entry = found.Entry(offset, found.BlockCount() - 1);
  if (!entry || entry->blockOffset != last.offset) {
    return false;
  }
  // With the right count, at the right place, it is believed rather than a last directory entry
  // that points into it.
  return isWhole ? found.BlockCount() == last.number + 1 && found.Trailer().zero == 0
                 : offset >= chain.End();
}

std::optional<std::uint64_t> cPartRecovery::IndexedTime(const sCaptureBlock& block) {
  if (index) {
    // Where the chain began anew its own numbers are others.
    return TimeIn(*index, index->BlockCount() - 1 - (chain.Blocks().back().number - block.number),
                  block);
  }
  if (!isWhole) {
    return std::nullopt;
  }
  // The chain broke off: the index of the whole capture is behind another part.
  auto whole = FindIndex(rest, rest.Size().value_or(0));
  return whole ? TimeIn(*whole, block.number, block) : std::nullopt;
}

bool cPartRecovery::RecoverOne(std::size_t number) {
  const sCaptureBlock& block = chain.Blocks()[number];
  auto bytes = std::make_unique<std::array<std::uint8_t, isf::kBlockSize>>();
  if (part.ReadAt(block.offset, *bytes) != bytes->size()) {
    Lose({block.offset, isf::kBlockSize, 0, 0, 0});
    return true;
  }
  const auto all = std::span<const std::uint8_t, isf::kBlockSize>(*bytes);
  auto directory = all.first<isf::kDirectorySize>();
  isf::sBlockTail tail = isf::LoadBlockTail(all.last<isf::kBlockTailSize>());
  sBlockToRecover wanted;
  wanted.offset = block.offset;
  const auto moved =
      IsLikelyTime(tail.baseTime) ? std::nullopt : FindMovedBlock(part, block.offset);
  if (moved) {
    const bool isTimeSure = moved->isEntryChanged || IndexedTime(block);
    (isTimeSure ? report.mended : report.losses)
        .Add({std::string("bytes were removed from the block's directory or put in: what is behind "
                          "them is read where it stands now") +
                  (isTimeSure ? "" : "; its base time may be wrong"),
              origin + block.offset});
    wanted.offset = moved->offset;
    directory = std::span<const std::uint8_t, isf::kDirectorySize>(moved->directory);
    tail = moved->tail;
  }
  wanted.keepsTypes = report.state == eCaptureState::Complete;
  wanted.firstNumber = block.number * isf::kItemsPerBlock;
  Surround(number, wanted);
  const auto baseTime = ChooseTime(number, tail, wanted, directory);
  if (!baseTime) {
    LoseBlock(block, wanted);
    return true;
  }
  wanted.baseTime = *baseTime;
  const sRecoveredBlock found = RecoverRecords(wanted, directory);
  report.proven += found.proven;
  TellUnfit(found.unfit);
  recordsEnd = found.end;
  const bool goesOn = HandOver(found, *baseTime);
  for (const sLostItems& lost : found.losses) {
    if (!IsUnfinished(number, wanted, lost)) {
      Lose(lost);
    }
  }
  LoseBehind(number, found.end);
  return goesOn;
}

sRecoveredBlock cPartRecovery::RecoverRecords(
    const sBlockToRecover& wanted, std::span<const std::uint8_t, isf::kDirectorySize> directory) {
  // Fewer packets of other types than their items' are no sign of bytes that were moved.
  constexpr std::uint32_t kManyUnfit = 3;
  sRecoveredBlock found = RecoverBlock(part, wanted, directory);
  if (wanted.keepsTypes || (found.unfit.count < kManyUnfit && found.losses.empty())) {
    return found;
  }
  const auto mended = MendDisplacedEntries(part, wanted, directory);
  if (!mended) {
    return found;
  }
  if (mended->moved != 0) {
    report.mended.Add({Count(mended->moved, "item") + " of the block" +
                           (mended->moved == 1 ? " is" : " are") +
                           " not where the directory leads: bytes were removed or put in",
                       origin + wanted.offset});
  }
  sBlockToRecover again = wanted;
  again.spliced = mended->spliced;
  return RecoverBlock(part, again, mended->Bytes());
}

// What is known of the block's records and items.
void cPartRecovery::Surround(std::size_t number, sBlockToRecover& wanted) {
  const auto& blocks = chain.Blocks();
  const sCaptureBlock& block = blocks[number];
  wanted.limit = size;
  if (number + 1 < blocks.size()) {
    const bool isNext = blocks[number + 1].number == block.number + 1;
    wanted.limit = isNext ? blocks[number + 1].offset : block.end;
    wanted.endsAtLimit = isNext;
    if (isNext) {
      wanted.items = isf::kItemsPerBlock;
    }
  } else if (index) {
    wanted.limit = *index->Offset();
    wanted.endsAtLimit = true;
    const std::uint64_t before = (index->BlockCount() - 1) * isf::kItemsPerBlock;
    const auto items = static_cast<std::uint32_t>(index->Trailer().itemCount - before);
    // A trailer that counts fewer items than the directory leads to is wrong.
    if (items >= block.items) {
      wanted.items = items;
    }
  } else if (IsNextDisplaced()) {
    wanted.items = isf::kItemsPerBlock;
    wanted.endsAtLimit = true;
  }
}

std::optional<std::uint64_t> cPartRecovery::ChooseTime(
    std::size_t number, const isf::sBlockTail& tail, const sBlockToRecover& wanted,
    std::span<const std::uint8_t, isf::kDirectorySize> directory) {
  const auto& blocks = chain.Blocks();
  const sCaptureBlock& block = blocks[number];
  const auto timeOf = [&blocks](std::size_t other) {
    const bool isKnown = other < blocks.size() && IsLikelyTime(blocks[other].baseTime);
    return isKnown ? std::optional(blocks[other].baseTime) : std::nullopt;
  };
  sBaseTimeEvidence evidence;
  evidence.own = tail.baseTime;
  evidence.indexed = IndexedTime(block);
  evidence.before = number != 0 ? timeOf(number - 1) : std::nullopt;
  evidence.after = timeOf(number + 1);
  evidence.isOfCompleteFile = wanted.keepsTypes;
  evidence.hasItems = block.items != 0;
  evidence.byModem = [&] { return BaseTimeByModem(part, wanted, directory); };
  const sChosenBaseTime chosen = ChooseBaseTime(evidence);
  if (chosen.problem != nullptr) {
    (chosen.isLoss ? report.losses : report.mended)
        .Add({std::string("the base time of the block") + chosen.problem,
              origin + block.offset + isf::kBaseTimeOffset});
  }
  return chosen.time;
}

bool cPartRecovery::HandOver(const sRecoveredBlock& found, std::uint64_t baseTime) {
  cByteWindow window(part);
  for (const sFoundRecord& record : found.records) {
    const auto bytes = window.Read(record.offset, record.entry.RecordSize());
    if (!bytes) {
      Lose({record.offset, record.entry.RecordSize(), 1, 0, 0});
      continue;
    }
    sRecoveredItem item{isf::LoadRecordHead(record.entry, baseTime, *bytes),
                        bytes->last(record.entry.length), origin + record.offset};
    if (item.head.extra == kNotLearned) {
      item.head.extra.reset();  // it stands for none
    }
    if (!take(item)) {
      return false;
    }
    if (report.items++ == 0) {
      report.firstTime = item.head.time;
    }
    report.finalTime = item.head.time;
  }
  return true;
}

// Whether bytes at the end of a file belong to what was being written there: a record, a block,
// or the block index with the trailer.
bool cPartRecovery::IsUnfinished(std::size_t number, const sBlockToRecover& wanted,
                                 const sLostItems& lost) {
  const bool isLast = number + 1 == chain.Blocks().size();
  if (!isLast || wanted.endsAtLimit || lost.items != 0 || lost.offset + lost.bytes != size) {
    return false;
  }
  const std::uint64_t closing =
      (chain.Blocks().back().number + 1) * isf::kIndexEntrySize + isf::kTrailerSize;
  if (lost.bytes > std::max({kLongestRecord, std::uint64_t{isf::kBlockSize}, closing})) {
    return false;
  }
  const sClosingRemains remains =
      isWhole ? FindClosingRemains(part, chain.Blocks(), lost.offset, size) : sClosingRemains{};
  if (remains.what != sClosingRemains::eWhat::Nothing) {
    report.mended.Add({remains.Text(), origin + remains.end});
    return true;
  }
  report.unfinishedBytes += lost.bytes;
  return true;
}

// Blocks that only the block index tells of, and that are no blocks any more.
void cPartRecovery::LoseBehind(std::size_t number, std::uint64_t end) {
  if (number + 1 == chain.Blocks().size()) {
    return;
  }
  const sCaptureBlock& block = chain.Blocks()[number];
  const sCaptureBlock& next = chain.Blocks()[number + 1];
  const std::uint64_t blocks = next.number - block.number - 1;
  if (blocks != 0) {
    Lose({end, next.offset - end, blocks * isf::kItemsPerBlock,
          (block.number + 1) * isf::kItemsPerBlock, blocks * isf::kItemsPerBlock});
  }
}

// A block behind the last one, of which too little is left. The recorder writes a block before it
// links it to the one before, which then is full.
void cPartRecovery::LoseBlockBehind() {
  if (chain.Blocks().empty() || index || chain.Blocks().back().entries < isf::kItemsPerBlock ||
      recordsEnd > size) {
    return;
  }
  if (IsNextDisplaced()) {
    report.mended.Add({"the block at offset " + std::to_string(origin + size) +
                           " is not where the one before leads, at offset " +
                           std::to_string(origin + lastLink) + ": bytes were removed or put in",
                       origin + size});
    return;
  }
  const std::uint64_t bytes = size - recordsEnd;
  if (lastLink == 0) {
    if (IsBlockBegun(part, recordsEnd, size)) {
      report.unfinishedBytes += bytes;
    } else {
      Lose({recordsEnd, bytes, 0, 0, 0});
    }
    return;
  }
  // A link to elsewhere is wrong itself, unless the file was cut off; also then no block's records
  // take more.
  const bool isWrong =
      isFollowed ? !IsLinkPossible() : lastLink > recordsEnd + isf::kItemsPerBlock * kLongestRecord;
  const std::uint64_t offset = isWrong ? recordsEnd : std::max(lastLink, recordsEnd);
  const std::uint32_t seen = UsedEntriesAt(part, offset, size);
  report.losses.Add(
      {"the block at offset " + std::to_string(origin + offset) +
           (offset + isf::kBlockSize <= size ? " cannot be read as one" : " is cut off") +
           ": its items (" +
           (seen != 1 ? std::to_string(seen) + " used entries" : std::string("1 used entry")) +
           " seen) are lost",
       origin + offset});
  report.lostItems += seen;
  report.lostBytes += bytes;
}

void cPartRecovery::LoseBlock(const sCaptureBlock& block, const sBlockToRecover& wanted) {
  report.losses.Add({"the base time of the block is lost, and with it the times of its items",
                     origin + block.offset + isf::kBaseTimeOffset});
  const std::uint64_t items = wanted.items.value_or(block.entries);
  recordsEnd = wanted.limit;
  Lose({wanted.RecordsBegin(), wanted.limit - wanted.RecordsBegin(), items, wanted.firstNumber,
        items});
}

void cPartRecovery::TellUnfit(const sUnfitRecords& unfit) {
  const auto placed = [this](const sUnfitRecord& record) {
    return sUnfitRecord{origin + record.offset, isWhole ? record.number : std::nullopt};
  };
  if (unfit.count != 0) {
    report.unfit.first = report.unfit.count == 0 ? placed(unfit.first) : report.unfit.first;
    report.unfit.last = placed(unfit.last);
    report.unfit.count += unfit.count;
  }
}

void cPartRecovery::Lose(const sLostItems& lost) {
  report.losses.Add({LossText(lost, isWhole && lost.places != 0), origin + lost.offset});
  report.lostItems += lost.items;
  report.lostBytes += lost.bytes;
}

}  // namespace corvane
