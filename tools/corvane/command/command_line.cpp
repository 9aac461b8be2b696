#include "corvane/command/command_line.h"

#include <fmt/format.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "corvane/command/standard_streams.h"
#include "corvane/live/extcap_command.h"

namespace corvane::tools {
namespace {

// The first word that stands where a command is wanted and is none, with the words before it:
// "wireshark foo". Empty when there is none.
[[nodiscard]] std::string WrongCommand(const CLI::App& app,
                                       const std::vector<std::string>& arguments) {
  const CLI::App* command = &app;
  std::string words;
  for (const std::string& word : arguments) {
    if (command->get_require_subcommand_min() == 0) {
      break;  // what follows are its own arguments
    }
    if (word.starts_with('-')) {
      continue;  // where a command is wanted no option has a value
    }
    words += (words.empty() ? "" : " ") + word;
    const auto named = command->get_subcommands(
        [&word](const CLI::App* candidate) { return candidate->check_name(word); });
    if (named.empty()) {
      return words;
    }
    command = named.front();
  }
  return {};
}

// Tells what is wrong with the arguments, the word that nobody knows rather than the one that is
// missing; help and version are asked for in the same way.
[[nodiscard]] int ReportUsage(const CLI::App& app, const CLI::ParseError& error,
                              const std::vector<std::string>& arguments) {
  if (error.get_exit_code() == 0) {
    return app.exit(error);
  }
  const std::vector<std::string> unknown = app.remaining(true);
  if (const std::string command = WrongCommand(app, arguments); !command.empty()) {
    app.exit(CLI::ValidationError(fmt::format("there is no command {}", command)));
  } else if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError) &&
             !unknown.empty()) {
    app.exit(CLI::ExtrasError(unknown));
  } else {
    app.exit(error);
  }
  return kExitUsage;
}

}  // namespace

int RunCommandLine(int argc, const char* const* argv) {
  const cUtf8Console console;
  const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
  if (IsExtcapCall(arguments)) {
    return RunExtcap(arguments, std::cout, std::cerr);
  }
  CLI::App app("Captures the DIAG traffic of cellular modems, and reads capture files.", "corvane");
  app.set_version_flag("--version", "corvane " CORVANE_VERSION);
  app.require_subcommand(1);
  // An argument that begins with a slash is a path on every system.
  app.allow_windows_style_options(false);
  int exitCode = kExitGood;
  AddCaptureCommand(app, exitCode);
  AddDevicesCommand(app, exitCode);
  AddCutCommand(app, exitCode);
  AddExportCommand(app, exitCode);
  AddImportCommand(app, exitCode);
  AddInfoCommand(app, exitCode);
  AddListCommand(app, exitCode);
  AddMergeCommand(app, exitCode);
  AddProfileCommand(app, exitCode);
  AddRecoverCommand(app, exitCode);
  AddStatsCommand(app, exitCode);
  AddVerifyCommand(app, exitCode);
  AddWiresharkCommand(app, exitCode);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return ReportUsage(app, error, arguments);
  } catch (const std::exception& error) {
    std::cerr << "corvane: " << error.what() << '\n';
    return kExitFailed;
  }
  return exitCode;
}

}  // namespace corvane::tools
