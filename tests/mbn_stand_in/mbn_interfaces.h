#pragma once

// What the stand-in offers: the Mobile Broadband API's interfaces, slot by slot, as the platform's
// own service offers them. Declared here once more, apart from the library's declarations, so that
// an error in those cannot hide.

#include <windows.h>
// windows.h comes first: the others build on it.
#include <ocidl.h>
#include <oleauto.h>
#include <unknwn.h>

namespace mbn_stand_in {

#define CALL virtual HRESULT STDMETHODCALLTYPE

class iInterface : public IUnknown {
 public:
  CALL get_InterfaceID(BSTR*) = 0;                     // slot 3
  CALL GetInterfaceCapability(void*) = 0;              // 4
  CALL GetSubscriberInformation(IUnknown**) = 0;       // 5
  CALL GetReadyState(int*) = 0;                        // 6
  CALL InEmergencyMode(VARIANT_BOOL*) = 0;             // 7
  CALL GetHomeProvider(void*) = 0;                     // 8
  CALL GetPreferredProviders(SAFEARRAY**) = 0;         // 9
  CALL SetPreferredProviders(SAFEARRAY*, ULONG*) = 0;  // 10
  CALL GetVisibleProviders(ULONG*, SAFEARRAY**) = 0;   // 11
  CALL ScanNetwork(ULONG*) = 0;                        // 12
  CALL GetConnection(IUnknown**) = 0;                  // 13
};

class iInterfaceManager : public IUnknown {
 public:
  CALL GetInterface(LPCWSTR, IUnknown**) = 0;  // slot 3
  CALL GetInterfaces(SAFEARRAY**) = 0;         // 4
};

class iDeviceService : public IUnknown {
 public:
  CALL QuerySupportedCommands(ULONG*) = 0;           // slot 3
  CALL OpenCommandSession(ULONG*) = 0;               // 4
  CALL CloseCommandSession(ULONG*) = 0;              // 5
  CALL SetCommand(ULONG, SAFEARRAY*, ULONG*) = 0;    // 6
  CALL QueryCommand(ULONG, SAFEARRAY*, ULONG*) = 0;  // 7
  CALL OpenDataSession(ULONG*) = 0;                  // 8
  CALL CloseDataSession(ULONG*) = 0;                 // 9
  CALL WriteData(SAFEARRAY*, ULONG*) = 0;            // 10
  CALL get_InterfaceID(BSTR*) = 0;                   // 11
  CALL get_DeviceServiceID(BSTR*) = 0;               // 12
  CALL get_IsCommandSessionOpen(BOOL*) = 0;          // 13
  CALL get_IsDataSessionOpen(BOOL*) = 0;             // 14
};

class iDeviceServicesContext : public IUnknown {
 public:
  CALL EnumerateDeviceServices(SAFEARRAY**) = 0;      // slot 3
  CALL GetDeviceService(BSTR, iDeviceService**) = 0;  // 4
  CALL get_MaxCommandSize(ULONG*) = 0;                // 5
  CALL get_MaxDataSize(ULONG*) = 0;                   // 6
};

class iDeviceServicesManager : public IUnknown {
 public:
  CALL GetDeviceServicesContext(BSTR, iDeviceServicesContext**) = 0;  // slot 3
};

// Implemented by the client.
class iDeviceServicesSink : public IUnknown {
 public:
  CALL OnQuerySupportedCommandsComplete(iDeviceService*, SAFEARRAY*, HRESULT, ULONG) = 0;  // slot 3
  CALL OnOpenCommandSessionComplete(iDeviceService*, HRESULT, ULONG) = 0;                  // 4
  CALL OnCloseCommandSessionComplete(iDeviceService*, HRESULT, ULONG) = 0;                 // 5
  CALL OnSetCommandComplete(iDeviceService*, ULONG, SAFEARRAY*, HRESULT, ULONG) = 0;       // 6
  CALL OnQueryCommandComplete(iDeviceService*, ULONG, SAFEARRAY*, HRESULT, ULONG) = 0;     // 7
  CALL OnEventNotification(iDeviceService*, ULONG, SAFEARRAY*) = 0;                        // 8
  CALL OnOpenDataSessionComplete(iDeviceService*, HRESULT, ULONG) = 0;                     // 9
  CALL OnCloseDataSessionComplete(iDeviceService*, HRESULT, ULONG) = 0;                    // 10
  CALL OnWriteDataComplete(iDeviceService*, HRESULT, ULONG) = 0;                           // 11
  CALL OnReadData(iDeviceService*, SAFEARRAY*) = 0;                                        // 12
  CALL OnInterfaceStateChange(BSTR, int) = 0;                                              // 13
};

#undef CALL

inline constexpr GUID kUnknownId{
    0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
inline constexpr GUID kClassFactoryId{
    0x00000001, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
inline constexpr GUID kConnectionPointContainerId{
    0xB196B284, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr GUID kConnectionPointId{
    0xB196B286, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
inline constexpr GUID kInterfaceManagerId{
    0xDCBBBAB6, 0x201B, 0x4BBB, {0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA}};
inline constexpr GUID kInterfaceId{
    0xDCBBBAB6, 0x2001, 0x4BBB, {0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA}};
inline constexpr GUID kDeviceServicesManagerId{
    0x20A26258, 0x6811, 0x4478, {0xAC, 0x1D, 0x13, 0x32, 0x4E, 0x45, 0xE4, 0x1C}};
inline constexpr GUID kDeviceServicesContextId{
    0xFC5AC347, 0x1592, 0x4068, {0x80, 0xBB, 0x6A, 0x57, 0x58, 0x01, 0x50, 0xD8}};
inline constexpr GUID kDeviceServiceId{
    0xB3BB9A71, 0xDC70, 0x4BE9, {0xA4, 0xDA, 0x78, 0x86, 0xAE, 0x8B, 0x19, 0x1B}};
inline constexpr GUID kSinkId{
    0x0A900C19, 0x6824, 0x4E97, {0xB7, 0x6E, 0xCF, 0x23, 0x9D, 0x0C, 0xA6, 0x42}};

inline constexpr GUID kDeviceServicesManagerClass{
    0x2269DAA3, 0x2A9F, 0x4165, {0xA5, 0x01, 0xCE, 0x00, 0xA6, 0xF7, 0xA7, 0x5B}};
inline constexpr GUID kInterfaceManagerClass{
    0xBDFEE05B, 0x4418, 0x11DD, {0x90, 0xED, 0x00, 0x1C, 0x25, 0x7C, 0xCF, 0xF1}};

// The one device service that the stand-in's devices have.
inline constexpr const wchar_t* kDiagServiceId = L"{2D0C12C9-0E6A-495A-915C-8D174FE5D63C}";

}  // namespace mbn_stand_in
