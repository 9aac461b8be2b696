#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <span>

#include "reader/byte_source.h"

// What the targets share: how they stop, and how they read a capture in memory.
namespace corvane {

// Stops the fuzzer, which then keeps the input, with "Not true: <what>" unless `holds`.
inline void Require(bool holds, const char* what) {
  if (!holds) {
    std::fprintf(stderr, "Not true: %s\n", what);
    std::abort();
  }
}

// A capture file in memory, which must outlive the object.
class cBytesSource final : public cByteSource {
 public:
  explicit cBytesSource(std::span<const std::uint8_t> all) : file(all) {}

  [[nodiscard]] std::optional<std::uint64_t> Size() override { return file.size(); }
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
    const auto rest =
        file.subspan(static_cast<std::size_t>(std::min<std::uint64_t>(offset, file.size())));
    const std::size_t count = std::min(bytes.size(), rest.size());
    std::copy_n(rest.begin(), count, bytes.begin());
    return count;
  }

 private:
  std::span<const std::uint8_t> file;
};

}  // namespace corvane
