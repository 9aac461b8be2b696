#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/bytes.h"

// A capture file as the library writes it, write by write.
namespace corvane {

// One write: where, and what.
struct sWrite {
  std::size_t offset;
  ByteVector bytes;
  bool isEntry = false;  // of a directory
};

// The writes that make a capture of `count` items, in the library's order: header; for each block
// the block, then the link to it; for each item the record, then its directory entry; index and
// trailer. Item n is NumberedPacket(n), of type 1, at kNoon + n.
[[nodiscard]] std::vector<sWrite> WritesOf(std::uint32_t count);

// Writes bytes `from` to `to` of `write` into `file`.
void WriteInto(ByteVector& file, const sWrite& write, std::size_t from, std::size_t to);

}  // namespace corvane
