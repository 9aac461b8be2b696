#pragma once

#include <string>
#include <string_view>

// Text as rows of other formats hold it. Ill-formed UTF-8 becomes U+FFFD, one for each sequence
// that cannot be completed (as Unicode recommends), so that every reader takes the rows.
namespace corvane {

// The text with U+FFFD for what is ill-formed.
[[nodiscard]] std::string WellFormed(std::string_view text);

// Appends a string of JSON (RFC 8259), quotation marks included.
void AppendJsonString(std::string& row, std::string_view text);

// Appends a field of CSV (RFC 4180): in quotation marks where it holds a comma, a quotation mark or
// the end of a line.
void AppendCsvField(std::string& row, std::string_view text);

// Appends a field that ends at a separator or at the line's end. A control character, which could
// be one of them, is written as "\x09".
void AppendSeparatedField(std::string& row, std::string_view text);

}  // namespace corvane
