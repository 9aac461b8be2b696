#include "diag/buffer_copy.h"

#include <new>

namespace corvane {

OwnedBuffer CopyToBuffer(std::span<const std::uint8_t> bytes, std::uint32_t origin) {
  if (bytes.empty() || bytes.size() > kMaxBufferSize) {
    return nullptr;
  }
  const auto length = static_cast<std::int32_t>(bytes.size());
  OwnedBuffer copy(new (std::nothrow) sSharedBuffer(bytes.data(), length, origin));
  if (copy == nullptr || !copy->IsUsable()) {
    return nullptr;
  }
  return copy;
}

}  // namespace corvane
