#include "io/com_ports.h"

// clang-format off
#include <windows.h>
#include <setupapi.h>
// clang-format on

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <new>
#include <string_view>

#include "platform/windows_handle.h"

namespace corvane {
namespace {

// The device-interface class of COM ports.
constexpr GUID kComPortInterface = {
    0x86E0D1E0, 0x8089, 0x11D0, {0x9C, 0xE4, 0x08, 0x00, 0x3E, 0x30, 0x1F, 0x73}};

constexpr std::size_t kScanBufferSize = 4104;
constexpr std::size_t kKeyPathSize = 512;

struct sDeviceInfoList {
  using tHandle = HDEVINFO;
  static HDEVINFO None() { return INVALID_HANDLE_VALUE; }
  static void Close(HDEVINFO list) { SetupDiDestroyDeviceInfoList(list); }
};

struct sRegistryKey {
  using tHandle = HKEY;
  static HKEY None() { return nullptr; }
  static void Close(HKEY key) { RegCloseKey(key); }
};

// Cuts `path`, such as \\?\USB#VID_1234&PID_0001#0001#{guid}, at every "#" and forms the path of
// the device's key from the first three tokens, the first one freed of its \\?\. False when there
// are fewer tokens or the path would be too long for a key. `path` is changed.
bool DeviceKeyPath(char* path, char (&keyPath)[kKeyPathSize]) {
  constexpr const char* kPrefix = R"(\\?\)";

  char* rest = nullptr;
  const char* const enumerator = strtok_s(path, "#", &rest);
  const char* const device = enumerator == nullptr ? nullptr : strtok_s(nullptr, "#", &rest);
  const char* const instance = device == nullptr ? nullptr : strtok_s(nullptr, "#", &rest);
  if (instance == nullptr) return false;

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

// One walk over the present COM-port interfaces. It allocates nothing, so the watcher cannot be
// ended by memory running out.
class cComPortScan {
 public:
  cComPortScan()
      : list(SetupDiGetClassDevsW(&kComPortInterface, nullptr, nullptr,
                                  DIGCF_PRESENT | DIGCF_DEVICEINTERFACE)) {}

  // Moves to the next interface whose device has a parameter key. False at the end, which an
  // interface that cannot be read also is.
  bool Next() {
    while (list && ReadInterface(index++)) {
      if (ReadPortName()) return true;
    }
    return false;
  }

  // What the scan buffer holds after the query for the port's name. Valid until Next.
  //
  // Without a name that is the start of the interface's record: its size field, the text "\b",
  // which no port is called. So a missing name needs no test, it simply matches nothing.
  [[nodiscard]] std::string_view PortName() const {
    const char* const text = Text();
    return {text, strnlen(text, kScanBufferSize)};
  }

  // Whether that is a name that the registry has given.
  [[nodiscard]] bool HasPortName() const { return nameResult == ERROR_SUCCESS; }

  [[nodiscard]] std::string Description() {
    for (const DWORD property : {DWORD{SPDRP_FRIENDLYNAME}, DWORD{SPDRP_DEVICEDESC}}) {
      char text[256] = {};
      if (SetupDiGetDeviceRegistryPropertyA(list.Get(), &device, property, nullptr, AsBytes(text),
                                            sizeof text - 1, nullptr)) {
        return text;
      }
    }
    return {};
  }

 private:
  static BYTE* AsBytes(char* text) { return reinterpret_cast<BYTE*>(text); }
  [[nodiscard]] char* Text() { return reinterpret_cast<char*>(buffer); }
  [[nodiscard]] const char* Text() const { return reinterpret_cast<const char*>(buffer); }

  // Gets the interface's record, with its path, into the buffer.
  bool ReadInterface(DWORD interfaceIndex) {
    SP_DEVICE_INTERFACE_DATA found{};
    found.cbSize = sizeof found;
    if (!SetupDiEnumDeviceInterfaces(list.Get(), nullptr, &kComPortInterface, interfaceIndex,
                                     &found)) {
      return false;
    }
    auto* const detail = new (buffer) SP_DEVICE_INTERFACE_DETAIL_DATA_A{};
    detail->cbSize = sizeof *detail;
    device = {};
    device.cbSize = sizeof device;
    return SetupDiGetDeviceInterfaceDetailA(list.Get(), &found, detail, sizeof buffer, nullptr,
                                            &device) != FALSE;
  }

  // Puts the value "PortName" of the device's key over the record. False without a key.
  bool ReadPortName() {
    char* const path = Text() + offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath);
    char keyPath[kKeyPathSize];
    if (!DeviceKeyPath(path, keyPath)) return false;
    HKEY opened = nullptr;
    if (RegOpenKeyExA(HKEY_LOCAL_MACHINE, keyPath, 0, KEY_READ, &opened) != ERROR_SUCCESS) {
      return false;
    }
    const cOwnedHandle<sRegistryKey> key(opened);
    DWORD size = sizeof buffer;
    nameResult = RegQueryValueExA(key.Get(), "PortName", nullptr, nullptr, buffer, &size);
    return true;
  }

  cOwnedHandle<sDeviceInfoList> list;
  DWORD index = 0;
  SP_DEVINFO_DATA device{};
  LSTATUS nameResult = ERROR_SUCCESS;
  alignas(SP_DEVICE_INTERFACE_DETAIL_DATA_A) BYTE buffer[kScanBufferSize] = {};
};

}  // namespace

bool ComPortIsPresent(const char* portName) {
  cComPortScan scan;
  while (scan.Next()) {
    if (scan.PortName() == portName) return true;
  }
  return false;
}

std::vector<sComPort> ListComPorts() {
  std::vector<sComPort> ports;
  cComPortScan scan;
  while (scan.Next()) {
    if (scan.HasPortName()) {
      ports.push_back({std::string(scan.PortName()), scan.Description()});
    }
  }
  return ports;
}

}  // namespace corvane
