#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "analysis/selection.h"

// Numbers of DIAG that a user gives as such, as ranges, or by the field's names for them.
namespace corvane::tools {

// Each of these takes one word as the user typed it and adds what it stands for. They return what
// is wrong with it, as the end of a sentence: "\"lte\" is part of 60 log codes: ...". Nothing when
// it is good.
//
// A name may be given in any letter case, with blanks or hyphens between its words, and any part of
// it will do that no other name has. The whole of a name always means that one.

// A log code as the field writes it, "0xB0C0" or "B0C0", a range of them, "0xB0C0-0xB0FF", or a
// name (describe/names.h). Numbers are hexadecimal; without "0x" they have four digits.
[[nodiscard]] std::optional<std::string> TakeLogCodes(std::string_view word,
                                                      std::vector<sNumberRange>& ranges);
// An event ID from 0 to 4095, "1606" or "0x646", a range, or a name.
[[nodiscard]] std::optional<std::string> TakeEvents(std::string_view word,
                                                    std::vector<sNumberRange>& ranges);
// A subsystem ID from 0 to 65535, a range, or a name, which means all IDs of its range.
[[nodiscard]] std::optional<std::string> TakeSsids(std::string_view word,
                                                   std::vector<sNumberRange>& ranges);
// A level of debug messages, low, medium, high, error or fatal, or the number of its bit, 0 to 31.
[[nodiscard]] std::optional<std::string> TakeLevel(std::string_view word, std::uint32_t& levels);
// The levels that have names, from the lowest on.
[[nodiscard]] std::vector<std::string> MessageLevelNames();

// A name in small letters with hyphens between its words: "lte-rrc-state-change".
[[nodiscard]] std::string Hyphenate(std::string_view name);

// The place of the one name that is `word`, or has it as a part, among `names`, which are
// hyphenated. Nothing where there is none or several; `problem` then receives why, with the names
// that it could be, at most ten. `what` says what they name: "log codes".
[[nodiscard]] std::optional<std::size_t> FindName(std::span<const std::string> names,
                                                  std::string_view word, const char* what,
                                                  std::string& problem);

// Those of `names` that are most like `word`, the likest first, at most `most`; none where none is
// like it.
[[nodiscard]] std::vector<std::string> NearestNames(std::span<const std::string> names,
                                                    std::string_view word, std::size_t most);

}  // namespace corvane::tools
