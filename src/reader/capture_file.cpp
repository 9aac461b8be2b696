#include "reader/capture_file.h"

#include <algorithm>
#include <utility>

#include "reader/closing_check.h"

namespace corvane {
namespace {

constexpr std::size_t kLargeWindow = 256 * 1024;  // for reading in order; holds any record
constexpr std::size_t kSmallWindow = 4 * 1024;    // for reading here and there
// How often a file that changes while it is looked at is looked at again before its last answer is
// believed.
constexpr int kLooks = 100;

[[nodiscard]] std::optional<sCaptureError> CheckHeader(cByteSource& source) {
  std::array<std::uint8_t, isf::kHeaderSize> header{};
  const std::size_t count = source.ReadAt(0, header);
  if (count != header.size()) {
    return sCaptureError{"the file is too short to be a capture file", count};
  }
  if (!isf::IsHeader(header)) {
    return sCaptureError{"the file does not begin as a capture file does", 0};
  }
  return std::nullopt;
}

}  // namespace

std::unique_ptr<cCaptureFile> cCaptureFile::Open(const std::string& path, sCaptureError& error) {
  std::string reason;
  std::unique_ptr<cByteSource> source = cFileSource::Open(path, reason);
  if (source == nullptr) {
    error = {"the file cannot be opened (" + reason + ")", {}};
    return nullptr;
  }
  return Open(std::move(source), error);
}

std::unique_ptr<cCaptureFile> cCaptureFile::Open(std::unique_ptr<cByteSource> source,
                                                 sCaptureError& error) {
  if (auto wrong = CheckHeader(*source)) {
    error = std::move(*wrong);
    return nullptr;
  }
  std::unique_ptr<cCaptureFile> file(new cCaptureFile(std::move(source)));
  file->Refresh();
  return file;
}

cCaptureFile::cCaptureFile(std::unique_ptr<cByteSource> bytes)
    : source(std::move(bytes)), chain(*source) {}

void cCaptureFile::Refresh() {
  // The newest directory, and the bytes behind the last record, may have changed.
  directoryBlock.reset();
  window.clear();

  // Reading does not stop the writer, so it can be caught halfway: an entry may be seen without the
  // one before it, a trailer without the items that it counts. Looking again shows the rest. Only
  // what looks wrong in the same way twice is wrong.
  damage = FindDamage();
  for (int look = 1; damage && look < kLooks; ++look) {
    std::optional<sCaptureError> again = FindDamage();
    if (again == damage) {
      break;
    }
    damage = std::move(again);
  }
}

std::optional<sCaptureError> cCaptureFile::FindDamage() {
  closed = false;
  std::optional<sCaptureError> error = chain.Advance();
  const std::optional<std::uint64_t> now = source->Size();
  size = now.value_or(0);
  if (error) {
    return error;
  }
  if (!now) {
    return sCaptureError{"the file's size cannot be found out", {}};
  }
  sFileEnd end = CheckFileEnd(*source, chain, size);
  closed = end.closed;
  return std::move(end.error);
}

eCaptureState cCaptureFile::State() const {
  if (damage) {
    return eCaptureState::Damaged;
  }
  return closed ? eCaptureState::Complete : eCaptureState::Unclosed;
}

std::uint64_t cCaptureFile::UnclaimedBytes() const {
  std::uint64_t end = size;
  if (closed) {
    end -= isf::kTrailerSize + Blocks().size() * isf::kIndexEntrySize;
  }
  return chain.GapBytes() + (end < chain.End() ? 0 : end - chain.End());
}

std::optional<sCaptureError> cCaptureFile::ReadItem(std::uint64_t number, sCaptureItem& item) {
  if (number >= ItemCount()) {
    return sCaptureError{"there is no item " + std::to_string(number), chain.End()};
  }
  // All blocks before the last are full.
  const auto blockNumber = static_cast<std::size_t>(number / isf::kItemsPerBlock);
  const auto place = static_cast<std::uint32_t>(number % isf::kItemsPerBlock);
  if (directoryBlock != blockNumber) {
    if (auto error = LoadDirectory(blockNumber)) {
      return error;
    }
  }

  const sCaptureBlock& block = Blocks()[blockNumber];
  const isf::sDirectoryEntry entry =
      isf::LoadDirectoryEntry(std::span(directory)
                                  .subspan(std::size_t{place} * isf::kDirectoryEntrySize)
                                  .first<isf::kDirectoryEntrySize>());
  if (entry.length == 0) {
    return sCaptureError{"item " + std::to_string(number) + " is no longer in its directory",
                         block.offset + std::uint64_t{place} * isf::kDirectoryEntrySize};
  }
  item.offset = block.offset + isf::kBlockSize + entry.position;
  const std::optional<std::span<const std::uint8_t>> record =
      ReadRecord(item.offset, entry.RecordSize());
  if (!record) {
    return sCaptureError{"the record of item " + std::to_string(number) + " cannot be read",
                         item.offset};
  }

  item.number = number;
  const isf::sRecordHead head = isf::LoadRecordHead(entry, block.baseTime, *record);
  item.type = head.type;
  item.time = head.time;
  item.extra = head.extra;
  if (item.time > isf::kLatestTime) {
    return sCaptureError{
        "the time of item " + std::to_string(number) + " is later than any clock can be",
        item.offset};
  }
  const auto packet = record->last(entry.length);
  item.bytes.assign(packet.begin(), packet.end());
  return std::nullopt;
}

std::optional<sCaptureError> cCaptureFile::LoadDirectory(std::size_t block) {
  directoryBlock.reset();
  const std::uint64_t offset = Blocks()[block].offset;
  if (source->ReadAt(offset, directory) != directory.size()) {
    return sCaptureError{
        "the directory of the block at offset " + std::to_string(offset) + " cannot be read",
        offset};
  }
  directoryBlock = block;
  return std::nullopt;
}

std::optional<std::span<const std::uint8_t>> cCaptureFile::ReadRecord(std::uint64_t offset,
                                                                      std::size_t length) {
  const std::uint64_t windowEnd = windowOffset + window.size();
  const bool startsInside = offset >= windowOffset && offset <= windowEnd;
  if (!startsInside || windowEnd - offset < length) {
    window.resize(startsInside ? kLargeWindow : std::max(kSmallWindow, length));
    windowOffset = offset;
    window.resize(source->ReadAt(offset, window));
    if (window.size() < length) {
      return std::nullopt;
    }
  }
  return std::span<const std::uint8_t>(window).subspan(
      static_cast<std::size_t>(offset - windowOffset), length);
}

}  // namespace corvane
