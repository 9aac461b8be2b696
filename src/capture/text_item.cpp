#include "capture/text_item.h"

#include <cstdint>
#include <cstdio>
#include <utility>

#include "capture/isf/layout.h"
#include "diag/little_endian.h"

namespace corvane {
namespace {

constexpr std::size_t kHeaderSize = 4;
constexpr std::size_t kCharacterSize = 2;

[[nodiscard]] std::uint16_t Widen(char character) {
  return static_cast<std::uint16_t>(static_cast<signed char>(character));
}

}  // namespace

OwnedBuffer MakeTextItem(std::optional<std::string_view> text) {
  const std::size_t size =
      kHeaderSize + (text.has_value() ? (text->size() + 1) * kCharacterSize : 0);
  HeapBlock block(static_cast<std::uint8_t*>(std::calloc(size, 1)));
  if (block == nullptr) {
    return nullptr;
  }
  Store32(block.get(), isf::kTextItemHeader);
  std::uint8_t* position = block.get() + kHeaderSize;
  for (const char character : text.value_or(std::string_view())) {
    Store16(position, Widen(character));
    position += kCharacterSize;
  }
  OwnedBuffer item = AdoptBlock(static_cast<std::int32_t>(size), std::move(block), kOriginLibrary);
  if (item == nullptr || !item->IsUsable()) {
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
