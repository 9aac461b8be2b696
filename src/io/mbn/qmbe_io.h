#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "capture/transport.h"
#include "diag/shared_buffer.h"
#include "io/mbn/call_gate.h"
#include "io/mbn/com_owners.h"
#include "io/mbn/mbn_api.h"
#include "platform/windows_handle.h"

namespace corvane {

// Takes one block of received bytes. `data` is the transport's and lasts for the call.
using DataHandler = void (*)(void* context, sSharedBuffer* data);

// The transport for a modem that is reached through the Windows Mobile Broadband API: DIAG data
// goes out as commands of the modem's DIAG device service and comes in as that service's
// notifications. The device name is the ID of a mobile-broadband interface.
//
// It is a COM object, the sink that the platform calls. It starts with a count of 0: its creator
// takes the first reference with AddRef and gives it back with Release, never with delete. The
// last Release, on whichever thread, destroys it.
//
// The session thread creates it, opens it and closes it. The platform calls the sink on threads of
// its own, several at once too, from the registration inside Open until Close; these threads call
// the handlers. The connection handlers run one at a time, in the order of the sessions: what
// happens while one runs is reported after it, but for a session that came and went meanwhile.
// No lock is held during a call into the platform, nor while a handler runs. docs/architecture.md
// has the table of which thread touches which field.
class cQMBEIO final : public IMbnDeviceServicesEvents, public cIO {
 public:
  cQMBEIO();

  // IUnknown. Answers for IUnknown and for the sink.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  // Registers the sink, finds the interface named `deviceName` (in any letter case) and asks for a
  // command session on its DIAG service. To be called once before a Close, on the thread that will
  // call Close: it enters the multithreaded apartment there. `deviceName` may have 63 characters; a
  // longer one ends the process, as CopyBounded has it.
  //
  // False when the interface is not there, or when any step fails; Close and Release come after
  // that too. True when the session was asked for (it is open only when the connect handler is
  // called), or when the interfaces could not be listed: then an arrival is waited for.
  [[nodiscard]] bool Open(const char* deviceName, ConnectionHandler onConnected,
                          void* connectedContext, ConnectionHandler onDisconnected,
                          void* disconnectedContext) override;

  // Ends an open session, waits up to 10 seconds for the platform to confirm that, and gives back
  // all that Open took. The disconnect handler is called once, on either thread. No handler runs
  // when Close has returned. Not to be called by a handler.
  //
  // The wait ends at once when the platform refuses the request, or reports that the interface has
  // gone: no confirmation follows then.
  //
  // A session that has not opened when Close begins is only let go of, and so is an open one when
  // there is no disconnect handler. Without a connect handler the thread stays in its apartment.
  void Close() override;

  // One command with the bytes as its data. Only while the session is open. The command's
  // completion is not awaited.
  [[nodiscard]] bool Write(const void* data, std::uint32_t length) override;

  // From the open completion of the command session to its end or the interface's removal.
  [[nodiscard]] bool IsOpen() const override;

  // Where notifications go from now on. Both have to be non-null for that.
  void SetDataHandler(DataHandler handler, void* context);

  // IMbnDeviceServicesEvents. All return S_OK, and only four of them do anything.
  HRESULT STDMETHODCALLTYPE OnQuerySupportedCommandsComplete(IMbnDeviceService* from,
                                                             SAFEARRAY* commandIds, HRESULT status,
                                                             ULONG requestId) override;
  HRESULT STDMETHODCALLTYPE OnOpenCommandSessionComplete(IMbnDeviceService* from, HRESULT status,
                                                         ULONG requestId) override;
  HRESULT STDMETHODCALLTYPE OnCloseCommandSessionComplete(IMbnDeviceService* from, HRESULT status,
                                                          ULONG requestId) override;
  HRESULT STDMETHODCALLTYPE OnSetCommandComplete(IMbnDeviceService* from, ULONG responseId,
                                                 SAFEARRAY* data, HRESULT status,
                                                 ULONG requestId) override;
  HRESULT STDMETHODCALLTYPE OnQueryCommandComplete(IMbnDeviceService* from, ULONG responseId,
                                                   SAFEARRAY* data, HRESULT status,
                                                   ULONG requestId) override;
  HRESULT STDMETHODCALLTYPE OnEventNotification(IMbnDeviceService* from, ULONG eventId,
                                                SAFEARRAY* data) override;
  HRESULT STDMETHODCALLTYPE OnOpenDataSessionComplete(IMbnDeviceService* from, HRESULT status,
                                                      ULONG requestId) override;
  HRESULT STDMETHODCALLTYPE OnCloseDataSessionComplete(IMbnDeviceService* from, HRESULT status,
                                                       ULONG requestId) override;
  HRESULT STDMETHODCALLTYPE OnWriteDataComplete(IMbnDeviceService* from, HRESULT status,
                                                ULONG requestId) override;
  HRESULT STDMETHODCALLTYPE OnReadData(IMbnDeviceService* from, SAFEARRAY* data) override;
  HRESULT STDMETHODCALLTYPE OnInterfaceStateChange(
      BSTR changedInterfaceId, MBN_DEVICE_SERVICES_INTERFACE_STATE state) override;

 private:
  // Does what Close does. Only Release destroys.
  ~cQMBEIO() override;

  [[nodiscard]] bool RegisterSink();
  [[nodiscard]] bool OpenService();
  [[nodiscard]] bool AskForSession();
  void CloseSession();
  [[nodiscard]] bool BeginSession();
  void Report();
  [[nodiscard]] std::uint32_t EndSession();
  void EndWaitFor(std::uint32_t ended);
  void SetService(std::shared_ptr<IMbnDeviceService> next);
  [[nodiscard]] std::shared_ptr<IMbnDeviceService> Service();
  [[nodiscard]] std::shared_ptr<IMbnDeviceService> ServiceOfReportedSession();
  [[nodiscard]] bool IsOurService(IMbnDeviceService* other);

  std::atomic<ULONG> refCount = 0;
  cBstr interfaceId;
  cComPointer<IMbnDeviceServicesManager> manager;
  // The one whose completions count; under `lock`, where a copy calls nothing of the platform's.
  std::shared_ptr<IMbnDeviceService> service;
  cComPointer<IConnectionPointContainer> pointContainer;
  cComPointer<IConnectionPoint> eventPoint;
  std::atomic<DWORD> adviseCookie = 0;  // 0: not registered
  std::atomic<std::uint8_t> sessionOpen = 0;
  cOpeningTurn opening;  // whoever calls OpenService has it
  cReportTurn reports;   // whoever calls a connection handler has it; added to under `lock`
  // From Close to the next Open: no session begins, and each end is reported once. Set under
  // `lock`.
  std::atomic<bool> isClosing = false;
  ConnectionHandler onConnected = nullptr;  // set by Open once COM is initialised
  void* connectedContext = nullptr;
  ConnectionHandler onDisconnected = nullptr;
  void* disconnectedContext = nullptr;
  std::atomic<DataHandler> onData = nullptr;
  std::atomic<void*> dataContext = nullptr;
  std::uint32_t session = 0;  // how many have opened; under `lock`
  // Manual-reset: unsignalled from the session's opening to its end. Set and reset under `lock`.
  // None when it could not be made.
  KernelHandle sessionEvent;
  cCallGate sinkCalls;
};

}  // namespace corvane
