#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "support/bytes.h"

// Takes a capture file apart, independently of the code that writes and reads them: it has the
// format's numbers of its own. Reading past the end of the file throws std::out_of_range, a wrong
// magic number std::runtime_error; either fails the test.
namespace corvane {

struct sDecodedItem {
  std::uint64_t position = 0;  // of the record in the file
  std::uint64_t end = 0;       // one past the record
  unsigned type = 0;
  unsigned widthCode = 0;
  std::uint64_t timeField = 0;  // as it stands in the record
  std::uint64_t time = 0;       // milliseconds since 1601
  std::optional<std::uint32_t> extra;
  ByteVector packet;
};

struct sDecodedBlock {
  std::uint64_t position = 0;
  std::uint64_t nextBlock = 0;
  std::uint64_t baseTime = 0;
  std::vector<sDecodedItem> items;
};

struct sDecodedIndexEntry {
  std::uint64_t blockOffset = 0;
  std::uint64_t baseTime = 0;
};

struct sDecodedEnd {
  std::vector<sDecodedIndexEntry> index;
  std::uint64_t zero = 0;
  std::uint32_t itemCount = 0;
  std::uint64_t indexPosition = 0;
};

struct sDecodedCapture {
  std::vector<sDecodedBlock> blocks;

  // The items of all blocks, in order.
  [[nodiscard]] std::vector<sDecodedItem> Items() const;
};

// The blocks and items of a file that may still be growing. A file of a header only, or of a header
// and a trailer, has no block.
[[nodiscard]] sDecodedCapture DecodeCapture(const ByteVector& file);

// Whether the file ends as a closed one does.
[[nodiscard]] bool HasTrailer(const ByteVector& file);

// What stands behind the last record of a closed file of so many blocks.
[[nodiscard]] sDecodedEnd DecodeEnd(const ByteVector& file, std::size_t blocks);

}  // namespace corvane
