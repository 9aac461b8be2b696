#include "convert/characters.h"

#include <algorithm>
#include <cstdint>

namespace corvane {
namespace {

// How many bytes the character in front of `text` has; 0 when that is no UTF-8.
[[nodiscard]] std::size_t SizeInUtf8(std::string_view text) {
  const auto byte = [&text](std::size_t place) {
    return place < text.size() ? static_cast<std::uint8_t>(text[place]) : std::uint8_t{0};
  };
  const std::uint8_t first = byte(0);
  if (first < 0x80) {
    return 1;
  }
  if (first < 0xC2 || first > 0xF4) {
    return 0;
  }
  // Longer forms than needed, surrogates and numbers above U+10FFFF show in the second byte.
  const std::uint8_t least = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
  const std::uint8_t most = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
  if (byte(1) < least || byte(1) > most) {
    return 0;
  }
  const std::size_t size = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  for (std::size_t place = 2; place < size; ++place) {
    if ((byte(place) & 0xC0) != 0x80) {
      return 0;
    }
  }
  return size;
}

}  // namespace

sCharacter FirstCharacter(std::string_view text) {
  const std::size_t size = SizeInUtf8(text);
  const auto first = static_cast<std::uint8_t>(text.front());
  if (size <= 1) {
    return {1, first, size == 1};
  }
  char32_t code = first & (0x7FU >> size);
  for (const char next : text.substr(1, size - 1)) {
    code = code << 6 | (static_cast<std::uint8_t>(next) & 0x3FU);
  }
  return {size, code, true};
}

bool ActsOnText(char32_t code) {
  constexpr char32_t kArabicLetterMark = 0x061C;
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == kArabicLetterMark ||
         code == 0x200E || code == 0x200F ||    // marks of a direction
         (code >= 0x2028 && code <= 0x202E) ||  // separators, embeddings and overrides
         (code >= 0x2066 && code <= 0x206F);    // isolates, and old ways to turn digits and letters
}

void AppendAsNumber(std::string& text, char32_t code) {
  const bool isLong = code > 0xFF;
  text += isLong ? "\\u" : "\\x";
  for (int shift = isLong ? 12 : 4; shift >= 0; shift -= 4) {
    text += kHexDigits[code >> shift & 0xF];
  }
}

void AppendInert(std::string& text, std::string_view added, std::string_view kept) {
  const auto acts = [](char byte) { return byte < ' ' || byte > '~'; };  // or may do so
  while (!added.empty()) {
    const auto plain = static_cast<std::size_t>(std::ranges::find_if(added, acts) - added.begin());
    text += added.substr(0, plain);
    added.remove_prefix(plain);
    if (added.empty()) {
      break;
    }
    const sCharacter character = FirstCharacter(added);
    const bool isKept = kept.find(added.front()) != kept.npos;
    if (!isKept && (!character.isUtf8 || ActsOnText(character.code))) {
      AppendAsNumber(text, character.code);
    } else {
      text += added.substr(0, character.size);
    }
    added.remove_prefix(character.size);
  }
}

}  // namespace corvane
