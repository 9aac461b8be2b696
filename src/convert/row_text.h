#pragma once

#include <string>
#include <string_view>

// Text as rows of other formats hold it. Ill-formed UTF-8 becomes U+FFFD, one for each sequence
// that cannot be completed (as Unicode recommends), so that every reader takes the rows. A capture
// may come from a stranger, and rows are looked at in terminals and spreadsheets: no text of it
// does anything there.
namespace corvane {

// The text with U+FFFD for what is ill-formed.
[[nodiscard]] std::string WellFormed(std::string_view text);

// Appends a string of JSON (RFC 8259), quotation marks included. What acts on text around it
// (convert/characters.h) is written as "\u202e".
void AppendJsonString(std::string& row, std::string_view text);

// JSON whose strings are those of `json`, which is well-formed, without characters that act on
// text.
[[nodiscard]] std::string InertJson(std::string_view json);

// Appends a field of CSV (RFC 4180): in quotation marks where it holds a comma, a quotation mark or
// the end of a line. An apostrophe stands in front of a text that begins with =, +, -, @, a tab or
// a carriage return. But for line ends and tabs, what acts on text is written as "\x1B" or
// "\u202E". A number is none of its texts.
void AppendCsvField(std::string& row, std::string_view text);

// Appends a field that ends at a separator or at the line's end. What acts on text, line ends and
// tabs too, is written as "\x09".
void AppendSeparatedField(std::string& row, std::string_view text);

}  // namespace corvane
