#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <utility>

#include "reader/byte_source.h"

namespace corvane {

// The bytes of a file up to where another capture begins in it: all of them until that is known.
class cFirstCaptureBytes final : public cByteSource {
 public:
  explicit cFirstCaptureBytes(std::unique_ptr<cByteSource> all) : file(std::move(all)) {}

  [[nodiscard]] std::optional<std::uint64_t> Size() override;
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override;

  void EndAt(std::uint64_t offset) { end = offset; }
  [[nodiscard]] cByteSource& WholeFile() { return *file; }

 private:
  std::unique_ptr<cByteSource> file;
  std::uint64_t end = UINT64_MAX;
};

// Whether a capture begins at this offset of a file of `size` bytes: a header, and behind it a
// block with its first item where that has to be, or the trailer of a capture without items.
[[nodiscard]] bool IsCaptureAt(cByteSource& source, std::uint64_t offset, std::uint64_t size);

// The first capture with a block that begins at or behind `from`, wherever the one before it ends:
// two files were joined, and the first of them was cut off. Its first item has the block's time, as
// a recorder writes it, so that hardly a packet is taken for one. Reads up to it, or to the end of
// the file.
[[nodiscard]] std::optional<std::uint64_t> FindCaptureBehind(cByteSource& source,
                                                             std::uint64_t from,
                                                             std::uint64_t size);

}  // namespace corvane
