#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>

#include "reader/byte_source.h"

namespace corvane {

// A part of a file as a file of its own.
class cPartSource final : public cByteSource {
 public:
  // The part from file position `from` up to `to`. `source` is not owned and must outlive it.
  cPartSource(cByteSource& source, std::uint64_t from, std::uint64_t to)
      : whole(source), begin(from), end(to) {}

  [[nodiscard]] std::optional<std::uint64_t> Size() override { return end - begin; }
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
    const std::uint64_t size = end - begin;
    const std::uint64_t there = offset < size ? size - offset : 0;
    return whole.ReadAt(
        begin + offset,
        bytes.first(static_cast<std::size_t>(std::min<std::uint64_t>(there, bytes.size()))));
  }

 private:
  cByteSource& whole;
  std::uint64_t begin;
  std::uint64_t end;
};

}  // namespace corvane
