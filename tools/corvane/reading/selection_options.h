#pragma once

#include <CLI/App.hpp>
#include <iosfwd>
#include <string>
#include <string_view>

#include "analysis/selected_items.h"
#include "analysis/selection.h"

// The options that select items, the same for every command that has them.
namespace corvane::tools {

// Adds --type, --log-code, --event, --ssid, --level, --direction, --from, --to, --contains and
// --invert. They fill `selection`, which must live until the arguments are parsed. Wrong values are
// wrong usage: CLI::ValidationError.
void AddSelectionOptions(CLI::App& command, sSelection& selection);

// What the help should say of them, a paragraph.
inline constexpr char kSelectionNotes[] =
    "--type, --log-code, --event and --ssid widen each other: an item is selected that fits one of "
    "them. All other options narrow. These four and --level take several values, with commas "
    "between them or by being given again. A name may be cut down to any part that no other name "
    "has. Items count from 0, and both bounds belong to what is selected.";

// Reads a time as --from takes it: of UTC or of another zone, one without its day, or one counted
// from the start. False for any other text. A day alone is all of it: it begins with its first
// millisecond and, where the bound is the upper one, ends with its last.
[[nodiscard]] bool TakeTime(std::string_view text, bool isUpper, sSelectionBound& bound);

// Says so when a selection of a capture's items has selected none.
void ReportNothingSelected(const char* command, const std::string& path,
                           const sSelectionOutcome& outcome, std::ostream& errors);

}  // namespace corvane::tools
