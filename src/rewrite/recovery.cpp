#include "rewrite/recovery.h"

#include <algorithm>
#include <array>
#include <memory>
#include <tuple>
#include <utility>

#include "capture/isf/item_types.h"
#include "reader/block_chain.h"
#include "reader/block_index.h"
#include "reader/directory.h"
#include "rewrite/block_recovery.h"
#include "rewrite/block_search.h"
#include "rewrite/loss_text.h"
#include "rewrite/record_proof.h"

namespace corvane {
namespace {

constexpr std::uint64_t kLongestRecord = isf::kLongestRecordHead + isf::kLongestPacket;

// A part of a file as a file of its own.
class cPartSource final : public cByteSource {
 public:
  cPartSource(cByteSource& source, std::uint64_t from, std::uint64_t to)
      : whole(source), begin(from), end(to) {}

  [[nodiscard]] std::optional<std::uint64_t> Size() override { return end - begin; }
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
    const std::uint64_t size = end - begin;
    const std::uint64_t there = offset < size ? size - offset : 0;
    return whole.ReadAt(
        begin + offset,
        bytes.first(static_cast<std::size_t>(std::min<std::uint64_t>(there, bytes.size()))));
  }

 private:
  cByteSource& whole;
  std::uint64_t begin;
  std::uint64_t end;
};

// The items of one capture, or of what of it lies between two places where its chain breaks.
class cPartRecovery {
 public:
  // `begin` is the file position from which the part's own positions count. The part ends at `end`,
  // and the file at `fileEnd`.
  cPartRecovery(cByteSource& source, std::uint64_t begin, std::uint64_t firstBlock,
                std::uint64_t end, std::uint64_t fileEnd, const RecoveredItemTaker& taker,
                sRecoveryReport& result)
      : part(source, begin, end),
        rest(source, begin, fileEnd),
        origin(begin),
        size(end - begin),
        isWhole(firstBlock == isf::kHeaderSize),
        chain(part, firstBlock),
        take(taker),
        report(result) {
    chain.Advance();
    FindOwnIndex();
  }

  // False when the taker had enough.
  [[nodiscard]] bool Recover() {
    const auto& blocks = chain.Blocks();
    for (std::size_t number = 0; number < blocks.size(); ++number) {
      if (!RecoverOne(number)) {
        return false;
      }
    }
    return true;
  }

 private:
  // The block index that the part ends in, if it has the last block.
  void FindOwnIndex() {
    if (chain.Blocks().empty()) {
      return;
    }
    index = cBlockIndex::Find(part, size);
    if (index && !IsOfLastBlock(*index)) {
      index.reset();
    }
  }

  [[nodiscard]] bool IsOfLastBlock(cBlockIndex& found) {
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

  [[nodiscard]] std::optional<std::uint64_t> IndexedTime(const sCaptureBlock& block) {
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

  // The base time that an index has for a block that is its entry `number`.
  [[nodiscard]] static std::optional<std::uint64_t> TimeIn(cBlockIndex& found, std::uint64_t number,
                                                           const sCaptureBlock& block) {
    const auto entry =
        number < found.BlockCount() ? found.Entry(*found.Offset(), number) : std::nullopt;
    const bool isIt = entry && entry->blockOffset == block.offset;
    return isIt ? std::optional(entry->baseTime) : std::nullopt;
  }

  [[nodiscard]] bool RecoverOne(std::size_t number) {
    const sCaptureBlock& block = chain.Blocks()[number];
    auto bytes = std::make_unique<std::array<std::uint8_t, isf::kBlockSize>>();
    if (part.ReadAt(block.offset, *bytes) != bytes->size()) {
      Lose({block.offset, isf::kBlockSize, 0, 0, 0});
      return true;
    }
    const auto all = std::span<const std::uint8_t, isf::kBlockSize>(*bytes);
    const auto directory = all.first<isf::kDirectorySize>();
    sBlockToRecover wanted;
    wanted.offset = block.offset;
    wanted.keepsTypes = report.state == eCaptureState::Complete;
    wanted.firstNumber = block.number * isf::kItemsPerBlock;
    Surround(number, wanted);
    const auto baseTime =
        ChooseTime(block, isf::LoadBlockTail(all.last<isf::kBlockTailSize>()), wanted, directory);
    if (!baseTime) {
      LoseBlock(block, wanted);
      return true;
    }
    wanted.baseTime = *baseTime;
    const sRecoveredBlock found = RecoverBlock(part, wanted, directory);
    report.proven += found.proven;
    report.unfit += found.unfit;
    const bool goesOn = HandOver(found, *baseTime);
    for (const sLostItems& lost : found.losses) {
      if (!IsUnfinished(number, wanted, lost)) {
        Lose(lost);
      }
    }
    LoseBehind(number, found.end);
    return goesOn;
  }

  // What is known of the block's records and items.
  void Surround(std::size_t number, sBlockToRecover& wanted) {
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
    }
  }

  // The block's own base time, unless the block index or what is in the items speaks against it.
  [[nodiscard]] std::optional<std::uint64_t> ChooseTime(
      const sCaptureBlock& block, const isf::sBlockTail& tail, const sBlockToRecover& wanted,
      std::span<const std::uint8_t, isf::kDirectorySize> directory) {
    const std::uint64_t own = tail.baseTime;
    const auto indexed = IndexedTime(block);
    const bool isPossible = own <= isf::kLatestTime;
    if (isPossible && (IsLikelyTime(own) || wanted.keepsTypes) && (!indexed || *indexed == own)) {
      return own;
    }
    const std::string name = "the base time of the block";
    const std::uint64_t place = origin + block.offset + isf::kBaseTimeOffset;
    const auto mend = [&](std::uint64_t time, const char* how) {
      report.mended.Add({name + how, place});
      return time;
    };
    const auto reference = ReferenceTime(wanted, directory);
    if (indexed && *indexed <= isf::kLatestTime) {
      const auto distance = [&](std::uint64_t time) {
        return reference ? std::max(time, *reference) - std::min(time, *reference)
                         : std::uint64_t{IsLikelyTime(time) ? 0u : 1u};
      };
      return !isPossible || distance(*indexed) < distance(own)
                 ? mend(*indexed, " cannot be right: that of the block index is taken")
                 : mend(own, " is not that of the block index, and fits the items better");
    }
    // No clock reaches beyond 48 bits: what stands above them came there.
    constexpr std::uint64_t kClockBits = (std::uint64_t{1} << 48) - 1;
    if (!isPossible && IsLikelyTime(own & kClockBits)) {
      return mend(own & kClockBits, " cannot be right: its two highest bytes are taken for zero");
    }
    if (reference) {
      return mend(
          *reference,
          " is lost: the items have the time of their packets, as the modem's clock had it");
    }
    return isPossible && block.items != 0 ? std::optional(own) : std::nullopt;
  }

  // The block's base time by the modem's clock: from the first packet that tells its time.
  [[nodiscard]] std::optional<std::uint64_t> ReferenceTime(
      const sBlockToRecover& wanted, std::span<const std::uint8_t, isf::kDirectorySize> directory) {
    const sJudgedDirectory judged =
        JudgeDirectory(directory, {wanted.offset, 0, wanted.limit, 0, false}, part);
    cByteWindow window(part);
    for (std::uint32_t place = 0; place < judged.entries; ++place) {
      const isf::sDirectoryEntry entry = EntryAt(directory, place);
      if (!judged.good.test(place)) {
        continue;
      }
      const auto record = window.Read(wanted.RecordsBegin() + entry.position, entry.RecordSize());
      const auto time = record ? ModemTimeIn(record->last(entry.length)) : std::nullopt;
      if (time && entry.WidthCode() != isf::kTimeAbsolute64) {
        return *time - isf::LoadRecordHead(entry, 0, *record).time;
      }
    }
    return std::nullopt;
  }

  [[nodiscard]] bool HandOver(const sRecoveredBlock& found, std::uint64_t baseTime) {
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
  [[nodiscard]] bool IsUnfinished(std::size_t number, const sBlockToRecover& wanted,
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
    report.unfinishedBytes += lost.bytes;
    return true;
  }

  // Blocks that only the block index tells of, and that are no blocks any more.
  void LoseBehind(std::size_t number, std::uint64_t end) {
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

  void LoseBlock(const sCaptureBlock& block, const sBlockToRecover& wanted) {
    report.losses.Add({"the base time of the block is lost, and with it the times of its items",
                       origin + block.offset + isf::kBaseTimeOffset});
    const std::uint64_t items = wanted.items.value_or(block.entries);
    Lose({wanted.RecordsBegin(), wanted.limit - wanted.RecordsBegin(), items, wanted.firstNumber,
          items});
  }

  void Lose(const sLostItems& lost) {
    report.losses.Add({LossText(lost, isWhole && lost.places != 0), origin + lost.offset});
    report.lostItems += lost.items;
    report.lostBytes += lost.bytes;
  }

  cPartSource part;
  cPartSource rest;  // from the part's beginning to the end of the file
  const std::uint64_t origin;
  const std::uint64_t size;
  const bool isWhole;  // the numbers of its items are known
  cBlockChain chain;
  std::optional<cBlockIndex> index;
  const RecoveredItemTaker& take;
  sRecoveryReport& report;

 public:
  // File position behind what the chain leads to.
  [[nodiscard]] std::uint64_t End() const { return origin + chain.End(); }
  // Nothing can stand behind the chain but what closes the file.
  [[nodiscard]] bool IsClosed() const { return index && *index->Offset() == chain.End(); }
};

[[nodiscard]] bool HasHeader(cByteSource& source, std::uint64_t offset) {
  std::array<std::uint8_t, isf::kHeaderSize> header{};
  return source.ReadAt(offset, header) == header.size() && isf::IsHeader(header);
}

class cRecovery {
 public:
  cRecovery(cByteSource& bytes, std::uint64_t fileSize, const RecoveredItemTaker& taker)
      : source(bytes), size(fileSize), take(taker) {}

  [[nodiscard]] sRecoveryReport Recover() {
    sCaptureError ignored;
    const auto file = cCaptureFile::Open(std::make_unique<cPartSource>(source, 0, size), ignored);
    if (file != nullptr) {
      report.state = file->State();
    }
    std::uint64_t origin = 0;
    std::optional<std::uint64_t> first = FindFirst(origin);
    while (first) {
      const std::uint64_t here = *first;
      const std::uint64_t thisOrigin = origin;
      first = FindNext(here, origin);
      std::uint64_t end = size;
      if (first) {
        end = origin != thisOrigin ? origin : *first;
      }
      cPartRecovery part(source, thisOrigin, here - thisOrigin, end, size, take, report);
      if (!part.Recover()) {
        break;
      }
    }
    return std::move(report);
  }

 private:
  // Where the first block stands. `origin` receives where its capture begins.
  [[nodiscard]] std::optional<std::uint64_t> FindFirst(std::uint64_t& origin) {
    if (HasHeader(source, 0)) {
      return isf::kHeaderSize;
    }
    if (ProvesBlock(source, size, isf::kHeaderSize) || EndsAsBlock(isf::kHeaderSize)) {
      report.mended.Add({"the file does not begin as a capture file does", 0});
      return isf::kHeaderSize;
    }
    const auto found = FindBlock(source, size, 0);
    if (found) {
      report.losses.Add({"the first " + Count(*found, "byte") + " lead to no item", 0});
      report.lostBytes += *found;
      EnterCapture(*found, origin);
    }
    return found;
  }

  // Whether a block's link and base time stand at the end of what may be one. A beginning of a file
  // that was overwritten took the first directory entries along, which would prove the block.
  [[nodiscard]] bool EndsAsBlock(std::uint64_t offset) {
    std::array<std::uint8_t, isf::kBlockTailSize> bytes{};
    if (source.ReadAt(offset + isf::kDirectorySize, bytes) != bytes.size()) {
      return false;
    }
    const isf::sBlockTail tail = isf::LoadBlockTail(bytes);
    const bool isLink = tail.nextBlock == 0 || (tail.nextBlock > offset + isf::kBlockSize &&
                                                ProvesBlock(source, size, tail.nextBlock));
    return isLink && IsLikelyTime(tail.baseTime);
  }

  // Where the chain goes on that begins at `first`, once it has broken off: behind a lost block, or
  // in another capture.
  [[nodiscard]] std::optional<std::uint64_t> FindNext(std::uint64_t first, std::uint64_t& origin) {
    sRecoveryReport ignored;
    const cPartRecovery part(source, origin, first - origin, size, size, take, ignored);
    if (part.IsClosed()) {
      return std::nullopt;
    }
    const auto found = FindBlock(source, size, std::max(part.End(), first + 1));
    if (found) {
      EnterCapture(*found, origin);
    }
    return found;
  }

  // A block behind a header is the first of another capture, whose positions count from there.
  void EnterCapture(std::uint64_t block, std::uint64_t& origin) {
    if (block >= origin + isf::kHeaderSize + 1 && block > isf::kHeaderSize &&
        HasHeader(source, block - isf::kHeaderSize)) {
      origin = block - isf::kHeaderSize;
      report.moreCaptures.push_back(origin);
    }
  }

  cByteSource& source;
  const std::uint64_t size;
  const RecoveredItemTaker& take;
  sRecoveryReport report;
};

}  // namespace

sRecoveryReport RecoverCapture(cByteSource& source, const RecoveredItemTaker& take) {
  const std::optional<std::uint64_t> size = source.Size();
  if (!size) {
    sRecoveryReport report;
    report.losses.Add({"the file's size cannot be found out", {}});
    return report;
  }
  return cRecovery(source, *size, take).Recover();
}

}  // namespace corvane
