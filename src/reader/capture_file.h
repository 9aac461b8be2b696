#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "capture/isf/layout.h"
#include "reader/block_chain.h"
#include "reader/byte_source.h"
#include "reader/capture_error.h"

namespace corvane {

enum class eCaptureState {
  Complete,  // closed: block index and trailer are there, and everything agrees
  Unclosed,  // no trailer: still being written, cut off, or its writer died. The items are good
  Damaged,   // something is wrong (Damage() says what); the items counted are those before it
};

// One item, read back.
struct sCaptureItem {
  std::uint64_t number = 0;            // from 0, in file order
  std::uint64_t time = 0;              // milliseconds since 1601-01-01 UTC
  std::uint32_t type = 0;              // 0 to 31, see capture/isf/layout.h
  std::optional<std::uint32_t> extra;  // the extra field, where the record has one
  std::vector<std::uint8_t> bytes;     // the packet, never empty
  std::uint64_t offset = 0;            // file position of the record
};

// A capture file (docs/capture-format.md), opened for reading.
//
// Opening walks the blocks and checks every directory entry, and the index and trailer of a closed
// file, without reading records. Any item can then be read through the directories. A file that
// another process is writing is read up to the newest item whose directory entry is there.
//
// No file content makes it crash, hang, or read outside the file. Beside buffers of fixed size, its
// memory grows only with the number of blocks that the file really holds. Not for use from two
// threads at once.
class cCaptureFile {
 public:
  // Null, with `error` filled, when the file cannot be opened or does not begin as a capture file
  // does (an empty file included). Anything found wrong later leaves an object whose State() is
  // Damaged.
  [[nodiscard]] static std::unique_ptr<cCaptureFile> Open(const std::string& path,
                                                          sCaptureError& error);
  [[nodiscard]] static std::unique_ptr<cCaptureFile> Open(std::unique_ptr<cByteSource> source,
                                                          sCaptureError& error);

  // Takes up what was written since the file was opened or last refreshed, and finds the state
  // anew. Reads the rest of the newest directory and what follows, so it is cheap enough for a live
  // status line.
  void Refresh();

  [[nodiscard]] eCaptureState State() const;
  [[nodiscard]] bool IsComplete() const { return State() == eCaptureState::Complete; }
  // What is wrong with the file; nothing unless State() is Damaged.
  [[nodiscard]] const std::optional<sCaptureError>& Damage() const { return damage; }

  // Good items; the numbers 0 to ItemCount() - 1 can be read.
  [[nodiscard]] std::uint64_t ItemCount() const { return chain.ItemCount(); }
  [[nodiscard]] const std::vector<sCaptureBlock>& Blocks() const { return chain.Blocks(); }
  // The size of the file in bytes.
  [[nodiscard]] std::uint64_t Size() const { return size; }
  // Bytes that belong to nothing: left between records by writes that failed, and, in a file that
  // is not complete, whatever follows the last good record.
  [[nodiscard]] std::uint64_t UnclaimedBytes() const;

  // Reads item `number` into `item`, whose memory is reused. Returns what went wrong, or nothing;
  // after an error the content of `item` means nothing. Reading in ascending order is fastest.
  [[nodiscard]] std::optional<sCaptureError> ReadItem(std::uint64_t number, sCaptureItem& item);

 private:
  explicit cCaptureFile(std::unique_ptr<cByteSource> bytes);

  [[nodiscard]] std::optional<sCaptureError> FindDamage();
  [[nodiscard]] std::optional<sCaptureError> LoadDirectory(std::size_t block);
  [[nodiscard]] std::optional<std::span<const std::uint8_t>> ReadRecord(std::uint64_t offset,
                                                                        std::size_t length);

  std::unique_ptr<cByteSource> source;
  cBlockChain chain;
  std::uint64_t size = 0;
  bool closed = false;
  std::optional<sCaptureError> damage;

  // The directory that items were last read through.
  std::array<std::uint8_t, isf::kDirectorySize> directory{};
  std::optional<std::size_t> directoryBlock;
  // A stretch of the file around the record last read.
  std::vector<std::uint8_t> window;
  std::uint64_t windowOffset = 0;
};

}  // namespace corvane
