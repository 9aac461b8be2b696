#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>

#include "reader/byte_source.h"
#include "support/bytes.h"

namespace corvane {

// Bytes in memory as a file, without a copy of them. They are not owned and must outlive this.
class cBytesSource final : public cByteSource {
 public:
  explicit cBytesSource(const ByteVector& all) : bytes(all) {}
  [[nodiscard]] std::optional<std::uint64_t> Size() override { return bytes.size(); }
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> wanted) override {
    const auto start = static_cast<std::size_t>(std::min<std::uint64_t>(offset, bytes.size()));
    const std::size_t count = std::min(wanted.size(), bytes.size() - start);
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(start), count, wanted.begin());
    return count;
  }

 private:
  const ByteVector& bytes;
};

}  // namespace corvane
