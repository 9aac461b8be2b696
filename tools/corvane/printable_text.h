#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace corvane::tools {

// Text that came out of a capture file, made fit for a terminal and for one line: in quotation
// marks, with control characters as "\x1B" and quotation marks and backslashes behind a backslash.
// `text` is UTF-8.
[[nodiscard]] std::string Quote(std::string_view text);

// Bytes as lines of 16, each led by `indent` and the number of its first byte, with the printable
// characters at its end.
void AppendHexDump(std::string& text, std::span<const std::uint8_t> bytes, std::string_view indent);

}  // namespace corvane::tools
