#include "reader/block_chain.h"

#include <span>
#include <string>

#include "diag/little_endian.h"
#include "reader/directory_entry.h"

namespace corvane {

std::optional<sCaptureError> cBlockChain::Advance() {
  if (blocks.empty()) {
    const std::optional<std::uint64_t> size = source.Size();
    if (!size) {
      return sCaptureError{"the file's size cannot be found out", {}};
    }
    // Shorter files hold no block, or one that is just being written.
    if (*size < isf::kHeaderSize + isf::kBlockSize) {
      return std::nullopt;
    }
    if (auto error = AcceptBlock(isf::kHeaderSize)) {
      return error;
    }
  }
  TakeBackNewestEntry();
  for (;;) {
    if (auto error = LoadNewestBlock()) {
      return error;
    }
    if (auto error = AcceptEntries()) {
      return error;
    }
    const std::uint64_t next = Load64(newest.data() + isf::kNextBlockOffset);
    if (next == 0) {
      return std::nullopt;
    }
    if (auto error = CheckNextBlock(next)) {
      return error;
    }
    if (auto error = AcceptBlock(next)) {
      return error;
    }
  }
}

void cBlockChain::TakeBackNewestEntry() {
  // A block without entries was only entered once the one before it was full and final.
  if (blocks.back().items == 0) {
    return;
  }
  --blocks.back().items;
  --itemCount;
  end = endBeforeNewest;
  gapBytes = gapBytesBeforeNewest;
}

std::optional<sCaptureError> cBlockChain::AcceptBlock(std::uint64_t offset) {
  std::array<std::uint8_t, 8> field{};
  const std::uint64_t fieldOffset = offset + isf::kBaseTimeOffset;
  const std::string where = "base time of the block at offset " + std::to_string(offset);
  if (source.ReadAt(fieldOffset, field) != field.size()) {
    return sCaptureError{"the " + where + " cannot be read", fieldOffset};
  }
  const std::uint64_t baseTime = Load64(field.data());
  if (baseTime > isf::kLatestTime) {
    return sCaptureError{"the " + where + " is later than any clock can be", fieldOffset};
  }
  gapBytes += offset - end;
  end = offset + isf::kBlockSize;
  blocks.push_back({offset, baseTime, 0});
  return std::nullopt;
}

std::optional<sCaptureError> cBlockChain::LoadNewestBlock() {
  const sCaptureBlock& block = blocks.back();
  const std::uint32_t skipped = block.items * isf::kDirectoryEntrySize;
  const std::span<std::uint8_t> wanted = std::span(newest).subspan(skipped);
  const std::size_t count = source.ReadAt(block.offset + skipped, wanted);
  if (count != wanted.size()) {
    return sCaptureError{"the block at offset " + std::to_string(block.offset) + " cannot be read",
                         block.offset + skipped + count};
  }
  // The size is taken after the directory: a record is written before its entry, so every record
  // whose entry was just read lies within this size, also while the file grows.
  const std::optional<std::uint64_t> size = source.Size();
  if (!size) {
    return sCaptureError{"the file's size cannot be found out", {}};
  }
  fileSize = *size;
  return std::nullopt;
}

std::optional<sCaptureError> cBlockChain::AcceptEntries() {
  const std::span<const std::uint8_t> directory = std::span(newest).first(isf::kDirectorySize);
  sCaptureBlock& block = blocks.back();
  while (block.items < isf::kItemsPerBlock) {
    const auto bytes = directory.subspan(block.items * isf::kDirectoryEntrySize);
    if (IsAllZero(bytes.first(isf::kDirectoryEntrySize))) {
      if (IsAllZero(bytes)) {
        return std::nullopt;
      }
      return EntryError(block.items, "is unused, but entries after it are used");
    }
    if (auto error =
            AcceptEntry(isf::LoadDirectoryEntry(bytes.first<isf::kDirectoryEntrySize>()))) {
      return error;
    }
    ++block.items;
    ++itemCount;
  }
  return std::nullopt;
}

std::optional<sCaptureError> cBlockChain::AcceptEntry(const isf::sDirectoryEntry& entry) {
  const sCaptureBlock& block = blocks.back();
  if (entry.length == 0) {
    return EntryError(block.items, "has length 0");
  }
  const std::uint64_t record = block.offset + isf::kBlockSize + entry.position;
  if (record < end) {
    return EntryError(block.items, "points into the record before its own");
  }
  if (record > fileSize || fileSize - record < entry.RecordSize()) {
    return EntryError(block.items, "points past the end of the file");
  }
  endBeforeNewest = end;
  gapBytesBeforeNewest = gapBytes;
  gapBytes += record - end;
  end = record + entry.RecordSize();
  return std::nullopt;
}

std::optional<sCaptureError> cBlockChain::CheckNextBlock(std::uint64_t next) const {
  const sCaptureBlock& block = blocks.back();
  const char* problem = nullptr;
  if (block.items < isf::kItemsPerBlock) {
    problem = " names a next block although its directory is not full";
  } else if (next < end) {
    problem = " names a next block that lies before the end of its own records";
  } else if (next > fileSize || fileSize - next < isf::kBlockSize) {
    problem = " names a next block that runs past the end of the file";
  }
  if (problem == nullptr) {
    return std::nullopt;
  }
  return sCaptureError{"the block at offset " + std::to_string(block.offset) + problem,
                       block.offset + isf::kNextBlockOffset};
}

sCaptureError cBlockChain::EntryError(std::uint32_t entry, const char* problem) const {
  const std::uint64_t block = blocks.back().offset;
  return {"directory entry " + std::to_string(entry) + " of the block at offset " +
              std::to_string(block) + " " + problem,
          block + std::uint64_t{entry} * isf::kDirectoryEntrySize};
}

}  // namespace corvane
