#include "capture/text_item.h"

#include <cstdio>
#include <utility>

#include "capture/isf/layout.h"

namespace corvane {

OwnedBuffer MakeTextItem(std::optional<std::string_view> text) {
  const std::size_t size = isf::TextItemSize(text);
  HeapBlock block = AllocateZeroedBlock(size);
  if (block == nullptr) {
    return nullptr;
  }
  isf::StoreTextItem(text, {block.get(), size});
  OwnedBuffer item = AdoptBlock(static_cast<std::int32_t>(size), std::move(block), kOriginLibrary);
  if (!IsUsable(item.get())) {
    return nullptr;
  }
  return item;
}

cPortMessage::cPortMessage(const char* deviceName, const char* whatHappened) {
  const int length =
      std::snprintf(buffer.data(), buffer.size(), "Port %s %s", deviceName, whatHappened);
  fits = length >= 0 && static_cast<std::size_t>(length) < buffer.size();
  if (!fits) {
    buffer[0] = '\0';
  }
}

std::optional<std::string_view> cPortMessage::Text() const {
  if (!fits) {
    return std::nullopt;
  }
  return buffer.data();
}

}  // namespace corvane
