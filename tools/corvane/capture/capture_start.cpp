#include "corvane/capture/capture_start.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "corvane/capture/capture_checks.h"
#include "corvane/capture/device_name.h"
#include "corvane/command/command_line.h"
#include "corvane/profile/shipped_profiles.h"
#include "platform/file_names.h"

namespace corvane::tools {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLookInterval(1000);

// Puts the file of the profile into the request, where one is named. False when there is none.
[[nodiscard]] bool FindConfiguration(sCaptureRequest& request, cCaptureReporter& reporter) {
  if (request.profile.empty()) {
    return true;
  }
  const std::vector<sShippedProfile> shipped = ShippedProfiles();
  const std::optional<sShippedProfile> profile = FindProfile(shipped, request.profile);
  if (!profile) {
    reporter.Complain(
        shipped.empty()
            ? "the profiles that belong to this program are not installed: give --config FILE"
            : NoProfileText(shipped, request.profile) +
                  "; corvane profile list shows those that there are");
    return false;
  }
  request.configuration = TextOf(profile->path);
  return true;
}

// Waits for the one port that may be the DIAG port.
class cDiagPortSearch {
 public:
  cDiagPortSearch(sCaptureRequest& wanted, cCaptureHost& machine, cCaptureReporter& told)
      : request(wanted), host(machine), reporter(told) {}

  // Nothing when it was found and stands in the request, else an exit code.
  [[nodiscard]] std::optional<int> Search() {
    host.CaptureStarts();
    for (;;) {
      const std::vector<sPresentPort> present = host.PresentComPorts();
      const std::vector<sPresentPort> found = DiagPorts(present);
      if (found.size() == 1) {
        Take(found.front());
        return std::nullopt;
      }
      if (!found.empty()) {
        reporter.Complain(fmt::format("several ports may be the DIAG port: {}; name one of them",
                                      PortList(found)));
        return kExitUsage;
      }
      TellPresent(present);
      if (const auto left = TimeLeft(); left == milliseconds(0) || host.WaitForStop(*left)) {
        reporter.Complain("nothing was captured: no DIAG port has come");
        return kExitNothing;
      }
    }
  }

 private:
  void Take(const sPresentPort& port) {
    reporter.Tell(fmt::format("The DIAG port is {}", PortList({port})));
    request.device = port.name;
    if (const auto longest = request.LongestWait()) {
      request.wait = std::max(*longest - host.Elapsed(), milliseconds(0));
    }
  }

  // How long to wait until the next look; 0 when there is none.
  [[nodiscard]] std::optional<milliseconds> TimeLeft() const {
    const auto longest = request.LongestWait();
    return longest ? std::clamp(*longest - host.Elapsed(), milliseconds(0), kLookInterval)
                   : kLookInterval;
  }

  void TellPresent(const std::vector<sPresentPort>& present) {
    const std::string list = PortList(present);
    if (lastList == list) {
      return;
    }
    lastList = list;
    reporter.Tell(
        present.empty()
            ? "No COM port is present: waiting for one whose description contains \"diag\""
            : fmt::format("Of the present ports none has \"diag\" in its description, which is "
                          "waited for: {}",
                          list));
  }

  sCaptureRequest& request;
  cCaptureHost& host;
  cCaptureReporter& reporter;
  std::optional<std::string> lastList;
};

// Puts the device's own name into the request. Returns an exit code when there is none to be had.
[[nodiscard]] std::optional<int> FindDevice(sCaptureRequest& request, cCaptureHost& host,
                                            cCaptureReporter& reporter) {
  if (request.device == kAnyDiagPort) {
    return cDiagPortSearch(request, host, reporter).Search();
  }
  if (!IsMobileBroadband(request.device)) {
    // The library finds a port only by the very letters that its driver has given it.
    const std::vector<sPresentPort> present = host.PresentComPorts();
    if (const sPresentPort* const port = FindPort(present, request.device)) {
      request.device = port->name;
    }
  }
  return std::nullopt;
}

// Why the output file cannot be made, as a sentence for the user, or nothing.
[[nodiscard]] std::optional<std::string> FindOutputObstacle(const sCaptureRequest& request,
                                                            cCaptureHost& host) {
  if (host.IsInUse(request.output)) {
    return DescribeUse(request);
  }
  if (auto obstacle = FindObstacle(request, host.FreeSpace(request.output))) {
    return obstacle;
  }
  return cOutputFile(request.output, request.overwrite).Begin();
}

}  // namespace

std::optional<int> PrepareCapture(sCaptureRequest& request, cCaptureHost& host,
                                  cCaptureReporter& reporter) {
  if (!FindConfiguration(request, reporter)) {
    return kExitUsage;
  }
  request.device = NormalDeviceName(request.device);
  if (request.device.empty()) {
    reporter.Complain("the device name is empty");
    return kExitUsage;
  }
  if (const auto obstacle = FindConfigurationObstacle(request.configuration)) {
    reporter.Complain(*obstacle);
    return kExitFailed;
  }
  // Whatever is in the way is told before a device is waited for. A name that needs a device which
  // is yet to be found is looked at when the output is begun.
  const std::string name = request.output;
  const bool isNamed = request.device != kAnyDiagPort || !NamesDevice(name);
  request.output = ExpandName(name, host.Now(), request.device);
  if (const auto obstacle = isNamed ? FindOutputObstacle(request, host) : std::nullopt) {
    reporter.Complain(*obstacle);
    return kExitFailed;
  }
  for (const std::string& doubt : FindDoubts(request.configuration)) {
    reporter.Warn(host.Now(), doubt);
  }
  if (const auto shortWait = FindShortWait(request)) {
    reporter.Warn(host.Now(), *shortWait);
  }
  if (const auto code = FindDevice(request, host, reporter)) {
    return code;
  }
  request.output = ExpandName(name, host.Now(), request.device);
  return std::nullopt;
}

std::unique_ptr<cOutputFile> BeginOutput(const sCaptureRequest& request, cCaptureHost& host,
                                         cCaptureReporter& reporter) {
  const std::optional<std::uint64_t> freeSpace = host.FreeSpace(request.output);
  if (const auto obstacle = FindOutputObstacle(request, host)) {
    reporter.Complain(*obstacle);
    return nullptr;
  }
  if (!freeSpace && request.stopBelow != 0) {
    reporter.Warn(host.Now(),
                  fmt::format("the system does not tell the room on the disk of {}: --stop-below "
                              "has no effect",
                              request.output));
  }
  auto file = std::make_unique<cOutputFile>(request.output, request.overwrite);
  auto obstacle = file->Begin();
  if (!obstacle) {
    obstacle = FindOutputLengthObstacle(file->WritePath());
    if (obstacle && file->Replaces()) {
      *obstacle += ", and until it is complete it is " + file->WritePath();
    }
  }
  if (obstacle) {
    reporter.Complain(*obstacle);
    return nullptr;
  }
  return file;
}

}  // namespace corvane::tools
