#include "analysis/verification.h"

#include <algorithm>
#include <array>
#include <utility>

#include "analysis/packet_faults.h"
#include "capture/isf/item_types.h"
#include "capture/isf/layout.h"
#include "reader/block_index.h"
#include "reader/capture_file.h"
#include "reader/directory.h"

namespace corvane {
namespace {

// Bytes that are borrowed, with a header put in front where that is wrong: what is behind it can
// then be read all the same.
class cBehindHeader final : public cByteSource {
 public:
  explicit cBehindHeader(cByteSource& borrowed) : bytes(borrowed) {}

  [[nodiscard]] std::optional<std::uint64_t> Size() override { return bytes.Size(); }
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> wanted) override {
    const std::size_t count = bytes.ReadAt(offset, wanted);
    const auto header = isf::StoreHeader();
    for (std::uint64_t at = offset; at < header.size() && at - offset < count; ++at) {
      wanted[static_cast<std::size_t>(at - offset)] = header[static_cast<std::size_t>(at)];
    }
    return count;
  }

 private:
  cByteSource& bytes;
};

class cVerifier {
 public:
  cVerifier(cByteSource& source, const sVerifyRequest& wanted)
      : bytes(source), request(wanted), records(source) {}

  [[nodiscard]] sVerified Run() {
    result.size = bytes.Size().value_or(0);
    if (CheckHeader() && Open()) {
      if (file->IsCutOffBySecond()) {
        Report(eRule::Joined, captureEnd,
               "another capture begins here, and the one in front of it was cut off");
      }
      CheckBlocks();
      CheckEnd();
    }
    return result;
  }

 private:
  void Report(eRule rule, std::uint64_t offset, std::string problem,
              std::optional<std::uint64_t> item = std::nullopt) {
    if (!result.endedEarly && !IsCutOff(offset)) {
      ++result.violations;
      result.endedEarly = !request.onViolation({rule, offset, std::move(problem), item});
    }
  }

  // What a capture was cut off in, because another one was joined to it, breaks no rule beside.
  [[nodiscard]] bool IsCutOff(std::uint64_t offset) const {
    return file != nullptr && file->IsCutOffBySecond() && std::max(offset, subjectEnd) > captureEnd;
  }

  // False when nothing behind it can be read.
  [[nodiscard]] bool CheckHeader() {
    std::array<std::uint8_t, isf::kHeaderSize> header{};
    const std::size_t count = bytes.ReadAt(0, header);
    if (count != header.size()) {
      Report(eRule::Header, count, "the file is too short for a header");
      return false;
    }
    if (!isf::IsHeader(header)) {
      Report(eRule::Header, 0, "the file begins with something else");
    }
    return true;
  }

  [[nodiscard]] bool Open() {
    sCaptureError error;
    file = cCaptureFile::Open(std::make_unique<cBehindHeader>(bytes), error, eCheck::Directories);
    if (file == nullptr) {
      Report(eRule::Header, error.offset.value_or(0), error.message);
      return false;
    }
    result.items = file->ItemCount();
    result.blocks = file->Blocks().size();
    result.size = file->Size();
    captureEnd = file->SecondCapture().value_or(result.size);
    result.closed = file->IsClosed();
    if (file->IsClosed()) {
      const std::uint64_t blocks = file->Blocks().empty() ? 0 : file->Blocks().back().number + 1;
      const std::uint64_t closing = blocks * isf::kIndexEntrySize + isf::kTrailerSize;
      indexOffset = file->ClosedEnd() - std::min(file->ClosedEnd(), closing);
    }
    return true;
  }

  void CheckBlocks() {
    const auto& blocks = file->Blocks();
    for (std::size_t number = 0; number < blocks.size() && !result.endedEarly; ++number) {
      const sCaptureBlock* const next = number + 1 < blocks.size() ? &blocks[number + 1] : nullptr;
      CheckBlock(number, blocks[number], next);
    }
    subjectEnd = 0;
  }

  void CheckBlock(std::size_t number, const sCaptureBlock& block, const sCaptureBlock* next) {
    std::array<std::uint8_t, isf::kBlockTailSize> tailBytes{};
    if (!file->LoadBlock(number, *directory) ||
        bytes.ReadAt(block.offset + isf::kDirectorySize, tailBytes) != tailBytes.size()) {
      Report(eRule::Block, block.offset, NameOf(block) + " cannot be read");
      return;
    }
    const isf::sBlockTail tail = isf::LoadBlockTail(tailBytes);
    subjectEnd = tail.nextBlock == 0 ? 0 : tail.nextBlock + isf::kBlockSize;
    CheckLink(block, next, tail.nextBlock);
    subjectEnd = block.offset + isf::kBlockSize;
    const bool hasTime = tail.baseTime <= isf::kLatestTime;
    if (!hasTime) {
      Report(eRule::BaseTime, block.offset + isf::kBaseTimeOffset,
             "the base time of " + NameOf(block) + " is later than any clock can be");
    }
    // Without a base time, and one to take in its place, no entry can be judged.
    if (hasTime || block.items != 0) {
      CheckEntries(block, next);
    }
  }

  void CheckLink(const sCaptureBlock& block, const sCaptureBlock* next, std::uint64_t link) {
    const std::uint64_t offset = block.offset + isf::kNextBlockOffset;
    if (next == nullptr) {
      // A recorder at work may have begun another block meanwhile.
      const bool grows = !result.closed && bytes.Size() != result.size;
      if (link != 0 && !grows) {
        Report(eRule::NextBlock, offset, NameOf(block) + " names a next block where there is none");
      }
      return;
    }
    if (next->number != block.number + 1) {
      Report(eRule::NextBlock, offset,
             std::to_string(next->number - block.number - 1) + " blocks behind " + NameOf(block) +
                 " are lost");
    } else if (link != next->offset) {
      Report(eRule::NextBlock, offset,
             NameOf(block) + " names " + std::to_string(link) +
                 " for the next block, which is at " + std::to_string(next->offset));
    }
  }

  void CheckEntries(const sCaptureBlock& block, const sCaptureBlock* next) {
    std::uint64_t end = block.offset + isf::kBlockSize;
    // What stands behind a bad entry's record cannot be told from a gap.
    bool isBehindGood = true;
    for (std::uint32_t place = 0; place < block.entries && !result.endedEarly; ++place) {
      const isf::sDirectoryEntry entry = EntryAt(directory->bytes, place);
      const std::uint64_t record = block.offset + isf::kBlockSize + entry.position;
      subjectEnd = record + entry.RecordSize();
      if (!directory->good.test(place)) {
        ReportBadEntry(block, next, place, end);
        isBehindGood = false;
        continue;
      }
      if (isBehindGood && record != end) {
        CheckGap(end, record, "record of item " + std::to_string(NumberOf(block, place)));
      }
      CheckItem(block, entry, place, record);
      end = record + entry.RecordSize();
      isBehindGood = true;
      if ((place & kProgressMask) == 0) {
        request.onProgress(record);
      }
    }
    subjectEnd = end;
    if (!isBehindGood) {
      return;
    }
    if (next != nullptr && next->number == block.number + 1) {
      CheckGap(end, next->offset, "next block");
    } else if (next == nullptr && result.closed) {
      CheckGap(end, indexOffset, "block index");
    }
  }

  // In a file that was not closed a failed write may have left bytes.
  void CheckGap(std::uint64_t end, std::uint64_t begin, const std::string& behind) {
    if (result.closed && begin > end) {
      Report(eRule::Gap, end,
             std::to_string(begin - end) + (begin - end == 1 ? " byte" : " bytes") +
                 " before the " + behind + " belong to nothing");
    }
  }

  // `end` is where the last good record before it ends.
  void ReportBadEntry(const sCaptureBlock& block, const sCaptureBlock* next, std::uint32_t place,
                      std::uint64_t end) {
    const std::uint64_t offset = block.offset + std::uint64_t{place} * isf::kDirectoryEntrySize;
    const std::uint64_t number = NumberOf(block, place);
    const std::string name = "the entry of item " + std::to_string(number);
    const isf::sDirectoryEntry entry = EntryAt(directory->bytes, place);
    if (entry == isf::sDirectoryEntry{}) {
      Report(eRule::EntryOrder, offset, name + " is unused, and something follows", number);
      return;
    }
    if (entry.length == 0) {
      Report(eRule::PacketLength, offset, name + " has length 0", number);
      return;
    }
    const std::uint64_t begin = block.offset + isf::kBlockSize + entry.position;
    const std::uint64_t limit = next != nullptr ? next->offset
                                : result.closed ? indexOffset
                                                : captureEnd;
    const char* problem = " does not fit between its neighbours";
    if (begin < end) {
      problem = " leads into the record before its own";
    } else if (begin + entry.RecordSize() > limit) {
      problem = " leads past the end of the records";
    }
    Report(eRule::RecordPlace, offset, name + problem, number);
  }

  // In a file that was not closed the newest entry may be half written: its length is then less
  // than that of the record to which it leads, and which is whole.
  [[nodiscard]] bool MayBeTorn(const sCaptureBlock& block, const isf::sDirectoryEntry& entry,
                               std::uint32_t place, std::uint64_t record) const {
    return !result.closed && &block == &file->Blocks().back() && place + 1 == block.entries &&
           record + entry.RecordSize() != captureEnd;
  }

  void CheckItem(const sCaptureBlock& block, const isf::sDirectoryEntry& entry, std::uint32_t place,
                 std::uint64_t record) {
    const std::uint64_t number = NumberOf(block, place);
    const std::uint64_t inDirectory =
        block.offset + std::uint64_t{place} * isf::kDirectoryEntrySize;
    const auto report = [&](eRule rule, std::uint64_t offset, const std::string& problem) {
      Report(rule, offset, "item " + std::to_string(number) + " " + problem, number);
    };
    const bool isWhole = !MayBeTorn(block, entry, place, record);
    const bool isKnown = entry.Type() <= isf::kSubsystemRequestItem && entry.Type() != kNoType;
    if (!isKnown && isWhole) {
      report(eRule::ItemType, inDirectory, "has type " + std::to_string(entry.Type()));
    }
    if (entry.length > isf::kLongestPacket && isWhole) {
      report(eRule::PacketLength, inDirectory, "has " + std::to_string(entry.length) + " bytes");
    }
    const bool mayHaveExtra = !entry.HasExtra() || entry.Type() == isf::kSignallingLogItem;
    if (!mayHaveExtra && isWhole) {
      report(eRule::ExtraField, inDirectory,
             "has an extra field, and type " + std::to_string(entry.Type()));
    }
    const auto bytesOfRecord =
        records.Read(record, request.contents ? entry.RecordSize() : entry.HeadSize());
    if (!bytesOfRecord) {
      report(eRule::RecordPlace, record, "cannot be read");
      return;
    }
    const isf::sRecordHead head = isf::LoadRecordHead(entry, block.baseTime, *bytesOfRecord);
    if (head.time > isf::kLatestTime) {
      report(eRule::ItemTime, record, "has a time later than any clock can be");
    } else if (isWhole) {
      if (place == 0 && head.time != block.baseTime) {
        report(eRule::BaseTime, record, "is the first of its block, and not at its base time");
      }
      if (entry.WidthCode() != isf::ChooseTimeWidth(head.time, block.baseTime)) {
        report(eRule::TimeWidth, record,
               "has a time field of " + std::to_string(entry.TimeSize()) + " bytes");
      }
    }
    if (head.extra == kNotLearned && isWhole) {
      report(eRule::ExtraField, record, "has an extra field of 0xFFFFFFFF");
    }
    if (!request.contents || !isWhole) {
      return;
    }
    const auto packet = bytesOfRecord->subspan(entry.HeadSize());
    if (head.extra && head.extra != kNotLearned && mayHaveExtra) {
      if (const auto fault = FindExtraFault(*head.extra, packet)) {
        report(eRule::ExtraField, record, *fault);
      }
    }
    if (isKnown) {
      if (const auto fault = FindPacketFault(entry.Type(), packet)) {
        report(eRule::Contents, record, *fault);
      }
    }
  }

  void CheckEnd() {
    if (file->SecondCapture() && !file->IsCutOffBySecond()) {
      Report(eRule::Joined, captureEnd, "a second capture begins here");
      subjectEnd = 0;
    }
    if (!result.closed) {
      CheckUnclosedEnd();
      return;
    }
    const auto& blocks = file->Blocks();
    if (!blocks.empty() && blocks.back().entries == 0) {
      Report(eRule::Block, blocks.back().offset, "the last block has no items");
    }
    cBlockIndex index(bytes, file->ClosedEnd() - isf::kTrailerSize);
    CheckTrailer();
    if (indexOffset < file->ItemsEnd()) {
      Report(eRule::BlockIndex, file->ItemsEnd(),
             "the block index does not fit between the last record and the trailer");
      return;
    }
    for (const sCaptureBlock& block : blocks) {
      CheckIndexEntry(index, block);
    }
  }

  void CheckIndexEntry(cBlockIndex& index, const sCaptureBlock& block) {
    const std::uint64_t offset = indexOffset + block.number * isf::kIndexEntrySize;
    const std::string name = "block index entry " + std::to_string(block.number);
    const auto entry = index.Entry(indexOffset, block.number);
    if (!entry) {
      Report(eRule::BlockIndex, offset, name + " cannot be read");
      return;
    }
    if (entry->blockOffset != block.offset) {
      Report(
          eRule::BlockIndex, offset + isf::kIndexBlockOffset,
          name + " has position " + std::to_string(entry->blockOffset) + " for " + NameOf(block));
    }
    if (entry->baseTime != block.baseTime) {
      Report(eRule::BlockIndex, offset + isf::kIndexBaseTime,
             name + " has another base time than its block");
    }
  }

  void CheckTrailer() {
    const std::uint64_t offset = file->ClosedEnd() - isf::kTrailerSize;
    std::array<std::uint8_t, isf::kTrailerSize> last{};
    if (bytes.ReadAt(offset, last) != last.size()) {
      Report(eRule::Trailer, offset, "the trailer cannot be read");
      return;
    }
    const isf::sTrailer trailer = isf::LoadTrailer(last);
    if (const std::uint64_t more = captureEnd - file->ClosedEnd(); more != 0) {
      Report(eRule::BehindTrailer, file->ClosedEnd(),
             std::to_string(more) + (more == 1 ? " byte stands" : " bytes stand") +
                 " behind the trailer");
    }
    if (trailer.zero != 0) {
      Report(eRule::Trailer, offset, "the first 64 bits of the trailer are not zero");
    }
    // The trailer has 32 bits for the count; a longer capture's count has gone round.
    if (trailer.itemCount != static_cast<std::uint32_t>(file->NumbersEnd())) {
      Report(eRule::Trailer, offset + isf::kTrailerItemCount,
             "the trailer counts " + std::to_string(trailer.itemCount) +
                 " items, the directories hold " + std::to_string(file->NumbersEnd()));
    }
  }

  // A file without trailer: the rest of one that was closed, or a block that is cut off.
  void CheckUnclosedEnd() {
    const auto& blocks = file->Blocks();
    if (blocks.empty()) {
      const auto error = file->Damage();
      if (error && !file->SecondCapture()) {  // which has been named
        Report(eRule::Block, error->offset.value_or(0), error->message);
      }
      return;
    }
    result.remains = FindClosingRemains(bytes, blocks, file->ItemsEnd(), captureEnd);
    const std::uint64_t closing =
        (blocks.back().number + 1) * isf::kIndexEntrySize + isf::kTrailerSize;
    if (captureEnd - std::min(captureEnd, file->ItemsEnd()) < closing) {
      return;
    }
    // A whole index where that of a closed file would be was followed by a trailer once.
    const std::uint64_t offset = captureEnd - isf::kTrailerSize;
    cBlockIndex index(bytes, offset);
    const bool isWhole = std::all_of(blocks.begin(), blocks.end(), [&](const sCaptureBlock& block) {
      const auto entry = index.Entry(captureEnd - closing, block.number);
      return entry && *entry == isf::sIndexEntry{block.offset, block.baseTime};
    });
    if (isWhole) {
      Report(eRule::Trailer, offset + isf::kTrailerMagicOffset,
             "the trailer does not end in its closing number");
    }
  }

  [[nodiscard]] static std::string NameOf(const sCaptureBlock& block) {
    return "the block at offset " + std::to_string(block.offset);
  }
  [[nodiscard]] static std::uint64_t NumberOf(const sCaptureBlock& block, std::uint32_t place) {
    return block.number * isf::kItemsPerBlock + place;
  }

  static constexpr std::uint32_t kNoType = 3;
  static constexpr std::uint32_t kProgressMask = 15;

  cByteSource& bytes;
  const sVerifyRequest& request;
  cByteWindow records;
  std::unique_ptr<cCaptureFile> file;
  std::uint64_t captureEnd = 0;   // of the file, or of the first of several captures in it
  std::uint64_t indexOffset = 0;  // of a closed file
  // Up to where in the file the thing reaches that is looked at, and that its entry stands for.
  std::uint64_t subjectEnd = 0;
  std::unique_ptr<sLoadedDirectory> directory = std::make_unique<sLoadedDirectory>();
  sVerified result;
};

}  // namespace

sVerified VerifyCapture(std::unique_ptr<cByteSource> source, const sVerifyRequest& request) {
  return cVerifier(*source, request).Run();
}

}  // namespace corvane
