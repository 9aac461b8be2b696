#pragma once

#include <string>
#include <string_view>
#include <vector>

// Devices as users name them, and the COM ports that are there.
namespace corvane::tools {

// A COM port that is present.
struct sPresentPort {
  std::string name;         // "COM7"
  std::string description;  // "Acme DIAG Interface (COM7)"; may be empty
};

// Stands for the one port whose description tells that it is the DIAG port.
inline constexpr char kAnyDiagPort[] = "auto";

// What the library and a user call a mobile-broadband interface: this, and its ID.
inline constexpr char kMobileBroadbandPrefix[] = "QMBE:";

// True where the device is a mobile-broadband interface, and false where it is a COM port.
[[nodiscard]] bool IsMobileBroadband(const std::string& device);

// The device in the one spelling that the library takes: "COM7" for com7, COM7: and \\.\COM7,
// "QMBE:{...}" for qmbe:{...} and for a GUID alone, with or without braces. "auto" stays in small
// letters. A name of another form is left as it is.
[[nodiscard]] std::string NormalDeviceName(std::string_view named);

// The ports whose description contains "diag", in any letter case.
[[nodiscard]] std::vector<sPresentPort> DiagPorts(const std::vector<sPresentPort>& present);

// The port of this name among those that are present, or null. Letter case does not matter.
[[nodiscard]] const sPresentPort* FindPort(const std::vector<sPresentPort>& present,
                                           std::string_view name);

// "COM9 (DIAG port), COM10"
[[nodiscard]] std::string PortList(const std::vector<sPresentPort>& ports);

}  // namespace corvane::tools
