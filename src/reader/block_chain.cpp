#include "reader/block_chain.h"

#include <algorithm>
#include <span>
#include <string>
#include <utility>

namespace corvane {
namespace {

[[nodiscard]] std::string NameOf(const sCaptureBlock& block) {
  return "the block at offset " + std::to_string(block.offset);
}

}  // namespace

struct cBlockChain::sView {
  const sCaptureBlock& block;
  std::span<const std::uint8_t, isf::kDirectorySize> directory;
  isf::sBlockTail tail;
  // Taken after the directory was read: a record is written before its entry, so every record whose
  // entry was just read lies within this size, also while the file grows.
  std::uint64_t fileSize = 0;

  [[nodiscard]] std::uint64_t BlockEnd() const { return block.offset + isf::kBlockSize; }
};

void cBlockChain::Advance() {
  if (blocks.empty()) {
    const std::optional<std::uint64_t> size = source.Size();
    now = {};
    if (!size) {
      now.damage.Add({"the file's size cannot be found out", {}});
      return;
    }
    // Shorter files hold no block, or one that is just being written.
    if (*size < firstOffset + isf::kBlockSize) {
      return;
    }
    blocks.push_back({.offset = firstOffset, .end = firstOffset + isf::kBlockSize});
    settled.end = blocks.back().end;
  }
  for (;;) {
    sLook look = Look();
    if (HoldsNothing()) {
      Forget();
      return;
    }
    for (int looks = 1; look.damage.Count() != 0 && looks < kLooks; ++looks) {
      sLook again = Look();
      if (again == look) {
        break;
      }
      look = std::move(again);
    }
    const std::optional<sCaptureBlock> next = look.next;
    Take(std::move(look));
    if (!next) {
      return;
    }
    settled = now;
    settled.gapBytes += next->offset - settled.end;
    settled.end = next->offset + isf::kBlockSize;
    blocks.push_back(*next);
  }
}

void cBlockChain::Forget() {
  blocks.clear();
  now = settled = {};
}

// A trailer of no items right behind the header: what follows is not this capture's.
bool cBlockChain::HoldsNothing() const {
  const isf::sTrailer trailer = isf::LoadTrailer(
      std::span<const std::uint8_t, isf::kBlockSize>(newest).first<isf::kTrailerSize>());
  return blocks.size() == 1 && firstOffset == isf::kHeaderSize &&
         trailer.magic == isf::kTrailerMagic && trailer.zero == 0 && trailer.itemCount == 0;
}

void cBlockChain::Take(sLook look) {
  now = settled;
  blocks.back() = look.block;
  now.items += look.block.items;
  now.passedOver += look.block.entries - look.block.items;
  if (look.next) {
    now.passedOver += (look.next->number - look.block.number - 1) * isf::kItemsPerBlock;
  }
  now.end = look.block.end;
  now.gapBytes += look.gapBytes;
  for (std::size_t type = 0; type < now.types.size(); ++type) {
    now.types[type].items += look.types[type].items;
    now.types[type].bytes += look.types[type].bytes;
  }
  now.damage.Add(look.damage);
}

std::uint64_t cBlockChain::NumbersEnd() const {
  return blocks.empty() ? 0 : blocks.back().number * isf::kItemsPerBlock + blocks.back().entries;
}

cBlockChain::sLook cBlockChain::Look() {
  sLook look;
  look.block = blocks.back();
  look.block.items = look.block.entries = 0;
  look.block.isFlawless = false;
  look.block.follows = 0;
  look.block.end = look.block.offset + isf::kBlockSize;
  index.reset();

  const std::size_t count = source.ReadAt(look.block.offset, newest);
  const std::optional<std::uint64_t> size = source.Size();
  if (!size) {
    look.damage.Add({"the file's size cannot be found out", {}});
    return look;
  }
  const auto all = std::span<const std::uint8_t, isf::kBlockSize>(newest);
  const sView view{look.block, all.first<isf::kDirectorySize>(),
                   isf::LoadBlockTail(all.last<isf::kBlockTailSize>()), *size};
  if (count != newest.size()) {
    look.damage.Add({NameOf(look.block) + " cannot be read", look.block.offset + count});
    FindIndex(*size);
    look.next = FindInIndex(view, look.block.number + 1);
    return look;
  }
  const std::optional<std::uint64_t> baseTime = FindBaseTime(view);
  // The directory is judged by base times that clocks can show. From 0 on, every time is good.
  look.block.baseTime = baseTime.value_or(0);
  Judge(view, look);
  if (view.tail.baseTime > isf::kLatestTime) {
    ReportBaseTime(look, baseTime.has_value());
  }
  return look;
}

// The block's own base time, or the block index's where that cannot be right.
std::optional<std::uint64_t> cBlockChain::FindBaseTime(const sView& view) {
  if (view.tail.baseTime <= isf::kLatestTime) {
    return view.tail.baseTime;
  }
  FindIndex(view.fileSize);
  const auto entry = IndexEntry(view.block.number);
  if (!entry || entry->blockOffset != view.block.offset || entry->baseTime > isf::kLatestTime) {
    return std::nullopt;
  }
  return entry->baseTime;
}

void cBlockChain::ReportBaseTime(sLook& look, bool isInIndex) {
  std::string text = "the base time of " + NameOf(look.block) + " is later than any clock can be";
  if (isInIndex) {
    text += " (that of the block index is taken)";
  } else {
    // Without a base time no item has a time.
    look.block.items = 0;
    look.block.isFlawless = false;
    look.types = {};
    text += " (" + std::to_string(look.block.entries) +
            (look.block.entries == 1 ? " entry passed over)" : " entries passed over)");
  }
  look.damage.Add({std::move(text), look.block.offset + isf::kBaseTimeOffset});
}

// Judges the directory with what can be known about what follows it.
void cBlockChain::Judge(const sView& view, sLook& look) {
  sDirectoryPlace place{view.block.offset, view.block.baseTime, view.fileSize, 0, false};
  sJudgedDirectory judged = JudgeDirectory(view.directory, place, source);
  look.block.end = judged.end;
  look.block.entries = judged.entries;
  FindNext(view, look, judged.IsGoodToTheEnd());
  if (look.next) {
    // A lost block between them leaves nothing to tell where the records end.
    place.isFull = true;
    place.follows = look.next->number == look.block.number + 1 ? look.next->offset : 0;
  } else {
    FindClosing(view, look);
    place.follows = look.block.follows;
  }
  look.block.follows = place.follows;
  // LoadDirectory judges the block again with the same knowledge, and has to find the same. What
  // follows changes nothing for records without gaps that end in front of it.
  const bool isSettled = judged.IsGapless() && (!place.isFull || judged.IsGoodToTheEnd()) &&
                         (place.follows == 0 || judged.end <= place.follows);
  if (!isSettled) {
    judged = JudgeDirectory(view.directory, place, source);
  }

  cDamage problems = std::exchange(look.damage, judged.damage);
  look.damage.Add(problems);
  look.block.end = judged.end;
  look.block.entries = judged.entries;
  look.block.items = judged.entries - judged.passedOver;
  look.block.isFlawless = judged.IsGapless() && judged.keepsRules;
  look.gapBytes = judged.gapBytes;
  look.types = judged.types;
}

void cBlockChain::FindNext(const sView& view, sLook& look, bool isGoodToTheEnd) {
  const std::uint64_t link = view.tail.nextBlock;
  if (link != 0 && isGoodToTheEnd && link == look.block.end && IsRoomForBlock(view, link)) {
    look.next = {.number = look.block.number + 1, .offset = link, .end = link + isf::kBlockSize};
    return;
  }
  FindIndex(view.fileSize);
  look.next = ChooseNext(view, look, isGoodToTheEnd);
  if (look.next ? look.next->offset == link : link == 0) {
    return;
  }
  const char* problem = " names a next block where there is none";
  if (link == 0) {
    problem = " names no next block, although one follows";
  } else if (look.block.entries < isf::kItemsPerBlock) {
    problem = " names a next block although its directory is not full";
  } else if (link < look.block.end) {
    problem = " names a next block that lies before the end of its own records";
  } else if (!IsRoomForBlock(view, link)) {
    problem = " names a next block that runs past the end of the file";
  }
  std::string text = NameOf(look.block) + problem;
  if (look.next && look.next->number != look.block.number + 1) {
    const std::uint64_t lost = look.next->number - look.block.number - 1;
    text +=
        " (" + std::to_string(lost * isf::kItemsPerBlock) + " entries of lost blocks passed over)";
  }
  look.damage.Add({std::move(text), look.block.offset + isf::kNextBlockOffset});
}

// The three that know where the next block is are this block's link, the block index, and the end
// of the records. Two that agree are believed, and one alone when it leads to something that looks
// like a block.
std::optional<sCaptureBlock> cBlockChain::ChooseNext(const sView& view, const sLook& look,
                                                     bool isGoodToTheEnd) {
  const std::uint64_t link = view.tail.nextBlock;
  const auto entry = IndexEntry(look.block.number + 1);
  const std::uint64_t indexed = entry ? entry->blockOffset : 0;
  const std::uint64_t end = isGoodToTheEnd ? look.block.end : 0;
  const auto at = [&look](std::uint64_t offset) {
    return sCaptureBlock{
        .number = look.block.number + 1, .offset = offset, .end = offset + isf::kBlockSize};
  };
  for (const auto& [one, other] : {std::pair(link, indexed), std::pair(indexed, end)}) {
    if (one != 0 && one == other && IsRoomForBlock(view, one)) {
      return at(one);
    }
  }
  for (const std::uint64_t offset : {link, indexed, end}) {
    if (LooksLikeBlock(view, offset, offset == link)) {
      return at(offset);
    }
  }
  return FindInIndex(view, look.block.number + 2);
}

// The first block from number `from` on to which the index leads.
std::optional<sCaptureBlock> cBlockChain::FindInIndex(const sView& view, std::uint64_t from) {
  for (std::uint64_t number = from;; ++number) {
    const auto entry = IndexEntry(number);
    if (!entry) {
      return std::nullopt;
    }
    if (LooksLikeBlock(view, entry->blockOffset, false)) {
      return sCaptureBlock{.number = number,
                           .offset = entry->blockOffset,
                           .end = entry->blockOffset + isf::kBlockSize};
    }
  }
}

// Of a closed file's last block: its records end where the block index begins. The index has been
// looked for, as no next block was found.
void cBlockChain::FindClosing(const sView& view, sLook& look) {
  if (!index || index->BlockCount() != look.block.number + 1 || look.damage.Count() != 0) {
    return;
  }
  const std::uint64_t offset = index->Offset().value_or(0);
  // A trailer is one only where a whole one fits behind the last record: a packet may end in a
  // trailer's bytes.
  if (offset >= view.BlockEnd() && look.block.end <= index->TrailerOffset()) {
    look.block.follows = offset;
  }
}

bool cBlockChain::IsRoomForBlock(const sView& view, std::uint64_t offset) {
  return offset >= view.BlockEnd() && offset <= view.fileSize &&
         view.fileSize - offset >= isf::kBlockSize;
}

bool cBlockChain::LooksLikeBlock(const sView& view, std::uint64_t offset, bool mayBeEmpty) {
  if (!IsRoomForBlock(view, offset)) {
    return false;
  }
  constexpr std::size_t kTwoEntries = std::size_t{2} * isf::kDirectoryEntrySize;
  std::array<std::uint8_t, kTwoEntries> entries{};
  std::array<std::uint8_t, isf::kBlockTailSize> tailBytes{};
  std::uint8_t time = 1;
  if (source.ReadAt(offset, entries) != entries.size() ||
      source.ReadAt(offset + isf::kDirectorySize, tailBytes) != tailBytes.size()) {
    return false;
  }
  const isf::sBlockTail tail = isf::LoadBlockTail(tailBytes);
  if (tail.baseTime > isf::kLatestTime) {
    return false;
  }
  const auto bytes = std::span<const std::uint8_t, kTwoEntries>(entries);
  const auto first = isf::LoadDirectoryEntry(bytes.first<isf::kDirectoryEntrySize>());
  const auto second = isf::LoadDirectoryEntry(bytes.last<isf::kDirectoryEntrySize>());
  const isf::sDirectoryEntry unused;
  if (first == unused) {
    return mayBeEmpty && second == unused && tail.nextBlock == 0;
  }
  // The first record stands right behind the block, with a time of one zero byte.
  return first.position == 0 && first.WidthCode() == isf::kTimeDelta8 &&
         FindBrokenRule(first).problem == nullptr &&
         (second == unused || second.position == first.RecordSize()) &&
         source.ReadAt(offset + isf::kBlockSize, std::span(&time, 1)) == 1 && time == 0;
}

// The index is believed when it has the first block where it is, with its base time if that can be
// right.
void cBlockChain::FindIndex(std::uint64_t fileSize) {
  if (index) {
    return;
  }
  index = cBlockIndex::Find(source, fileSize);
  if (!index) {
    return;
  }
  const std::uint64_t first =
      blocks.size() == 1
          ? isf::LoadBlockTail(
                std::span<const std::uint8_t, isf::kBlockSize>(newest).last<isf::kBlockTailSize>())
                .baseTime
          : blocks.front().baseTime;
  const auto entry = index->Trailer().zero == 0 ? IndexEntry(0) : std::nullopt;
  const bool isSameTime =
      entry && (entry->baseTime == first ||
                (first > isf::kLatestTime && entry->baseTime <= isf::kLatestTime));
  if (!isSameTime || entry->blockOffset != blocks.front().offset) {
    index.reset();
  }
}

std::optional<isf::sIndexEntry> cBlockChain::IndexEntry(std::uint64_t block) {
  if (!index || block >= index->BlockCount() || !index->Offset()) {
    return std::nullopt;
  }
  return index->Entry(*index->Offset(), block);
}

bool cBlockChain::LoadDirectory(std::size_t block, sLoadedDirectory& directory) {
  const sCaptureBlock& from = blocks[block];
  if (source.ReadAt(from.offset, directory.bytes) != directory.bytes.size()) {
    return false;
  }
  if (from.items == from.entries) {
    directory.good = FirstEntries(from.entries);
    return true;
  }
  directory.good.reset();
  const std::optional<std::uint64_t> size = source.Size();
  if (from.items == 0 || !size) {
    return size.has_value();
  }
  const bool isLast = block + 1 == blocks.size();
  directory.good =
      JudgeDirectory(directory.bytes, {from.offset, from.baseTime, *size, from.follows, !isLast},
                     source)
          .good;
  return true;
}

}  // namespace corvane
