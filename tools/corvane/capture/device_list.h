#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "corvane/capture/device_name.h"
#include "corvane/capture/port_probe.h"

// What `corvane devices` shows.
namespace corvane::tools {

// The devices of the machine.
class cDeviceSource {
 public:
  virtual ~cDeviceSource() = default;
  // The COM ports that are present, COM10 behind COM9.
  [[nodiscard]] virtual std::vector<sPresentPort> Ports() = 0;
  // The IDs of the mobile-broadband interfaces that are present.
  [[nodiscard]] virtual std::vector<std::string> Interfaces() = 0;
  // Probes COM ports (AskVersion), all at a time. An answer for each, in their order.
  [[nodiscard]] virtual std::vector<sProbeAnswer> Probe(
      const std::vector<std::string>& portNames) = 0;
};

struct sDeviceListOptions {
  bool probe = false;  // ask each COM port for its version
  bool json = false;   // one object a line, instead of text
};

// Writes a line for each device that a capture could use now: the name in the form that --device
// takes, and what is known of it. That there is none, `errors` gets.
void ShowDevices(const sDeviceListOptions& options, cDeviceSource& source, std::ostream& out,
                 std::ostream& errors);

// The same of this machine, on the standard streams. It is for Windows only: elsewhere it says so, and
// returns kExitUsage.
[[nodiscard]] int ShowDevicesHere(const sDeviceListOptions& options);

}  // namespace corvane::tools
