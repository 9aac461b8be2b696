#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "diag/shared_buffer.h"
#include "support/bytes.h"

namespace corvane {

// A buffer with a copy of `bytes`.
[[nodiscard]] inline OwnedBuffer MakePacket(const ByteVector& bytes,
                                            std::uint32_t origin = kOriginDevice) {
  return std::make_unique<sSharedBuffer>(bytes.data(), static_cast<std::int32_t>(bytes.size()),
                                         origin);
}

// What `buffer` holds; nothing for null and for an empty buffer.
[[nodiscard]] inline ByteVector ContentOf(const OwnedBuffer& buffer) {
  if (buffer == nullptr) {
    return {};
  }
  return {buffer->Bytes().begin(), buffer->Bytes().end()};
}

[[nodiscard]] inline ByteVector operator+(ByteVector first, const ByteVector& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

}  // namespace corvane
