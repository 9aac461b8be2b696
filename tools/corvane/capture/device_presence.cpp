#include "corvane/capture/device_presence.h"

#include <fmt/format.h>

#include <algorithm>

namespace corvane::tools {
namespace {

// As the library compares: letter case counts.
[[nodiscard]] bool IsAmong(const std::vector<sPresentPort>& present, const std::string& device) {
  return std::any_of(present.begin(), present.end(),
                     [&device](const sPresentPort& port) { return port.name == device; });
}

}  // namespace

std::optional<std::string> FindBusy(
    const std::string& device, const std::vector<sPresentPort>& present,
    const std::function<std::optional<std::string>(const std::string& port)>& tryToOpen) {
  const auto reason = IsAmong(present, device) ? tryToOpen(device) : std::nullopt;
  return reason
             ? std::optional(fmt::format("{} is present but cannot be opened: {}", device, *reason))
             : std::nullopt;
}

void cDevicePresence::LookBeforeStart(cCaptureReporter& reporter) {
  if (IsMobileBroadband(device)) {
    return;
  }
  const std::vector<sPresentPort> present = host.PresentComPorts();
  if (IsAmong(present, device)) {
    TellWhetherBusy(present, reporter);
    return;
  }
  reporter.Tell(fmt::format("{} is not present yet: waiting for it", device));
  TellPresent(present, reporter);
}

void cDevicePresence::Look(bool isConnected, cCaptureReporter& reporter) {
  if (IsMobileBroadband(device)) {
    return;
  }
  if (isConnected) {
    looks = 0;
    toldBusy = false;
    toldPresent.reset();
    return;
  }
  const std::vector<sPresentPort> present = host.PresentComPorts();
  if (!IsAmong(present, device)) {
    looks = 0;
    toldBusy = false;
    TellPresent(present, reporter);
    return;
  }
  toldPresent.reset();
  if (++looks >= kLooksBeforeTry && !toldBusy) {
    looks = 0;
    TellWhetherBusy(present, reporter);
  }
}

void cDevicePresence::TellPresent(const std::vector<sPresentPort>& present,
                                  cCaptureReporter& reporter) {
  std::string list = PortList(present);
  if (toldPresent == list) {
    return;
  }
  reporter.Tell(present.empty()
                    ? fmt::format("{} is not present, and no other COM port is", device)
                    : fmt::format("{} is not among the present ports: {}", device, list));
  toldPresent = std::move(list);
}

void cDevicePresence::TellWhetherBusy(const std::vector<sPresentPort>& present,
                                      cCaptureReporter& reporter) {
  const auto open = [this](const std::string& port) { return host.TryToOpen(port); };
  if (const auto busy = FindBusy(device, present, open)) {
    reporter.Warn(host.Now(), *busy + "; waiting until it can");
    toldBusy = true;
  }
}

}  // namespace corvane::tools
