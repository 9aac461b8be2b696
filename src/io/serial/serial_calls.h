#pragma once

// clang-format off
#include <windows.h>
#include <setupapi.h>
// clang-format on

namespace corvane {

// The calls into Windows by which COM ports are found, opened, read and written, as the library
// makes them. Each field bears the name of the function that it holds at first.
struct sSerialCalls {
  decltype(&::CreateFileA) CreateFileA = &::CreateFileA;
  decltype(&::GetCommState) GetCommState = &::GetCommState;
  decltype(&::SetCommState) SetCommState = &::SetCommState;
  decltype(&::SetCommTimeouts) SetCommTimeouts = &::SetCommTimeouts;
  decltype(&::ReadFile) ReadFile = &::ReadFile;
  decltype(&::WriteFile) WriteFile = &::WriteFile;
  decltype(&::CancelSynchronousIo) CancelSynchronousIo = &::CancelSynchronousIo;
  // The clock and the pauses of cancelling.
  decltype(&::GetTickCount64) GetTickCount64 = &::GetTickCount64;
  decltype(&::Sleep) Sleep = &::Sleep;

  decltype(&::RegOpenKeyExA) RegOpenKeyExA = &::RegOpenKeyExA;
  decltype(&::RegQueryValueExA) RegQueryValueExA = &::RegQueryValueExA;
  decltype(&::RegCloseKey) RegCloseKey = &::RegCloseKey;
  decltype(&::SetupDiGetClassDevsW) SetupDiGetClassDevsW = &::SetupDiGetClassDevsW;
  decltype(&::SetupDiEnumDeviceInterfaces) SetupDiEnumDeviceInterfaces =
      &::SetupDiEnumDeviceInterfaces;
  decltype(&::SetupDiGetDeviceInterfaceDetailA) SetupDiGetDeviceInterfaceDetailA =
      &::SetupDiGetDeviceInterfaceDetailA;
  decltype(&::SetupDiDestroyDeviceInfoList) SetupDiDestroyDeviceInfoList =
      &::SetupDiDestroyDeviceInfoList;
};

// What only ListComPorts calls. In a record of its own: the library that is loaded into a host
// never lists ports, and so does not import what describes them.
struct sPortListCalls {
  decltype(&::SetupDiGetDeviceRegistryPropertyA) SetupDiGetDeviceRegistryPropertyA =
      &::SetupDiGetDeviceRegistryPropertyA;
};

// The one record of each kind in the process. A test replaces a field while no other thread is in
// the library (tests/support/replaced_call.h); the library itself changes none.
[[nodiscard]] inline sSerialCalls& SerialCalls() {
  static sSerialCalls calls;
  return calls;
}
[[nodiscard]] inline sPortListCalls& PortListCalls() {
  static sPortListCalls calls;
  return calls;
}

}  // namespace corvane
