#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

// The characters of a text that came from somewhere else, and may be anything.
namespace corvane {

inline constexpr std::string_view kHexDigits = "0123456789ABCDEF";

// The bytes of a text, which lends them.
[[nodiscard]] inline std::span<const std::uint8_t> BytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// The character that a text begins with.
struct sCharacter {
  std::size_t size = 0;  // in bytes; 1 for a byte that begins no character of UTF-8
  char32_t code = 0;     // that byte itself where it is none
  bool isUtf8 = false;
};

// `text` is not empty.
[[nodiscard]] sCharacter FirstCharacter(std::string_view text);

// Whether a character does something to the text around it instead of being seen: a control
// character (terminals obey those up to U+001F, U+007F and U+0080 to U+009F), a separator of lines
// or paragraphs (U+2028, U+2029), or one that turns the direction of writing (such as the override
// U+202E), by which a text can look like another one.
[[nodiscard]] bool ActsOnText(char32_t code);

// Appends a character as text that can be seen: "\x1B", and with four digits from U+0100 on:
// "\u202E".
void AppendAsNumber(std::string& text, char32_t code);

// Appends `added`, with numbers for the characters that act on text, but for those of `kept`
// (ASCII), and for bytes that are no UTF-8.
void AppendInert(std::string& text, std::string_view added, std::string_view kept);

}  // namespace corvane
