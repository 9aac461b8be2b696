#include "io/serial/com_ports.h"

#include <cstdio>
#include <cstring>
#include <new>

namespace corvane {
namespace {

// The device-interface class of COM ports.
constexpr GUID kComPortInterface = {
    0x86E0D1E0, 0x8089, 0x11D0, {0x9C, 0xE4, 0x08, 0x00, 0x3E, 0x30, 0x1F, 0x73}};

constexpr std::size_t kKeyPathSize = 512;

struct sRegistryKey {
  using Handle = HKEY;
  static HKEY None() { return nullptr; }
  static void Close(HKEY key) { SerialCalls().RegCloseKey(key); }
};

// Cuts `path`, such as \\?\USB#VID_1234&PID_0001#0001#{guid}, at every "#" and forms the path of
// the device's key from the first three tokens, the first one freed of its \\?\. False when there
// are fewer tokens, or when the key's path would have more than 511 characters: such a device is
// passed over on purpose, for no device path may end the host process. `path` is changed.
bool DeviceKeyPath(char* path, char (&keyPath)[kKeyPathSize]) {
  constexpr const char* kPrefix = R"(\\?\)";

  char* rest = nullptr;
  const char* const enumerator = strtok_s(path, "#", &rest);
  const char* const device = enumerator == nullptr ? nullptr : strtok_s(nullptr, "#", &rest);
  const char* const instance = device == nullptr ? nullptr : strtok_s(nullptr, "#", &rest);
  if (instance == nullptr) {
    return false;
  }

  const char* beforePrefix = enumerator;
  int lengthBeforePrefix = 0;
  const char* behindPrefix = enumerator;
  if (const char* const prefix = std::strstr(enumerator, kPrefix); prefix != nullptr) {
    lengthBeforePrefix = static_cast<int>(prefix - beforePrefix);
    behindPrefix = prefix + std::strlen(kPrefix);
  }
  const int length = std::snprintf(
      keyPath, sizeof keyPath, R"(System\CurrentControlSet\Enum\%.*s%s\%s\%s\Device Parameters)",
      lengthBeforePrefix, beforePrefix, behindPrefix, device, instance);
  return length >= 0 && static_cast<std::size_t>(length) < sizeof keyPath;
}

}  // namespace

cComPortScan::cComPortScan()
    : list(SerialCalls().SetupDiGetClassDevsW(&kComPortInterface, nullptr, nullptr,
                                              DIGCF_PRESENT | DIGCF_DEVICEINTERFACE)) {}

bool cComPortScan::Next() {
  while (list && ReadInterface(index++)) {
    if (ReadPortName()) {
      return true;
    }
  }
  return false;
}

std::string_view cComPortScan::PortName() const {
  const char* const text = reinterpret_cast<const char*>(buffer);
  return {text, strnlen(text, sizeof buffer)};
}

// Gets the interface's record, with its path, into the buffer.
bool cComPortScan::ReadInterface(DWORD interfaceIndex) {
  SP_DEVICE_INTERFACE_DATA found{};
  found.cbSize = sizeof found;
  if (!SerialCalls().SetupDiEnumDeviceInterfaces(list.Get(), nullptr, &kComPortInterface,
                                                 interfaceIndex, &found)) {
    return false;
  }
  auto* const detail = new (buffer) SP_DEVICE_INTERFACE_DETAIL_DATA_A{};
  detail->cbSize = sizeof *detail;
  device = {};
  device.cbSize = sizeof device;
  return SerialCalls().SetupDiGetDeviceInterfaceDetailA(list.Get(), &found, detail, sizeof buffer,
                                                        nullptr, &device) != FALSE;
}

// Puts the value "PortName" of the device's key over the record. False without a key.
bool cComPortScan::ReadPortName() {
  char* const path =
      reinterpret_cast<char*>(buffer) + offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath);
  char keyPath[kKeyPathSize];
  if (!DeviceKeyPath(path, keyPath)) {
    return false;
  }
  HKEY opened = nullptr;
  if (SerialCalls().RegOpenKeyExA(HKEY_LOCAL_MACHINE, keyPath, 0, KEY_READ, &opened) !=
      ERROR_SUCCESS) {
    return false;
  }
  const cOwnedHandle<sRegistryKey> key(opened);
  DWORD size = sizeof buffer;
  nameResult =
      SerialCalls().RegQueryValueExA(key.Get(), "PortName", nullptr, nullptr, buffer, &size);
  return true;
}

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
