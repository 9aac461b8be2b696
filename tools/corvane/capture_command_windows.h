#pragma once

#include <CLI/App.hpp>
#include <chrono>
#include <iosfwd>
#include <optional>

#include "corvane/capture_checks.h"

namespace corvane::tools {

// Adds `corvane capture`. Contract as in AddInfoCommand.
void AddCaptureCommand(CLI::App& app, int& exitCode);

// Captures with corvane.dll until `duration` is over (without one: until a stop is requested, which
// also ends it earlier), and writes a status line every second to `status`. Returns the exit code,
// which is kExitGood only when the capture file was read back as complete. Throws
// std::runtime_error when the library cannot be loaded.
[[nodiscard]] int RunCapture(const sCaptureRequest& request,
                             std::optional<std::chrono::milliseconds> duration,
                             std::ostream& status);

}  // namespace corvane::tools
