#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <span>
#include <vector>

#include "capture/isf/layout.h"

namespace corvane {

// Writes a complete capture file (docs/capture-format.md) of items as they are: with their types,
// times, extra fields and bytes. The recorder's own store stamps items with the time of day and
// chooses their types; this one changes nothing. A file of the recorder whose items are written
// anew comes out with the same bytes.
//
// A block is written when its last item has come, in few writes: until Finish the file is not one
// that others can follow. Beside a block's directory the memory grows with the number of blocks, by
// 16 bytes each.
class cCaptureWriter {
 public:
  // `stream` is binary, empty, and can be moved about in. It is not owned and must outlive the
  // writer. Nobody else writes to it before Finish.
  explicit cCaptureWriter(std::ostream& stream);
  cCaptureWriter(const cCaptureWriter&) = delete;
  cCaptureWriter& operator=(const cCaptureWriter&) = delete;
  ~cCaptureWriter() = default;

  // Whether the format has room for such an item: a type up to 31, a time up to kLatestTime, a
  // packet of 1 to 65,535 bytes. More than the recorder writes, so a reader may find fault with it.
  [[nodiscard]] static bool CanHold(const isf::sRecordHead& head, std::size_t length);

  // Appends an item. False, and nothing is written, when the format has no room for it; false too
  // when the stream has failed, which IsGood tells apart.
  [[nodiscard]] bool Add(const isf::sRecordHead& head, std::span<const std::uint8_t> packet);

  // Writes what is missing of the last block, the block index and the trailer, and hands all of it
  // to the operating system. To be called once, behind the last item. False when the stream fails
  // or has failed. Closing the stream may still fail: look at that too.
  [[nodiscard]] bool Finish();

  // Whether everything so far could be written.
  [[nodiscard]] bool IsGood() const { return out.good(); }
  [[nodiscard]] std::uint64_t Items() const { return items; }

 private:
  void StartBlock(std::uint64_t baseTime);
  void FinishBlock(std::uint64_t nextBlock);
  void Append(std::span<const std::uint8_t> bytes);
  void Write(std::span<const std::uint8_t> bytes);

  std::ostream& out;
  std::uint64_t items = 0;
  std::uint64_t end = 0;  // of the file, where the next record goes
  std::vector<isf::sIndexEntry> blocks;
  std::vector<std::uint8_t> directory;  // of the newest block
};

}  // namespace corvane
