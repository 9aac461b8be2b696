#pragma once

#include <cstdint>
#include <string_view>

namespace corvane {

// White space as the C locale has it: blank, tab, line feed, vertical tab, form feed, carriage
// return.
inline constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

// Converts the start of `text` as strtoul does where `unsigned long` has 32 bits: white space, an
// optional sign, with base 16 an optional "0x" or "0X", then digits up to the first character that
// is none. `base` is 10 or 16.
//
// No digits give 0, a value above 0xFFFFFFFF gives 0xFFFFFFFF whatever its sign, and a minus
// negates any other value modulo 2^32.
[[nodiscard]] std::uint32_t ParseUnsigned32(std::string_view text, std::uint32_t base);

}  // namespace corvane
