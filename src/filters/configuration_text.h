#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// What a configuration's text is made of: tagged sections of items, which are numbers.
namespace corvane {

// What stands between the tags of every section `sectionName` in a configuration text, in the order
// of the text. The bodies are views of `text`.
//
// A section runs from its opening tag "<name>" to the next closing tag "</name>", both matched byte
// for byte; what stands outside is ignored. The scan ends where either tag is missing, and at a
// closing tag that stands before the next opening tag, even if complete sections follow.
[[nodiscard]] std::vector<std::string_view> FindSectionBodies(std::string_view text,
                                                              std::string_view sectionName);

// The items of a section's body, as views of it: separated by runs of commas, never empty, with
// their white space and line breaks. A NUL ends the items of its section.
[[nodiscard]] std::vector<std::string_view> SplitSectionBody(std::string_view body);

// The items of every section `sectionName` in a configuration text, in the order of the text.
[[nodiscard]] std::vector<std::string> ExtractSectionItems(std::string_view text,
                                                           std::string_view sectionName);

// The pieces of `text` between runs of `separator`. A run counts as one separator and an empty
// piece does not exist, at neither end nor in between. The pieces are views of `text`.
[[nodiscard]] std::vector<std::string_view> SplitAtRuns(std::string_view text, char separator);

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
