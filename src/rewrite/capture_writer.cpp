#include "rewrite/capture_writer.h"

#include <algorithm>
#include <limits>

namespace corvane {
namespace {

constexpr std::size_t kLongestHeld = std::numeric_limits<std::uint16_t>::max();

// A directory has 32 bits for the position of a record behind the block: a block full of the
// longest records that the format has stays far below that.
static_assert(std::uint64_t{isf::kItemsPerBlock} * (isf::kLongestRecordHead + kLongestHeld) <=
              std::numeric_limits<std::uint32_t>::max());

}  // namespace

cCaptureWriter::cCaptureWriter(std::ostream& stream) : out(stream), directory(isf::kDirectorySize) {
  Append(isf::StoreHeader());
}

bool cCaptureWriter::CanHold(const isf::sRecordHead& head, std::size_t length) {
  return head.type < isf::kItemTypes && head.time <= isf::kLatestTime && length != 0 &&
         length <= kLongestHeld;
}

bool cCaptureWriter::Add(const isf::sRecordHead& head, std::span<const std::uint8_t> packet) {
  if (!CanHold(head, packet.size()) || !out) {
    return false;
  }
  const auto place = static_cast<std::size_t>(items % isf::kItemsPerBlock);
  if (place == 0) {
    if (!blocks.empty()) {
      FinishBlock(end);
    }
    StartBlock(head.time);
  }
  const isf::sIndexEntry& block = blocks.back();
  const isf::sStoredRecordHead stored = isf::StoreRecordHead(head, block.baseTime);
  const std::uint64_t position = end - (block.blockOffset + isf::kBlockSize);
  const auto entry = isf::StoreDirectoryEntry({stored.flags, static_cast<std::uint32_t>(position),
                                               static_cast<std::uint16_t>(packet.size())});
  std::copy(entry.begin(), entry.end(),
            directory.begin() + static_cast<std::ptrdiff_t>(place * isf::kDirectoryEntrySize));
  Append(stored.Bytes());
  Append(packet);
  ++items;
  return out.good();
}

bool cCaptureWriter::Finish() {
  if (!blocks.empty()) {
    FinishBlock(0);
  }
  for (const isf::sIndexEntry& block : blocks) {
    Append(isf::StoreIndexEntry(block));
  }
  // The trailer has 32 bits for the count; a longer capture's count goes round.
  Append(isf::StoreTrailer({.itemCount = static_cast<std::uint32_t>(items)}));
  out.flush();
  return out.good();
}

// Makes room for the block in front of its records.
void cCaptureWriter::StartBlock(std::uint64_t baseTime) {
  blocks.push_back({end, baseTime});
  std::fill(directory.begin(), directory.end(), std::uint8_t{0});
  Append(directory);
  Append(isf::StoreBlockTail({.baseTime = baseTime}));
}

void cCaptureWriter::FinishBlock(std::uint64_t nextBlock) {
  const isf::sIndexEntry& block = blocks.back();
  out.seekp(static_cast<std::streamoff>(block.blockOffset));
  Write(directory);
  Write(isf::StoreBlockTail({nextBlock, block.baseTime}));
  out.seekp(static_cast<std::streamoff>(end));
}

void cCaptureWriter::Append(std::span<const std::uint8_t> bytes) {
  Write(bytes);
  end += bytes.size();
}

void cCaptureWriter::Write(std::span<const std::uint8_t> bytes) {
  // The one place where the file's bytes become the stream's characters.
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
}

}  // namespace corvane
