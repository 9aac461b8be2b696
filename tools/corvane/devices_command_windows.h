#pragma once

#include <CLI/App.hpp>
#include <iosfwd>

namespace corvane::tools {

// Adds `corvane devices`. Contract as in AddInfoCommand.
void AddDevicesCommand(CLI::App& app, int& exitCode);

// Writes a line for each device that a capture could use now: the name in the form that --device
// takes, and what is known of it.
void ShowDevices(std::ostream& out);

}  // namespace corvane::tools
