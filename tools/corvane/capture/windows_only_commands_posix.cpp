#include <iostream>

#include "corvane/capture/capture_run.h"
#include "corvane/command/command_line.h"
#include "corvane/live/extcap_command.h"

namespace corvane::tools {
namespace {

void AddAbsentCommand(const char* name, CLI::App& app, int& exitCode) {
  CLI::App* const command = app.add_subcommand(name, "In the Windows build only");
  command->allow_extras();
  command->callback([name, &exitCode] {
    std::cerr << "corvane " << name << ": only the Windows build, corvane.exe, can do this\n";
    exitCode = kExitUsage;
  });
}

}  // namespace

int RunCaptureHere(const sCaptureRequest&) {
  std::cerr << "corvane capture: only the Windows build, corvane.exe, can do this\n";
  return kExitUsage;
}

void AddDevicesCommand(CLI::App& app, int& exitCode) { AddAbsentCommand("devices", app, exitCode); }

std::vector<sExtcapInterface> DeviceInterfaces() { return {}; }

std::vector<sExtcapOption> DeviceOptions() { return {}; }

int CaptureDevice(const sExtcapCapture& wanted, std::ostream& errors) {
  errors << "corvane: there is no interface \"" << wanted.interfaceName
         << "\": only the Windows build, corvane.exe, captures from devices\n";
  return kExitFailed;
}

}  // namespace corvane::tools
