// In a file of its own: the library that is loaded into a host never lists ports, and so does not
// import what describes them.

#include "io/serial/com_ports.h"
#include "io/serial/serial_calls.h"

namespace corvane {
namespace {

std::string Description(cComPortScan& scan) {
  for (const DWORD property : {DWORD{SPDRP_FRIENDLYNAME}, DWORD{SPDRP_DEVICEDESC}}) {
    char text[256] = {};
    if (PortListCalls().SetupDiGetDeviceRegistryPropertyA(
            scan.DeviceList(), scan.Device(), property, nullptr, reinterpret_cast<BYTE*>(text),
            sizeof text - 1, nullptr)) {
      return text;
    }
  }
  return {};
}

}  // namespace

std::vector<sComPort> ListComPorts() {
  std::vector<sComPort> ports;
  cComPortScan scan;
  while (scan.Next()) {
    if (scan.HasPortName()) {
      ports.push_back({std::string(scan.PortName()), Description(scan)});
    }
  }
  return ports;
}

}  // namespace corvane
