#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "convert/row_text.h"

// Values as text that a user reads.
namespace corvane::tools {

// Text that came out of a capture file, made fit for a terminal and for one line: in quotation
// marks, with characters that act on text (convert/characters.h) and bytes that are no UTF-8 as
// "\x1B" or "\u202E", and quotation marks and backslashes behind a backslash.
[[nodiscard]] std::string Quote(std::string_view text);

// The same without quotation marks, and with quotation marks and backslashes as they are: for
// places that show where a text ends.
[[nodiscard]] std::string Readable(std::string_view text);

// A value of nlohmann's library as JSON in one line. Texts may be any bytes (convert/row_text.h).
template <typename Json>
[[nodiscard]] std::string JsonText(const Json& value) {
  return InertJson(value.dump(-1, ' ', false, Json::error_handler_t::replace));
}

// Bytes as lines of 16, each led by `indent` and the number of its first byte, with the printable
// characters at its end.
void AppendHexDump(std::string& text, std::span<const std::uint8_t> bytes, std::string_view indent);

// A byte count in the largest decimal unit that leaves a number of 1 or more: "998 B", "1.5 MB".
[[nodiscard]] std::string FormatBytes(std::uint64_t bytes);

// A count with thousands separated: "1,204".
[[nodiscard]] std::string FormatCount(std::uint64_t count);

// "1 item", "1,204 items"
[[nodiscard]] std::string FormatItems(std::uint64_t count);

// Hours, minutes and seconds, "0:00:07"; parts of a second are cut off.
[[nodiscard]] std::string FormatElapsed(std::chrono::milliseconds elapsed);

}  // namespace corvane::tools
