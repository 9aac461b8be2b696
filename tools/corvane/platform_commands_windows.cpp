#include "capture_command_windows.h"
#include "devices_command_windows.h"
#include "platform_commands.h"

namespace corvane::tools {

void AddPlatformCommands(CLI::App& app, int& exitCode) {
  AddCaptureCommand(app, exitCode);
  AddDevicesCommand(app, exitCode);
}

}  // namespace corvane::tools
