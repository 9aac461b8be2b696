#pragma once

namespace corvane::tools {

// Runs the command that the program's arguments ask for, on standard output and standard error.
// Returns the program's exit code (exit_codes.h).
[[nodiscard]] int RunCommandLine(int argc, const char* const* argv);

}  // namespace corvane::tools
