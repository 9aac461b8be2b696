#include "corvane/command/command_line.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "corvane/command/help.h"
#include "corvane/command/inert_messages.h"
#include "corvane/command/standard_streams.h"
#include "corvane/command/usage_error.h"
#include "corvane/live/extcap_command.h"

namespace corvane::tools {
namespace {

// What all commands have in common.
const sCommandHelp& ProgramHelp() {
  static const sCommandHelp help{
      .examples = {{"corvane capture --device COM7 --config lte.cfg --output drive.isf",
                    "Record what a modem tells on its DIAG port, on Windows", eNeeds::Device},
                   {"corvane info drive.isf", "What is in a capture, and whether it is good"},
                   {"corvane list drive.isf", "A line for each item"},
                   {"corvane export drive.isf -o drive.pcapng", "The signalling for Wireshark"},
                   {"corvane help list", "How one command is used"}},
      .notes =
          "Results go to standard output, and everything else to standard error. A file that a "
          "command makes gets its name when it is complete, and replaces one of that name only "
          "with --overwrite. Where a command reads a capture, - stands for standard input, whose "
          "bytes are kept in a temporary file as long as the command runs; --follow needs a file.",
      .exitCodes = {"0 done, and nothing is wrong",
                    "1 something is wrong: a file is damaged or "
                    "cannot be read, or the result could not be had",
                    "2 wrong usage: the command line makes no sense",
                    "3 a capture was read that is not closed: it is still being recorded, or its "
                    "recorder ended without closing it",
                    "4 nothing was captured of the device, or the modem's set-up was stuck"}};
  return help;
}

// Every command tells the version, and only the program's own help says so.
void AddVersion(CLI::App& command) {
  for (CLI::App* below : command.get_subcommands([](CLI::App*) { return true; })) {
    below->set_version_flag("--version", "corvane " CORVANE_VERSION)->group("");
    AddVersion(*below);
  }
}

void AddCommands(CLI::App& app, int& exitCode) {
  AddCaptureCommand(app, exitCode);
  AddCutCommand(app, exitCode);
  AddDevicesCommand(app, exitCode);
  AddExportCommand(app, exitCode);
  AddImportCommand(app, exitCode);
  AddInfoCommand(app, exitCode);
  AddListCommand(app, exitCode);
  AddMarkCommand(app, exitCode);
  AddMergeCommand(app, exitCode);
  AddProfileCommand(app, exitCode);
  AddRecoverCommand(app, exitCode);
  AddReportCommand(app, exitCode);
  AddStatsCommand(app, exitCode);
  AddVerifyCommand(app, exitCode);
  AddWiresharkCommand(app, exitCode);
  AddFrameCommands(app, exitCode);
  AddVersion(app);
}

// The exit code of a command that ended with `exitCode`: what it wrote may not have arrived.
[[nodiscard]] int JudgeOutput(const CLI::App& app, int exitCode) {
  if (std::cout.flush()) {
    return exitCode;
  }
  // Commands that fail because of it have told so.
  if (exitCode != kExitFailed) {
    const auto commands = app.get_subcommands();
    std::cerr << "corvane" << (commands.empty() ? "" : " " + commands.front()->get_name())
              << ": the output cannot be written\n";
  }
  return kExitFailed;
}

}  // namespace

int RunCommandLine(int argc, const char* const* argv) {
  const cUtf8Console console;
  const cInertMessages messages;
  const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
  if (IsExtcapCall(arguments)) {
    return RunExtcap(arguments, std::cout, std::cerr);
  }
  CLI::App app("Captures the DIAG traffic of cellular modems, and reads capture files", "corvane");
  app.set_help_flag("-h,--help", "Show this help");
  app.set_version_flag("--version", "corvane " CORVANE_VERSION, "Show the version");
  app.require_subcommand(1);
  // An argument that begins with a slash is a path on every system.
  app.allow_windows_style_options(false);
  AddHelp(app, ProgramHelp());
  int exitCode = kExitGood;
  AddCommands(app, exitCode);
  if (arguments.empty()) {
    std::cout << app.help();
    return JudgeOutput(app, kExitGood);
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
      return JudgeOutput(app, app.exit(error));  // help or version is asked for in this way
    }
    TellUsageError(app, error, arguments, std::cerr);
    return kExitUsage;
  } catch (const std::exception& error) {
    std::cerr << "corvane: " << error.what() << '\n';
    return kExitFailed;
  }
  return JudgeOutput(app, exitCode);
}

}  // namespace corvane::tools
