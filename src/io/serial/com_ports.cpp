#include "io/serial/com_ports.h"

#include "io/serial/com_port_scan.h"

namespace corvane {

bool ComPortIsPresent(const char* portName) {
  cComPortScan scan;
  while (scan.Next()) {
    if (scan.PortName() == portName) {
      return true;
    }
  }
  return false;
}

}  // namespace corvane
