#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace corvane {

struct sMessageText {
  std::string text;
  std::size_t argumentsPutIn = 0;  // how many, from the first on
};

// The text of a debug message with its arguments put in, by the rules of printf: conversions d, i,
// u, x, X, o, c, p and s with flags, width and precision. All arguments are 32 bits wide, whatever
// length the text gives them. A string lies in the modem's memory: its address is shown. A
// character that cannot be printed is shown as "\x07".
//
// A text that wants more arguments than there are stays as it is, and so does one with any other
// conversion, with "*", or with a width or precision above 99. So the result is never longer than
// the text and 100 characters for each argument.
[[nodiscard]] sMessageText FormatMessageText(std::string_view format,
                                             std::span<const std::uint32_t> arguments);

}  // namespace corvane
