#pragma once

#include <atomic>
#include <cstdint>

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
// Threads. The session thread creates it, opens it and closes it. The platform calls the sink on
// threads of its own, from the registration inside Open on (so before Open or OpenCommandSession
// has returned) until Close. These threads call the handlers, and Write through them. The calls
// come one after the other, with one exception: a notification that answers a Write can come on a
// second thread while the first is still in that Write. Why the fields can do with so little
// locking:
//
//  refCount        Any thread. Atomic.
//  interfaceId, manager, pointContainer, eventPoint, onConnected, connectedContext, onDisconnected,
//  disconnectedContext
//                  Written by Open before it registers the sink, read by the sink, and cleared by
//                  Close behind `sinkCalls`, which keeps calls of the sink out and has waited for
//                  those inside. So they never change while another thread can see them, and a
//                  handler never runs once Close has returned.
//  adviseCookie    Written by Open when the registration has returned, which the sink's first call
//                  may come before. An arrival that still reads 0 is passed over; Open is about to
//                  look for the interface itself. (When it then cannot list the interfaces, only
//                  the next arrival opens the session.) One atomic word.
//  service         Set by the session thread (Open) and by the sink (an arrival), used by both:
//                  each takes a reference of its own under `lock`, and holds `lock` for no more.
//  opening         Open's search and an arrival open one after the other: the search waits for an
//                  arrival that is opening, and an arrival leaves it to whoever is opening to look
//                  again. Both ask for a session, each on a service object of its own, and from
//                  then on only the later one's completions and notifications count. Close forbids
//                  it first of all, and so waits for an arrival that is opening.
//  isClosing       Set by Close under `lock`, and cleared by Open. While it is set, no open
//                  completion brings the session back, so that nothing resets `sessionEvent` under
//                  a Close that waits for it, and an end of the session is reported once, a removal
//                  without a session not at all.
//  sessionOpen     Set by the sink, under `lock`; cleared by the sink or by Close. Once Close has
//                  begun, the one that clears it reports the end. A Write that still reads 1 when
//                  the session has just been lost fails in the platform; a Close that does so has
//                  its request refused, or finds `sessionEvent` set.
//  onData, dataContext
//                  Set by the connect handler, so on the sink's thread, and read there for each
//                  notification. Each is read once and both have to be there; a reconnection sets
//                  what stands there already. Close leaves them: without a service no notification
//                  gets as far as them.
//  sessionEvent    A kernel object. The handle is there from the constructor to the destructor.
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
  void ReportConnected();
  void EndSession();
  void SetService(cComPointer<IMbnDeviceService> next);
  [[nodiscard]] cComPointer<IMbnDeviceService> Service();
  [[nodiscard]] bool IsOurService(IMbnDeviceService* other);

  std::atomic<ULONG> refCount = 0;
  cBstr interfaceId;
  cComPointer<IMbnDeviceServicesManager> manager;
  cComPointer<IMbnDeviceService> service;
  cComPointer<IConnectionPointContainer> pointContainer;
  cComPointer<IConnectionPoint> eventPoint;
  std::atomic<DWORD> adviseCookie = 0;  // 0: not registered
  std::atomic<std::uint8_t> sessionOpen = 0;
  cOpeningTurn opening;
  std::atomic<bool> isClosing = false;
  ConnectionHandler onConnected = nullptr;  // set by Open once COM is initialised
  void* connectedContext = nullptr;
  ConnectionHandler onDisconnected = nullptr;
  void* disconnectedContext = nullptr;
  std::atomic<DataHandler> onData = nullptr;
  std::atomic<void*> dataContext = nullptr;
  // Manual-reset: unsignalled from the session's opening to its end. None when it could not be
  // made.
  KernelHandle sessionEvent;
  cCallGate sinkCalls;
};

}  // namespace corvane
