#pragma once

#include <CLI/App.hpp>

// The program's commands, and what their exit codes tell the caller.
namespace corvane::tools {

inline constexpr int kExitGood = 0;
inline constexpr int kExitFailed = 1;  // damaged or unreadable file, or the result could not be had
inline constexpr int kExitUsage = 2;   // the command line makes no sense
inline constexpr int kExitUnclosed = 3;  // not closed, but nothing contradicts what was read
inline constexpr int kExitNothing = 4;   // a capture that recorded nothing of its device

// Runs the command that the program's arguments ask for, on standard output and standard error.
// Returns the program's exit code.
[[nodiscard]] int RunCommandLine(int argc, const char* const* argv);

// Each of these adds a command to `app`. When the command was given, it runs during app.parse and
// leaves its exit code in `exitCode`, which must live until then.
void AddCutCommand(CLI::App& app, int& exitCode);
void AddExportCommand(CLI::App& app, int& exitCode);
void AddImportCommand(CLI::App& app, int& exitCode);
void AddInfoCommand(CLI::App& app, int& exitCode);
void AddListCommand(CLI::App& app, int& exitCode);
void AddMarkCommand(CLI::App& app, int& exitCode);
void AddMergeCommand(CLI::App& app, int& exitCode);
void AddProfileCommand(CLI::App& app, int& exitCode);
void AddRecoverCommand(CLI::App& app, int& exitCode);
void AddReportCommand(CLI::App& app, int& exitCode);
void AddStatsCommand(CLI::App& app, int& exitCode);
void AddVerifyCommand(CLI::App& app, int& exitCode);
void AddWiresharkCommand(CLI::App& app, int& exitCode);
// help, completion, and manual, which no help shows.
void AddFrameCommands(CLI::App& app, int& exitCode);
// These need corvane.dll and Windows. Elsewhere they only say so: who looks for one is told where
// it is.
void AddCaptureCommand(CLI::App& app, int& exitCode);
void AddDevicesCommand(CLI::App& app, int& exitCode);

}  // namespace corvane::tools
