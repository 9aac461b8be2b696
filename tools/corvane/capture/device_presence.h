#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "corvane/capture/capture_host.h"

namespace corvane::tools {

// Why a COM port that is among the present ones cannot be opened, as a sentence for the user: "COM7
// is present but cannot be opened: another program has it". Nothing where it can, or is not
// present. `tryToOpen` is cCaptureHost::TryToOpen.
[[nodiscard]] std::optional<std::string> FindBusy(
    const std::string& device, const std::vector<sPresentPort>& present,
    const std::function<std::optional<std::string>(const std::string& port)>& tryToOpen);

// Tells the user why a capture waits for its COM port: it is not there, and which ports are, or it
// is there and another program has it. The library tells neither. Of a mobile-broadband interface
// nothing is told: without one the library does not start.
class cDevicePresence {
 public:
  // The machine is not owned and must outlive this.
  cDevicePresence(std::string deviceName, cCaptureHost& machine)
      : device(std::move(deviceName)), host(machine) {}

  // Before the library is started, which then has the port for itself.
  void LookBeforeStart(cCaptureReporter& reporter);

  // Call it every second of the capture. The port is tried only when the library, which looks for
  // it every second, has had time enough to open it and has not: so a try hardly ever meets the
  // library's own.
  void Look(bool isConnected, cCaptureReporter& reporter);

 private:
  // Tells which ports are present, when that is not what was told last.
  void TellPresent(const std::vector<sPresentPort>& present, cCaptureReporter& reporter);
  // Tells that another program has the port, where that is so.
  void TellWhetherBusy(const std::vector<sPresentPort>& present, cCaptureReporter& reporter);

  // How many looks in a row find the port present and not connected before it is tried.
  static constexpr int kLooksBeforeTry = 3;

  const std::string device;
  cCaptureHost& host;
  std::optional<std::string> toldPresent;  // the list that was told last
  bool toldBusy = false;                   // since the port was last absent or connected
  int looks = 0;                           // that have found it present and not connected
};

}  // namespace corvane::tools
