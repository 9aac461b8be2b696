#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "capture/isf/layout.h"
#include "reader/byte_source.h"

// A capture from which bytes were removed, or into which some were put, as it was: the block index
// tells where each block stood and with which base time, or else each block where the next one did.
namespace corvane {

// Bytes of the file as it was, and how far behind their places they stand now.
struct sMovedPiece {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
  std::int64_t distance = 0;  // negative: in front of their places
};

struct sRealignment {
  std::uint64_t size = 0;           // of the file as it was
  std::vector<sMovedPiece> pieces;  // in order; what lies between them is lost
  // Lost bytes that are known from elsewhere, with their places: ends of blocks, and the block
  // index and the trailer of a capture that was not closed.
  std::vector<std::pair<std::uint64_t, std::vector<std::uint8_t>>> known;

  // Where a byte of a piece stands now.
  [[nodiscard]] std::uint64_t PlaceNow(std::uint64_t place) const;
};

// Nothing when the file does not begin as a capture does, when all is in its place, when no block
// is found, and when far more would have been lost than is left. Of a record or a directory entry
// that may not be whole all bytes are lost, and of entries without records and records without
// entries too.
[[nodiscard]] std::optional<sRealignment> FindRealignment(cByteSource& file, std::uint64_t size);

// The file as it was. Zeros stand for what is lost.
class cRealignedSource final : public cByteSource {
 public:
  // Neither is owned, and both must outlive it.
  cRealignedSource(cByteSource& source, const sRealignment& realignment)
      : file(source), was(realignment) {}

  [[nodiscard]] std::optional<std::uint64_t> Size() override { return was.size; }
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override;

 private:
  cByteSource& file;
  const sRealignment& was;
};

}  // namespace corvane
