#pragma once

#include <cstdint>
#include <span>

#include "diag/shared_buffer.h"

namespace corvane {

// A new buffer with a copy of `bytes`. Null when there are no bytes, when there are more than
// kMaxBufferSize, or when memory runs out; never an unusable buffer.
[[nodiscard]] OwnedBuffer CopyToBuffer(std::span<const std::uint8_t> bytes, std::uint32_t origin);

}  // namespace corvane
