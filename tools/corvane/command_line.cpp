#include "corvane/command_line.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "corvane/extcap_command.h"

namespace corvane::tools {

int RunCommandLine(int argc, const char* const* argv) {
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
  AddExportCommand(app, exitCode);
  AddImportCommand(app, exitCode);
  AddInfoCommand(app, exitCode);
  AddListCommand(app, exitCode);
  AddWiresharkCommand(app, exitCode);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // Asking for help or for the version is reported the same way, with a code of 0.
    return app.exit(error) == 0 ? kExitGood : kExitUsage;
  } catch (const std::exception& error) {
    std::cerr << "corvane: " << error.what() << '\n';
    return kExitFailed;
  }
  return exitCode;
}

}  // namespace corvane::tools
