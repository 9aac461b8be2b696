#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "io/serial/serial_calls.h"
#include "platform/windows_handle.h"

namespace corvane {

// The COM ports that are present now: the device interfaces of the COM-port class, with the port
// name that each device's registry key gives.

// Whether a present port's name equals `portName` exactly, letter case included.
[[nodiscard]] bool ComPortIsPresent(const char* portName);

struct sComPort {
  std::string name;         // "COM7"
  std::string description;  // the device's friendly name, else its description, else empty
};

// Every present port that has a name, in the system's order, which can change from call to call.
// Both texts are in the ANSI code page. For showing to a user.
[[nodiscard]] std::vector<sComPort> ListComPorts();

struct sDeviceInfoList {
  using Handle = HDEVINFO;
  static HDEVINFO None() { return INVALID_HANDLE_VALUE; }
  static void Close(HDEVINFO list) { SerialCalls().SetupDiDestroyDeviceInfoList(list); }
};

// One walk over the present COM-port interfaces. It allocates nothing, so the watcher cannot be
// ended by memory running out.
class cComPortScan {
 public:
  cComPortScan();

  // Moves to the next interface whose device has a parameter key. False at the end, which an
  // interface that cannot be read also is.
  [[nodiscard]] bool Next();

  // What the scan buffer holds after the query for the port's name. Valid until Next.
  //
  // Without a name that is the start of the interface's record: its size field, the text "\b",
  // which no port is called. So a missing name needs no test, it simply matches nothing.
  [[nodiscard]] std::string_view PortName() const;

  // Whether that is a name that the registry has given.
  [[nodiscard]] bool HasPortName() const { return nameResult == ERROR_SUCCESS; }

  // The device of the interface, for queries about it. Both are the scan's; the device changes with
  // Next.
  [[nodiscard]] HDEVINFO DeviceList() const { return list.Get(); }
  [[nodiscard]] SP_DEVINFO_DATA* Device() { return &device; }

 private:
  static constexpr std::size_t kBufferSize = 4104;

  [[nodiscard]] bool ReadInterface(DWORD interfaceIndex);
  [[nodiscard]] bool ReadPortName();

  cOwnedHandle<sDeviceInfoList> list;
  DWORD index = 0;
  SP_DEVINFO_DATA device{};
  LSTATUS nameResult = ERROR_SUCCESS;
  alignas(SP_DEVICE_INTERFACE_DETAIL_DATA_A) BYTE buffer[kBufferSize] = {};
};

}  // namespace corvane
