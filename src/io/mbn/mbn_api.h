#pragma once

// The Windows Mobile Broadband API as far as the library uses it: the interfaces of mbnapi.idl,
// declared here because not every toolchain has a header for them.
//
// What counts is the order of the methods, which is the order of their slots behind IUnknown's
// three. Methods that the library never calls are declared too: they hold their slots. Who owns
// what follows COM's rules: an out-parameter gives the caller a reference, a string (SysFreeString)
// or an array (SafeArrayDestroy); an in-parameter stays the caller's.

#include <windows.h>
// windows.h comes first: the others build on it.
#include <guiddef.h>
#include <oaidl.h>
#include <ocidl.h>
#include <unknwn.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace corvane {

// The identifier that `text` spells in its published form, "DCBBBAB6-201B-4BBB-AAEE-338E368AF6FA".
// A text of any other form does not compile.
consteval GUID GuidFromText(const char (&text)[37]) {
  constexpr std::size_t kHyphens[] = {8, 13, 18, 23};
  std::uint8_t bytes[16]{};
  std::size_t digits = 0;
  for (std::size_t i = 0; i < 36; ++i) {
    bool isHyphen = false;
    for (const std::size_t hyphen : kHyphens) {
      isHyphen = isHyphen || i == hyphen;
    }
    const char c = text[i];
    if (isHyphen) {
      if (c != '-') {
        throw "a hyphen is missing";
      }
      continue;
    }
    int value = 0;
    if (c >= '0' && c <= '9') {
      value = c - '0';
    } else if (c >= 'A' && c <= 'F') {
      value = c - 'A' + 10;
    } else {
      throw "not an upper-case hexadecimal digit";
    }
    bytes[digits / 2] = static_cast<std::uint8_t>(bytes[digits / 2] << 4 | value);
    ++digits;
  }
  GUID guid{};
  guid.Data1 = static_cast<std::uint32_t>(bytes[0]) << 24 |
               static_cast<std::uint32_t>(bytes[1]) << 16 |
               static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3];
  guid.Data2 = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
  guid.Data3 = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
  for (std::size_t i = 0; i < 8; ++i) {
    guid.Data4[i] = bytes[8 + i];
  }
  return guid;
}

// The IID of an interface: each one that the library asks for has its own value below.
template <class Interface>
struct sInterfaceId;

// Whether a device-service interface has come or gone: an argument of the sink's.
enum MBN_DEVICE_SERVICES_INTERFACE_STATE : int {
  MBN_DEVICE_SERVICES_CAPABLE_INTERFACE_ARRIVAL = 0,
  MBN_DEVICE_SERVICES_CAPABLE_INTERFACE_REMOVAL = 1,
};

// Only passed on by pointer, by methods that are never called.
struct MBN_INTERFACE_CAPS;
struct MBN_PROVIDER;
enum MBN_READY_STATE : int;
struct IMbnConnection;
struct IMbnSubscriberInformation;

// One mobile-broadband network interface.
struct IMbnInterface : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE get_InterfaceID(BSTR* interfaceId) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetInterfaceCapability(MBN_INTERFACE_CAPS* caps) = 0;
  virtual HRESULT STDMETHODCALLTYPE
  GetSubscriberInformation(IMbnSubscriberInformation** information) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetReadyState(MBN_READY_STATE* state) = 0;
  virtual HRESULT STDMETHODCALLTYPE InEmergencyMode(VARIANT_BOOL* inEmergencyMode) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetHomeProvider(MBN_PROVIDER* provider) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetPreferredProviders(SAFEARRAY** providers) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetPreferredProviders(SAFEARRAY* providers,
                                                          ULONG* requestId) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetVisibleProviders(ULONG* age, SAFEARRAY** providers) = 0;
  virtual HRESULT STDMETHODCALLTYPE ScanNetwork(ULONG* requestId) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetConnection(IMbnConnection** connection) = 0;

 protected:
  ~IMbnInterface() = default;
};

// Lists the machine's mobile-broadband interfaces.
struct IMbnInterfaceManager : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE GetInterface(LPCWSTR interfaceId,
                                                 IMbnInterface** interfaceObject) = 0;
  // The elements are of VT_UNKNOWN and have to be queried for IMbnInterface.
  virtual HRESULT STDMETHODCALLTYPE GetInterfaces(SAFEARRAY** interfaces) = 0;

 protected:
  ~IMbnInterfaceManager() = default;
};

// One service of a device. Every operation only starts here; the sink hears of its end, which may
// be before the call that started it has returned. Data arrays are of VT_UI1.
struct IMbnDeviceService : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE QuerySupportedCommands(ULONG* requestId) = 0;
  virtual HRESULT STDMETHODCALLTYPE OpenCommandSession(ULONG* requestId) = 0;
  virtual HRESULT STDMETHODCALLTYPE CloseCommandSession(ULONG* requestId) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetCommand(ULONG commandId, SAFEARRAY* data,
                                               ULONG* requestId) = 0;
  virtual HRESULT STDMETHODCALLTYPE QueryCommand(ULONG commandId, SAFEARRAY* data,
                                                 ULONG* requestId) = 0;
  virtual HRESULT STDMETHODCALLTYPE OpenDataSession(ULONG* requestId) = 0;
  virtual HRESULT STDMETHODCALLTYPE CloseDataSession(ULONG* requestId) = 0;
  virtual HRESULT STDMETHODCALLTYPE WriteData(SAFEARRAY* data, ULONG* requestId) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_InterfaceID(BSTR* interfaceId) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_DeviceServiceID(BSTR* deviceServiceId) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_IsCommandSessionOpen(BOOL* isOpen) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_IsDataSessionOpen(BOOL* isOpen) = 0;

 protected:
  ~IMbnDeviceService() = default;
};

// The services of one interface's device.
struct IMbnDeviceServicesContext : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE EnumerateDeviceServices(SAFEARRAY** deviceServices) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetDeviceService(BSTR deviceServiceId,
                                                     IMbnDeviceService** service) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_MaxCommandSize(ULONG* size) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_MaxDataSize(ULONG* size) = 0;

 protected:
  ~IMbnDeviceServicesContext() = default;
};

// Gives the services of an interface. It is the connection point container of the sinks too.
struct IMbnDeviceServicesManager : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE
  GetDeviceServicesContext(BSTR interfaceId, IMbnDeviceServicesContext** context) = 0;

 protected:
  ~IMbnDeviceServicesManager() = default;
};

// The sink: what the platform calls, on threads of its own.
struct IMbnDeviceServicesEvents : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE OnQuerySupportedCommandsComplete(IMbnDeviceService* from,
                                                                     SAFEARRAY* commandIds,
                                                                     HRESULT status,
                                                                     ULONG requestId) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnOpenCommandSessionComplete(IMbnDeviceService* from,
                                                                 HRESULT status,
                                                                 ULONG requestId) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnCloseCommandSessionComplete(IMbnDeviceService* from,
                                                                  HRESULT status,
                                                                  ULONG requestId) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnSetCommandComplete(IMbnDeviceService* from, ULONG responseId,
                                                         SAFEARRAY* data, HRESULT status,
                                                         ULONG requestId) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnQueryCommandComplete(IMbnDeviceService* from,
                                                           ULONG responseId, SAFEARRAY* data,
                                                           HRESULT status, ULONG requestId) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnEventNotification(IMbnDeviceService* from, ULONG eventId,
                                                        SAFEARRAY* data) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnOpenDataSessionComplete(IMbnDeviceService* from,
                                                              HRESULT status, ULONG requestId) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnCloseDataSessionComplete(IMbnDeviceService* from,
                                                               HRESULT status, ULONG requestId) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnWriteDataComplete(IMbnDeviceService* from, HRESULT status,
                                                        ULONG requestId) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnReadData(IMbnDeviceService* from, SAFEARRAY* data) = 0;
  virtual HRESULT STDMETHODCALLTYPE
  OnInterfaceStateChange(BSTR interfaceId, MBN_DEVICE_SERVICES_INTERFACE_STATE state) = 0;

 protected:
  ~IMbnDeviceServicesEvents() = default;
};

inline constexpr GUID kDeviceServicesManagerClass =
    GuidFromText("2269DAA3-2A9F-4165-A501-CE00A6F7A75B");
inline constexpr GUID kInterfaceManagerClass = GuidFromText("BDFEE05B-4418-11DD-90ED-001C257CCFF1");

template <>
struct sInterfaceId<IUnknown> {
  static constexpr GUID kValue = GuidFromText("00000000-0000-0000-C000-000000000046");
};
template <>
struct sInterfaceId<IConnectionPointContainer> {
  static constexpr GUID kValue = GuidFromText("B196B284-BAB4-101A-B69C-00AA00341D07");
};
template <>
struct sInterfaceId<IMbnInterfaceManager> {
  static constexpr GUID kValue = GuidFromText("DCBBBAB6-201B-4BBB-AAEE-338E368AF6FA");
};
template <>
struct sInterfaceId<IMbnInterface> {
  static constexpr GUID kValue = GuidFromText("DCBBBAB6-2001-4BBB-AAEE-338E368AF6FA");
};
template <>
struct sInterfaceId<IMbnDeviceServicesManager> {
  static constexpr GUID kValue = GuidFromText("20A26258-6811-4478-AC1D-13324E45E41C");
};
template <>
struct sInterfaceId<IMbnDeviceServicesContext> {
  static constexpr GUID kValue = GuidFromText("FC5AC347-1592-4068-80BB-6A57580150D8");
};
template <>
struct sInterfaceId<IMbnDeviceService> {
  static constexpr GUID kValue = GuidFromText("B3BB9A71-DC70-4BE9-A4DA-7886AE8B191B");
};
template <>
struct sInterfaceId<IMbnDeviceServicesEvents> {
  static constexpr GUID kValue = GuidFromText("0A900C19-6824-4E97-B76E-CF239D0CA642");
};

template <class Interface>
inline constexpr GUID kInterfaceId = sInterfaceId<Interface>::kValue;

// An interface is a pointer to a table of slots and nothing else: no field, no second base, no slot
// for a destructor.
template <class Interface>
inline constexpr bool kIsPlainInterface =
    sizeof(Interface) == sizeof(void*) &&
    std::is_abstract_v<Interface>&& std::is_base_of_v<IUnknown, Interface> &&
    !std::has_virtual_destructor_v<Interface>;

static_assert(kIsPlainInterface<IMbnInterfaceManager>);
static_assert(kIsPlainInterface<IMbnInterface>);
static_assert(kIsPlainInterface<IMbnDeviceServicesManager>);
static_assert(kIsPlainInterface<IMbnDeviceServicesContext>);
static_assert(kIsPlainInterface<IMbnDeviceService>);
static_assert(kIsPlainInterface<IMbnDeviceServicesEvents>);

// The identifiers in the layout that COM compares, byte by byte.
static_assert(sizeof(GUID) == 16);
constexpr bool IsSameGuid(const GUID& left, const GUID& right) {
  bool isSame = left.Data1 == right.Data1 && left.Data2 == right.Data2 && left.Data3 == right.Data3;
  for (int i = 0; i < 8; ++i) {
    isSame = isSame && left.Data4[i] == right.Data4[i];
  }
  return isSame;
}
static_assert(
    IsSameGuid(kDeviceServicesManagerClass,
               GUID{0x2269DAA3, 0x2A9F, 0x4165, {0xA5, 0x01, 0xCE, 0x00, 0xA6, 0xF7, 0xA7, 0x5B}}));
static_assert(
    IsSameGuid(kInterfaceManagerClass,
               GUID{0xBDFEE05B, 0x4418, 0x11DD, {0x90, 0xED, 0x00, 0x1C, 0x25, 0x7C, 0xCF, 0xF1}}));
static_assert(
    IsSameGuid(kInterfaceId<IUnknown>,
               GUID{0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}}));
static_assert(
    IsSameGuid(kInterfaceId<IConnectionPointContainer>,
               GUID{0xB196B284, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}}));
static_assert(
    IsSameGuid(kInterfaceId<IMbnInterfaceManager>,
               GUID{0xDCBBBAB6, 0x201B, 0x4BBB, {0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA}}));
static_assert(
    IsSameGuid(kInterfaceId<IMbnInterface>,
               GUID{0xDCBBBAB6, 0x2001, 0x4BBB, {0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA}}));
static_assert(
    IsSameGuid(kInterfaceId<IMbnDeviceServicesManager>,
               GUID{0x20A26258, 0x6811, 0x4478, {0xAC, 0x1D, 0x13, 0x32, 0x4E, 0x45, 0xE4, 0x1C}}));
static_assert(
    IsSameGuid(kInterfaceId<IMbnDeviceServicesContext>,
               GUID{0xFC5AC347, 0x1592, 0x4068, {0x80, 0xBB, 0x6A, 0x57, 0x58, 0x01, 0x50, 0xD8}}));
static_assert(
    IsSameGuid(kInterfaceId<IMbnDeviceService>,
               GUID{0xB3BB9A71, 0xDC70, 0x4BE9, {0xA4, 0xDA, 0x78, 0x86, 0xAE, 0x8B, 0x19, 0x1B}}));
static_assert(
    IsSameGuid(kInterfaceId<IMbnDeviceServicesEvents>,
               GUID{0x0A900C19, 0x6824, 0x4E97, {0xB7, 0x6E, 0xCF, 0x23, 0x9D, 0x0C, 0xA6, 0x42}}));
static_assert(sizeof(MBN_DEVICE_SERVICES_INTERFACE_STATE) == 4);

}  // namespace corvane
