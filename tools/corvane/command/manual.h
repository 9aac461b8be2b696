#pragma once

#include <string>

#include "corvane/command/command_text.h"

namespace corvane::tools {

// The manual page (section 1) of `command`, in the man macros of roff. The commands below one that
// is not the program itself are told on its page. `root` is the program, whose page names them all.
[[nodiscard]] std::string ManualPage(const sCommandText& command, const sCommandText& root);

// The same as plain text: its help, and that of the commands below it.
[[nodiscard]] std::string PlainPage(const sCommandText& command);

// The page's name: "corvane-list".
[[nodiscard]] std::string PageName(const sCommandText& command);

// All of it as JSON, for programs: names, options with their values, examples, exit codes.
[[nodiscard]] std::string ManualAsJson(const sCommandText& root);

}  // namespace corvane::tools
