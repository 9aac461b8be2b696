#include <iostream>

#include "corvane/capture/capture_run.h"
#include "corvane/capture/device_list.h"
#include "corvane/command/command_line.h"
#include "corvane/live/extcap_command.h"

namespace corvane::tools {

int RunCaptureHere(const sCaptureRequest&) {
  std::cerr << "corvane capture: only the Windows build, corvane.exe, can do this\n";
  return kExitUsage;
}

int ShowDevicesHere(const sDeviceListOptions&) {
  std::cerr << "corvane devices: only the Windows build, corvane.exe, can do this\n";
  return kExitUsage;
}

std::vector<sExtcapInterface> DeviceInterfaces() { return {}; }

std::vector<sExtcapOption> DeviceOptions() { return {}; }

int CaptureDevice(const sExtcapCapture& wanted, std::ostream& errors) {
  errors << "corvane: there is no interface \"" << wanted.interfaceName
         << "\": only the Windows build, corvane.exe, captures from devices\n";
  return kExitFailed;
}

}  // namespace corvane::tools
