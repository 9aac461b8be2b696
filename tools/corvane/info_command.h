#pragma once

#include <CLI/App.hpp>
#include <iosfwd>
#include <string>

namespace corvane::tools {

// Adds `corvane info`. When the command was given, it runs during app.parse and leaves its exit
// code (exit_codes.h) in `exitCode`, which must live until then.
void AddInfoCommand(CLI::App& app, int& exitCode);

// Describes the capture file at `path` on `out`; what is wrong with it goes to `errors`. Returns
// the exit code.
[[nodiscard]] int ShowInfo(const std::string& path, std::ostream& out, std::ostream& errors);

}  // namespace corvane::tools
