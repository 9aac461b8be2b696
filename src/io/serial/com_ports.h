#pragma once

#include <string>
#include <vector>

namespace corvane {

// The COM ports that are present now: the device interfaces of the COM-port class, with the port
// name that each device's registry key gives. Windows only.

// Whether a present port's name equals `portName` exactly, letter case included.
[[nodiscard]] bool ComPortIsPresent(const char* portName);

struct sComPort {
  std::string name;         // "COM7"
  std::string description;  // the device's friendly name, else its description, else empty
};

// Every present port that has a name, in the system's order, which can change from call to call.
// Both texts are in the ANSI code page. For showing to a user.
[[nodiscard]] std::vector<sComPort> ListComPorts();

}  // namespace corvane
