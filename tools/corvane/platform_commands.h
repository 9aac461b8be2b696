#pragma once

#include <CLI/App.hpp>

namespace corvane::tools {

// Adds the commands that only the system has that this program was built for. Contract as in
// AddInfoCommand.
void AddPlatformCommands(CLI::App& app, int& exitCode);

}  // namespace corvane::tools
