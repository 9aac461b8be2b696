#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

namespace corvane {

[[nodiscard]] inline bool IsAllZero(std::span<const std::uint8_t> bytes) {
  // Every byte equals the one before it: a comparison of memory, quicker than a loop over bytes.
  return bytes.empty() ||
         (bytes[0] == 0 && std::equal(bytes.begin() + 1, bytes.end(), bytes.begin()));
}

}  // namespace corvane
