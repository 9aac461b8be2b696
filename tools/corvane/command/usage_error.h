#pragma once

#include <CLI/App.hpp>
#include <iosfwd>
#include <string>
#include <vector>

namespace corvane::tools {

// Tells what is wrong with `arguments`, which `app` refused with `error`: one line that begins with
// the program's name and the command, with the command or option that was most likely meant, and
// one with where its help is.
void TellUsageError(const CLI::App& app, const CLI::ParseError& error,
                    const std::vector<std::string>& arguments, std::ostream& errors);

// The same of a word that is no command below `command`.
void TellUnknownCommand(const CLI::App& command, const std::string& word, std::ostream& errors);

}  // namespace corvane::tools
