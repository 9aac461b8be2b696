#include "reader/text_item.h"

#include "capture/isf/layout.h"
#include "diag/little_endian.h"

namespace corvane {
namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;

[[nodiscard]] constexpr bool IsHighSurrogate(std::uint32_t unit) { return unit >> 10 == 0x36; }
[[nodiscard]] constexpr bool IsLowSurrogate(std::uint32_t unit) { return unit >> 10 == 0x37; }

void AppendUtf8(std::string& text, std::uint32_t character) {
  const auto append = [&text](std::uint32_t byte) { text += static_cast<char>(byte); };
  if (character < 0x80) {
    append(character);
    return;
  }
  if (character < 0x800) {
    append(0xC0 | character >> 6);
  } else if (character < 0x10000) {
    append(0xE0 | character >> 12);
    append(0x80 | (character >> 6 & 0x3F));
  } else {
    append(0xF0 | character >> 18);
    append(0x80 | (character >> 12 & 0x3F));
    append(0x80 | (character >> 6 & 0x3F));
  }
  append(0x80 | (character & 0x3F));
}

}  // namespace

std::optional<std::string> DecodeTextItem(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kHeaderSize = 4;
  if (bytes.size() < kHeaderSize || Load32(bytes.data()) != isf::kTextItemHeader) {
    return std::nullopt;
  }
  std::string text;
  for (std::size_t place = kHeaderSize; bytes.size() - place >= 2;) {
    std::uint32_t character = Load16(&bytes[place]);
    place += 2;
    if (character == 0) {
      break;
    }
    if (IsHighSurrogate(character) && bytes.size() - place >= 2 &&
        IsLowSurrogate(Load16(&bytes[place]))) {
      character = 0x10000 + ((character & 0x3FF) << 10) + (Load16(&bytes[place]) & 0x3FFu);
      place += 2;
    } else if (IsHighSurrogate(character) || IsLowSurrogate(character)) {
      character = kReplacement;
    }
    AppendUtf8(text, character);
  }
  return text;
}

}  // namespace corvane
