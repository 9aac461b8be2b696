#include "reader/capture_file.h"

#include <algorithm>
#include <utility>

namespace corvane {
namespace {

[[nodiscard]] std::optional<sCaptureError> CheckHeader(cByteSource& source) {
  std::array<std::uint8_t, isf::kHeaderSize> header{};
  const std::size_t count = source.ReadAt(0, header);
  if (count != header.size()) {
    return sCaptureError{"the file is too short to be a capture file", count};
  }
  if (!isf::IsHeader(header)) {
    return sCaptureError{kNoCapture, 0};
  }
  return std::nullopt;
}

constexpr char kSecondBehindWhole[] =
    "a second capture begins here: files were joined, and only the first one is read";
constexpr char kSecondBehindCutOff[] =
    "a second capture begins here, and the first one was cut off in front of it: files were "
    "joined, and only the first one is read";

// "item 17"
[[nodiscard]] std::string NameOf(std::uint64_t number) { return "item " + std::to_string(number); }

[[nodiscard]] inline std::optional<sCaptureError> CheckTime(std::uint64_t number,
                                                            std::uint64_t offset,
                                                            std::uint64_t time) {
  if (time <= isf::kLatestTime) {
    return std::nullopt;
  }
  return sCaptureError{"the time of " + NameOf(number) + " is later than any clock can be", offset};
}

}  // namespace

std::unique_ptr<cCaptureFile> cCaptureFile::Open(const std::string& path, sCaptureError& error,
                                                 eCheck check) {
  std::string reason;
  std::unique_ptr<cByteSource> source = cFileSource::Open(path, reason);
  if (source == nullptr) {
    error = {"the file cannot be opened (" + reason + ")", {}};
    return nullptr;
  }
  return Open(std::move(source), error, check);
}

std::unique_ptr<cCaptureFile> cCaptureFile::Open(std::unique_ptr<cByteSource> source,
                                                 sCaptureError& error, eCheck check) {
  if (auto wrong = CheckHeader(*source)) {
    error = std::move(*wrong);
    return nullptr;
  }
  std::unique_ptr<cCaptureFile> file(new cCaptureFile(std::move(source), check));
  file->Refresh();
  return file;
}

cCaptureFile::cCaptureFile(std::unique_ptr<cByteSource> bytes, eCheck howMuch)
    : source(std::move(bytes)), check(howMuch), chain(source), records(source) {}

void cCaptureFile::Refresh() {
  // The newest directory, and the bytes behind the last record, may have changed.
  ForgetDirectory();
  records.Clear();

  damage = FindSettledDamage();
  if (second) {
    return;
  }
  second = FindSecondCapture();
  if (second) {
    // What the blocks of the first one seem to say behind that place, they do not.
    source.EndAt(*second);
    chain.Forget();
    records.Clear();
    damage = FindSettledDamage();
  }
}

cDamage cCaptureFile::FindSettledDamage() {
  // Reading does not stop the writer, so it can be caught halfway: a trailer may be seen without
  // the items that it counts. Looking again shows the rest. Only what looks wrong in the same way
  // twice is wrong.
  cDamage found = FindDamage();
  for (int look = 1; found.Count() != 0 && look < kLooks; ++look) {
    cDamage again = FindDamage();
    if (again == found) {
      break;
    }
    found = std::move(again);
  }
  return found;
}

cDamage cCaptureFile::FindDamage() {
  closed = false;
  chain.Advance();
  const std::optional<std::uint64_t> all = source.WholeFile().Size();
  fileSize = all.value_or(0);
  size = std::min(fileSize, second.value_or(fileSize));
  cDamage found;
  if (!all) {
    found.Add(chain.Damage());
    if (found.Count() == 0) {
      found.Add({"the file's size cannot be found out", {}});
    }
    return found;
  }
  const cDamage atEnd = CheckClosing();
  if (second) {
    found.Add({IsCutOffBySecond() ? kSecondBehindCutOff : kSecondBehindWhole, *second});
  }
  found.Add(chain.Damage());
  found.Add(atEnd);
  return found;
}

eCaptureState cCaptureFile::State() const {
  if (damage.Count() != 0) {
    return eCaptureState::Damaged;
  }
  return closed ? eCaptureState::Complete : eCaptureState::Unclosed;
}

std::optional<sCaptureError> cCaptureFile::Damage() const {
  if (damage.Count() == 0) {
    return std::nullopt;
  }
  return damage.Kept().front();
}

std::uint64_t cCaptureFile::UnclaimedBytes() const {
  if (State() == eCaptureState::Complete || size < chain.End()) {
    return chain.GapBytes();
  }
  return chain.GapBytes() + fileSize - chain.End();
}

std::size_t cCaptureFile::FindBlock(std::uint64_t number) const {
  // Blocks that were lost leave gaps in the numbers.
  const auto block = std::partition_point(Blocks().begin(), Blocks().end(),
                                          [number](const sCaptureBlock& candidate) {
                                            return candidate.number < number / isf::kItemsPerBlock;
                                          });
  return static_cast<std::size_t>(block - Blocks().begin());
}

std::optional<std::uint64_t> cCaptureFile::FindNextItem(std::uint64_t from) {
  for (std::size_t number = FindBlock(from); number < Blocks().size(); ++number) {
    const sCaptureBlock& block = Blocks()[number];
    const std::uint64_t first = block.number * isf::kItemsPerBlock;
    const std::uint64_t start = from > first ? from - first : 0;
    if (block.items == 0 || start >= block.entries || !LoadDirectory(number)) {
      continue;
    }
    for (std::uint64_t place = start; place < block.entries; ++place) {
      if (directory.good.test(static_cast<std::size_t>(place))) {
        return first + place;
      }
    }
  }
  return std::nullopt;
}

std::optional<std::uint64_t> cCaptureFile::LastItem() {
  for (std::size_t number = Blocks().size(); number-- > 0;) {
    const sCaptureBlock& block = Blocks()[number];
    if (block.items == 0 || !LoadDirectory(number)) {
      continue;
    }
    for (std::uint32_t place = block.entries; place-- > 0;) {
      if (directory.good.test(place)) {
        return block.number * isf::kItemsPerBlock + place;
      }
    }
  }
  return std::nullopt;
}

std::optional<sCaptureError> cCaptureFile::LoadDirectoryOf(std::uint64_t number) {
  if (number >= chain.NumbersEnd()) {
    return sCaptureError{"there is no " + NameOf(number), chain.End()};
  }
  const std::size_t blockNumber = FindBlock(number);
  const sCaptureBlock& block = Blocks()[blockNumber];
  if (block.number != number / isf::kItemsPerBlock) {
    return sCaptureError{NameOf(number) + " was passed over with its block", {}};
  }
  if (!LoadDirectory(blockNumber)) {
    return sCaptureError{
        "the directory of the block at offset " + std::to_string(block.offset) + " cannot be read",
        block.offset};
  }
  if (!IsAtHand(number)) {
    return sCaptureError{NameOf(number) + " was passed over",
                         block.offset + number % isf::kItemsPerBlock * isf::kDirectoryEntrySize};
  }
  return std::nullopt;
}

std::optional<sCaptureError> cCaptureFile::FindItem(std::uint64_t number) {
  if (!IsAtHand(number)) {
    if (auto wrong = LoadDirectoryOf(number)) {
      return wrong;
    }
  }
  if (EntryAtHand(number).length == 0) {
    return sCaptureError{
        NameOf(number) + " is no longer in its directory",
        Blocks()[*directoryBlock].offset + (number - firstAtHand) * isf::kDirectoryEntrySize};
  }
  return std::nullopt;
}

std::optional<sCaptureError> cCaptureFile::ReadTime(std::uint64_t number, std::uint64_t& time) {
  if (auto wrong = FindItem(number)) {
    return wrong;
  }
  const sCaptureBlock& block = Blocks()[*directoryBlock];
  const isf::sDirectoryEntry entry = EntryAtHand(number);
  const std::uint64_t offset = block.offset + isf::kBlockSize + entry.position;
  std::array<std::uint8_t, isf::kLongestRecordHead> bytes{};
  const auto head = std::span(bytes).first(entry.HeadSize());
  if (source.ReadAt(offset, head) != head.size()) {
    return sCaptureError{"the record of " + NameOf(number) + " cannot be read", offset};
  }
  time = isf::LoadRecordHead(entry, block.baseTime, head).time;
  return CheckTime(number, offset, time);
}

std::optional<sCaptureError> cCaptureFile::ReadItem(std::uint64_t number, sCaptureItem& item) {
  if (auto wrong = FindItem(number)) {
    return wrong;
  }
  const sCaptureBlock& block = Blocks()[*directoryBlock];
  const isf::sDirectoryEntry entry = EntryAtHand(number);
  const std::uint64_t offset = block.offset + isf::kBlockSize + entry.position;
  const auto record = records.Read(offset, entry.RecordSize());
  if (!record) {
    return sCaptureError{"the record of " + NameOf(number) + " cannot be read", offset};
  }
  const isf::sRecordHead head = isf::LoadRecordHead(entry, block.baseTime, *record);
  item.offset = offset;
  item.number = number;
  item.type = head.type;
  item.time = head.time;
  // Not copied as a whole, which would wait for its parts to be stored one by one.
  if (head.extra) {
    item.extra = *head.extra;
  } else {
    item.extra.reset();
  }
  if (auto wrong = CheckTime(number, offset, item.time)) {
    return wrong;
  }
  const auto packet = record->last(entry.length);
  // Into an empty vector it is one copy; over the bytes of another packet it would be two, of as
  // many bytes as there are and of the rest, and no processor foresees which packets are longer.
  item.bytes.clear();
  item.bytes.assign(packet.begin(), packet.end());
  return std::nullopt;
}

bool cCaptureFile::LoadDirectory(std::size_t block) {
  if (directoryBlock == block) {
    return true;
  }
  ForgetDirectory();
  if (!chain.LoadDirectory(block, directory)) {
    return false;
  }
  directoryBlock = block;
  firstAtHand = Blocks()[block].number * isf::kItemsPerBlock;
  return true;
}

void cCaptureFile::ForgetDirectory() {
  directoryBlock.reset();
  directory.good.reset();
}

}  // namespace corvane
