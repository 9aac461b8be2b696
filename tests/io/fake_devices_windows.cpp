#include "io/fake_devices_windows.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "io/fake_system_windows.h"
#include "io/serial/serial_calls.h"
#include "support/replaced_call.h"

namespace corvane::test {
namespace {

const HDEVINFO kClassList = reinterpret_cast<HDEVINFO>(std::uintptr_t{0x51});

HKEY KeyOf(std::size_t index) { return reinterpret_cast<HKEY>(std::uintptr_t{0x1000} + index); }

std::size_t IndexOf(HKEY key) { return reinterpret_cast<std::uintptr_t>(key) - 0x1000; }

HDEVINFO WINAPI FakeSetupDiGetClassDevsW(const GUID* interfaceClass, const wchar_t* enumerator,
                                         HWND window, DWORD flags) {
  ++gFakeSystem->looks;
  ProbeTheLock();
  gFakeSystem->classAsked = *interfaceClass;
  gFakeSystem->classAskedNarrower = enumerator != nullptr || window != nullptr;
  gFakeSystem->classFlagsAsked = flags;
  if (gFakeSystem->FailsNow("SetupDiGetClassDevsW") || gFakeSystem->classListFails) {
    return INVALID_HANDLE_VALUE;
  }
  ++gFakeSystem->openClassLists;
  return kClassList;
}

BOOL WINAPI FakeSetupDiEnumDeviceInterfaces(HDEVINFO, SP_DEVINFO_DATA* device,
                                            const GUID* interfaceClass, DWORD index,
                                            SP_DEVICE_INTERFACE_DATA* found) {
  gFakeSystem->interfaceDeviceAsked = device != nullptr;
  gFakeSystem->interfaceClassAsked = *interfaceClass;
  if (gFakeSystem->FailsNow("SetupDiEnumDeviceInterfaces") || found->cbSize != sizeof *found ||
      index >= gFakeSystem->interfaces.size()) {
    return FALSE;
  }
  found->Reserved = index;
  return TRUE;
}

BOOL WINAPI FakeSetupDiGetDeviceInterfaceDetailA(HDEVINFO, SP_DEVICE_INTERFACE_DATA* found,
                                                 SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail,
                                                 DWORD size, DWORD*, SP_DEVINFO_DATA* device) {
  const sFakeInterface& present = gFakeSystem->interfaces.at(found->Reserved);
  gFakeSystem->detailSizeAsked = size;
  if (gFakeSystem->FailsNow("SetupDiGetDeviceInterfaceDetailA") || present.detailFails ||
      detail->cbSize != sizeof *detail) {
    return FALSE;
  }
  if (offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath) + present.path.size() + 1 > size) {
    return FALSE;
  }
  std::memcpy(detail->DevicePath, present.path.c_str(), present.path.size() + 1);
  if (device != nullptr) {
    device->Reserved = found->Reserved;
  }
  return TRUE;
}

BOOL WINAPI FakeSetupDiGetDeviceRegistryPropertyA(HDEVINFO, SP_DEVINFO_DATA* device, DWORD property,
                                                  DWORD*, BYTE* bytes, DWORD size, DWORD*) {
  const sFakeInterface& present = gFakeSystem->interfaces.at(device->Reserved);
  const std::string& text =
      property == SPDRP_FRIENDLYNAME ? present.friendlyName : present.description;
  if (text.empty() || text.size() + 1 > size) {
    return FALSE;
  }
  std::memcpy(bytes, text.c_str(), text.size() + 1);
  return TRUE;
}

BOOL WINAPI FakeSetupDiDestroyDeviceInfoList(HDEVINFO) {
  ProbeTheLock();
  --gFakeSystem->openClassLists;
  return TRUE;
}

LSTATUS WINAPI FakeRegOpenKeyExA(HKEY root, const char* path, DWORD, REGSAM access, HKEY* opened) {
  gFakeSystem->keysAsked.emplace_back(path);
  gFakeSystem->keyAccessAsked = access;
  const auto found = std::find_if(
      gFakeSystem->interfaces.begin(), gFakeSystem->interfaces.end(),
      [path](const sFakeInterface& present) { return present.keyPath == std::string(path); });
  if (gFakeSystem->FailsNow("RegOpenKeyExA") || root != HKEY_LOCAL_MACHINE ||
      found == gFakeSystem->interfaces.end()) {
    return ERROR_FILE_NOT_FOUND;
  }
  ++gFakeSystem->openKeys;
  *opened = KeyOf(static_cast<std::size_t>(found - gFakeSystem->interfaces.begin()));
  return ERROR_SUCCESS;
}

LSTATUS WINAPI FakeRegQueryValueExA(HKEY key, const char* name, DWORD*, DWORD*, BYTE* bytes,
                                    DWORD* size) {
  const sFakeInterface& present = gFakeSystem->interfaces.at(IndexOf(key));
  gFakeSystem->nameSizeAsked = *size;
  if (gFakeSystem->FailsNow("RegQueryValueExA") || std::string_view(name) != "PortName" ||
      !present.portName) {
    return ERROR_FILE_NOT_FOUND;
  }
  if (present.portName->size() > *size) {
    return ERROR_MORE_DATA;
  }
  std::memcpy(bytes, present.portName->data(), present.portName->size());
  *size = static_cast<DWORD>(present.portName->size());
  return ERROR_SUCCESS;
}

LSTATUS WINAPI FakeRegCloseKey(HKEY) {
  --gFakeSystem->openKeys;
  return ERROR_SUCCESS;
}

}  // namespace

void ProbeTheLock() {
  if (gFakeSystem->observed != nullptr && OthersCanTake(gFakeSystem->observed->lock)) {
    gFakeSystem->lockWasFreeDuringALook = true;
  }
}

struct cFakeDeviceCalls::sReplacedCalls {
  cReplacedCall<decltype(&::RegOpenKeyExA)> regOpenKeyExA{SerialCalls().RegOpenKeyExA,
                                                          FakeRegOpenKeyExA};
  cReplacedCall<decltype(&::RegQueryValueExA)> regQueryValueExA{SerialCalls().RegQueryValueExA,
                                                                FakeRegQueryValueExA};
  cReplacedCall<decltype(&::RegCloseKey)> regCloseKey{SerialCalls().RegCloseKey, FakeRegCloseKey};
  cReplacedCall<decltype(&::SetupDiGetClassDevsW)> setupDiGetClassDevsW{
      SerialCalls().SetupDiGetClassDevsW, FakeSetupDiGetClassDevsW};
  cReplacedCall<decltype(&::SetupDiEnumDeviceInterfaces)> setupDiEnumDeviceInterfaces{
      SerialCalls().SetupDiEnumDeviceInterfaces, FakeSetupDiEnumDeviceInterfaces};
  cReplacedCall<decltype(&::SetupDiGetDeviceInterfaceDetailA)> setupDiGetDeviceInterfaceDetailA{
      SerialCalls().SetupDiGetDeviceInterfaceDetailA, FakeSetupDiGetDeviceInterfaceDetailA};
  cReplacedCall<decltype(&::SetupDiDestroyDeviceInfoList)> setupDiDestroyDeviceInfoList{
      SerialCalls().SetupDiDestroyDeviceInfoList, FakeSetupDiDestroyDeviceInfoList};
  cReplacedCall<decltype(&::SetupDiGetDeviceRegistryPropertyA)> setupDiGetDeviceRegistryPropertyA{
      PortListCalls().SetupDiGetDeviceRegistryPropertyA, FakeSetupDiGetDeviceRegistryPropertyA};
};

cFakeDeviceCalls::cFakeDeviceCalls() : replaced(std::make_unique<sReplacedCalls>()) {}

cFakeDeviceCalls::~cFakeDeviceCalls() = default;

sFakeInterface UsbPort(const std::string& portName, const std::string& instance) {
  sFakeInterface made;
  made.path =
      R"(\\?\usb#vid_1234&pid_0001#)" + instance + "#{86e0d1e0-8089-11d0-9ce4-08003e301f73}";
  made.keyPath = R"(System\CurrentControlSet\Enum\usb\vid_1234&pid_0001\)" + instance +
                 R"(\Device Parameters)";
  made.portName = portName + '\0';
  return made;
}

}  // namespace corvane::test
