#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "diag/shared_buffer.h"

namespace corvane {

using tByteVector = std::vector<std::uint8_t>;

// A buffer with a copy of `bytes`.
[[nodiscard]] inline sOwnedBuffer MakePacket(const tByteVector& bytes,
                                             std::uint32_t origin = kOriginDevice) {
  return std::make_unique<sSharedBuffer>(bytes.data(), static_cast<std::int32_t>(bytes.size()),
                                         origin);
}

// What `buffer` holds; nothing for null and for an empty buffer.
[[nodiscard]] inline tByteVector ContentOf(const sOwnedBuffer& buffer) {
  if (buffer == nullptr) {
    return {};
  }
  return {buffer->Bytes().begin(), buffer->Bytes().end()};
}

[[nodiscard]] inline tByteVector operator+(tByteVector first, const tByteVector& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

}  // namespace corvane
