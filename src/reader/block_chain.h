#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "capture/isf/layout.h"
#include "reader/byte_source.h"
#include "reader/capture_error.h"

namespace corvane {

// One block of a capture file.
struct sCaptureBlock {
  std::uint64_t offset = 0;    // file position
  std::uint64_t baseTime = 0;  // milliseconds since 1601-01-01 UTC
  std::uint32_t items = 0;     // entries of its directory that are used and good
};

// Follows the blocks of a capture file from the first one on and checks their directories. Records
// are not read. Each call goes on where the one before stopped, with the newest entry: seen while
// it was being written, it may have lacked its last bytes.
//
// What it has accepted holds together: every block but the last is full, blocks and records follow
// each other in the file without overlapping, and all of them lie inside the file.
class cBlockChain {
 public:
  // `bytes` is not owned and must outlive the chain.
  explicit cBlockChain(cByteSource& bytes) : source(bytes) {}

  // Accepts the blocks and items that came since the last call. Returns what is wrong with the next
  // one, or nothing when the chain just ends there. In a file that is being written, an error may
  // only mean that the writer was overtaken: it is real when a second call returns the same.
  [[nodiscard]] std::optional<sCaptureError> Advance();

  [[nodiscard]] const std::vector<sCaptureBlock>& Blocks() const { return blocks; }
  [[nodiscard]] std::uint64_t ItemCount() const { return itemCount; }
  // File position behind the last accepted record or block (behind the header before the first).
  [[nodiscard]] std::uint64_t End() const { return end; }
  // Bytes before End() that belong to no block and no record.
  [[nodiscard]] std::uint64_t GapBytes() const { return gapBytes; }

 private:
  void TakeBackNewestEntry();
  [[nodiscard]] std::optional<sCaptureError> AcceptBlock(std::uint64_t offset);
  [[nodiscard]] std::optional<sCaptureError> LoadNewestBlock();
  [[nodiscard]] std::optional<sCaptureError> AcceptEntries();
  [[nodiscard]] std::optional<sCaptureError> AcceptEntry(const isf::sDirectoryEntry& entry);
  [[nodiscard]] std::optional<sCaptureError> CheckNextBlock(std::uint64_t next) const;
  [[nodiscard]] sCaptureError EntryError(std::uint32_t entry, const char* problem) const;

  cByteSource& source;
  std::vector<sCaptureBlock> blocks;
  std::uint64_t itemCount = 0;
  std::uint64_t end = isf::kHeaderSize;
  std::uint64_t gapBytes = 0;
  // The last two as they were before the newest entry was accepted.
  std::uint64_t endBeforeNewest = 0;
  std::uint64_t gapBytesBeforeNewest = 0;
  // The newest block as last read, from its first entry that is not accepted yet, and the size that
  // the file had after that.
  std::array<std::uint8_t, isf::kBlockSize> newest{};
  std::uint64_t fileSize = 0;
};

}  // namespace corvane
