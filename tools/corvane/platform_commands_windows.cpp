#include "corvane/capture_command_windows.h"
#include "corvane/devices_command_windows.h"
#include "corvane/platform_commands.h"

namespace corvane::tools {

void AddPlatformCommands(CLI::App& app, int& exitCode) {
  AddCaptureCommand(app, exitCode);
  AddDevicesCommand(app, exitCode);
}

}  // namespace corvane::tools
