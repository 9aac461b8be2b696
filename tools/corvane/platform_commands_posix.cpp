#include <iostream>

#include "corvane/exit_codes.h"
#include "corvane/platform_commands.h"

namespace corvane::tools {

// The commands that need corvane.dll are named here too, so that who looks for one is told where it
// is.
void AddPlatformCommands(CLI::App& app, int& exitCode) {
  for (const char* name : {"capture", "devices"}) {
    CLI::App* const command = app.add_subcommand(name, "In the Windows build only");
    command->allow_extras();
    command->callback([name, &exitCode] {
      std::cerr << "corvane " << name << ": only the Windows build, corvane.exe, can do this\n";
      exitCode = kExitUsage;
    });
  }
}

}  // namespace corvane::tools
