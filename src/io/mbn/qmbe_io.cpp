#include "io/mbn/qmbe_io.h"

#include <mutex>
#include <new>
#include <span>
#include <tuple>
#include <utility>

#include "io/mbn/mbn_calls.h"
#include "io/mbn/mbn_interfaces.h"
#include "platform/windows_calls.h"

namespace corvane {
namespace {

constexpr const wchar_t* kDiagServiceId = L"{2D0C12C9-0E6A-495A-915C-8D174FE5D63C}";
constexpr ULONG kDiagDataCommand = 2;
constexpr int kOpenAttempts = 10;
constexpr std::size_t kLeastNotification = 4;
constexpr DWORD kCloseLimit = 10'000;  // milliseconds

// E_CHANGED_STATE: the service changed while the session was being opened, so it is worth another
// attempt.
constexpr HRESULT kChangedState = static_cast<HRESULT>(0x8000000C);

}  // namespace

cQMBEIO::cQMBEIO()
    : cIO(kMobileBroadband),
      sessionEvent(KernelCalls().CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

cQMBEIO::~cQMBEIO() { Close(); }

HRESULT STDMETHODCALLTYPE cQMBEIO::QueryInterface(REFIID iid, void** object) {
  if (object == nullptr) {
    return E_POINTER;
  }
  *object = nullptr;
  if (!IsEqualGUID(iid, kInterfaceId<IUnknown>) &&
      !IsEqualGUID(iid, kInterfaceId<IMbnDeviceServicesEvents>)) {
    return E_NOINTERFACE;
  }
  *object = static_cast<IMbnDeviceServicesEvents*>(this);
  AddRef();
  return S_OK;
}

ULONG STDMETHODCALLTYPE cQMBEIO::AddRef() { return ++refCount; }

ULONG STDMETHODCALLTYPE cQMBEIO::Release() {
  const ULONG left = --refCount;
  if (left == 0) {
    delete this;
  }
  return left;
}

bool cQMBEIO::Open(const char* deviceName, ConnectionHandler whenConnected,
                   void* contextOfConnected, ConnectionHandler whenDisconnected,
                   void* contextOfDisconnected) {
  if (!sessionEvent) {
    return false;
  }
  if (FAILED(MbnCalls().CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {
    return false;
  }
  onConnected = whenConnected;
  connectedContext = contextOfConnected;
  onDisconnected = whenDisconnected;
  disconnectedContext = contextOfDisconnected;

  interfaceId = MakeInterfaceId(deviceName);
  if (!interfaceId) {
    return false;
  }
  isClosing = false;
  opening.Allow();
  if (!RegisterSink()) {
    return false;
  }

  const auto interfaceManager = CreateObject<IMbnInterfaceManager>(kInterfaceManagerClass);
  if (!interfaceManager) {
    return false;
  }
  cSafeArray interfaces;
  // A system that cannot list its interfaces yet (its service is just starting) is no reason to
  // give up: the interface is announced when it comes.
  if (FAILED(interfaceManager->GetInterfaces(interfaces.Receive()))) {
    return true;
  }
  return HasInterface(interfaces.Get(), interfaceId.Get()) && opening.Take() && OpenService();
}

bool cQMBEIO::RegisterSink() {
  manager = CreateObject<IMbnDeviceServicesManager>(kDeviceServicesManagerClass);
  if (!manager) {
    return false;
  }
  pointContainer = CreateObject<IConnectionPointContainer>(kDeviceServicesManagerClass);
  if (!pointContainer) {
    return false;
  }
  if (FAILED(pointContainer->FindConnectionPoint(kInterfaceId<IMbnDeviceServicesEvents>,
                                                 eventPoint.Receive())) ||
      !eventPoint) {
    return false;
  }
  sinkCalls.Open();
  DWORD cookie = 0;
  if (FAILED(eventPoint->Advise(static_cast<IMbnDeviceServicesEvents*>(this), &cookie))) {
    return false;
  }
  adviseCookie = cookie;
  return true;
}

bool cQMBEIO::OpenService() {
  const bool isAskedFor = AskForSession();
  while (!opening.GiveBack()) {
    std::ignore = AskForSession();
  }
  return isAskedFor;
}

bool cQMBEIO::AskForSession() {
  if (!manager || !eventPoint || adviseCookie == 0) {
    return false;
  }
  const cBstr serviceId(kDiagServiceId);
  if (!serviceId) {
    return false;
  }
  for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
    cComPointer<IMbnDeviceServicesContext> context;
    if (FAILED(manager->GetDeviceServicesContext(interfaceId.Get(), context.Receive())) ||
        !context) {
      return false;
    }
    cComPointer<IMbnDeviceService> found;
    if (FAILED(context->GetDeviceService(serviceId.Get(), found.Receive())) || !found) {
      continue;
    }
    // Kept before the session is asked for: the completion, which may come before the answer, is
    // told by its service.
    auto shared = Share(found.Get());
    if (!shared) {
      return false;
    }
    SetService(std::move(shared));
    ULONG requestId = 0;
    const HRESULT opened = found->OpenCommandSession(&requestId);
    if (SUCCEEDED(opened)) {
      return true;
    }
    if (opened != kChangedState) {
      return false;
    }
  }
  return false;
}

void cQMBEIO::Close() {
  // Afterwards no service is being opened, so the session's end is asked for on the service whose
  // completions count.
  opening.Forbid();
  {
    const std::lock_guard guard(lock);
    isClosing = true;
  }
  // Without a disconnect handler the session is not ended, only let go of with its service.
  if (onDisconnected != nullptr && IsOpen()) {
    CloseSession();
  }
  // From here on no other thread is in the sink, so all the rest is this thread's alone.
  sinkCalls.Close();
  sessionOpen = 0;

  // This is how Close knows that Open came as far as COM. After an Open without a connect handler
  // the thread stays in its apartment.
  const bool comInitialised = onConnected != nullptr;
  onConnected = nullptr;
  connectedContext = nullptr;
  onDisconnected = nullptr;
  disconnectedContext = nullptr;
  interfaceId.Reset();
  SetService({});
  if (const DWORD cookie = adviseCookie.exchange(0); cookie != 0) {
    eventPoint->Unadvise(cookie);
  }
  eventPoint.Reset();
  pointContainer.Reset();
  manager.Reset();
  if (comInitialised) {
    MbnCalls().CoUninitialize();
  }
}

void cQMBEIO::CloseSession() {
  const auto openService = Service();
  ULONG requestId = 0;
  if (openService && SUCCEEDED(openService->CloseCommandSession(&requestId))) {
    KernelCalls().WaitForSingleObject(sessionEvent.Get(), kCloseLimit);
  }
  // The completion, or the removal of the interface, has reported the end and cleared the flag.
  // When neither came, or the request was refused, the end is reported here.
  std::ignore = EndSession();
}

bool cQMBEIO::Write(const void* data, std::uint32_t length) {
  const auto openService = ServiceOfReportedSession();
  if (!openService) {
    return false;
  }
  const cSafeArray bytes = MakeByteArray({static_cast<const std::uint8_t*>(data), length});
  if (!bytes) {
    return false;
  }
  ULONG requestId = 0;
  return SUCCEEDED(openService->SetCommand(kDiagDataCommand, bytes.Get(), &requestId));
}

bool cQMBEIO::IsOpen() const { return sessionOpen != 0; }

void cQMBEIO::SetDataHandler(DataHandler handler, void* context) {
  onData = handler;
  dataContext = context;
}

void cQMBEIO::SetService(std::shared_ptr<IMbnDeviceService> next) {
  // `next` leaves with the old service in it, and gives it back outside the lock.
  const std::lock_guard guard(lock);
  std::swap(service, next);
}

std::shared_ptr<IMbnDeviceService> cQMBEIO::Service() {
  const std::lock_guard guard(lock);
  return service;
}

std::shared_ptr<IMbnDeviceService> cQMBEIO::ServiceOfReportedSession() {
  // One step. While the end of a session waits to be reported, its requests are still queued, and a
  // next session may have opened: they are not for that one.
  const std::lock_guard guard(lock);
  return IsOpen() && !reports.HasEndWaiting() ? service : nullptr;
}

bool cQMBEIO::IsOurService(IMbnDeviceService* other) {
  const auto ours = Service();
  if (other == nullptr || !ours) {
    return false;
  }
  if (other == ours.get()) {
    return true;
  }
  // One object may have several pointers of one interface; its IUnknown is always the same.
  const auto identity = QueryFor<IUnknown>(other);
  return identity && identity.Get() == QueryFor<IUnknown>(ours.get()).Get();
}

void cQMBEIO::Report() {
  if (!reports.Take()) {
    return;
  }
  while (const auto report = reports.Next()) {
    switch (*report) {
      case eReport::Opened:
        if (onConnected != nullptr) {
          onConnected(connectedContext);
        }
        break;
      case eReport::Ended:
        if (onDisconnected != nullptr) {
          onDisconnected(disconnectedContext);
        }
        break;
    }
  }
}

std::uint32_t cQMBEIO::EndSession() {
  // Once Close has begun, its own end of the session and the platform's meet: whoever clears the
  // flag reports it. Before that every end is reported, also a removal without an open session.
  std::uint32_t ended = 0;
  {
    const std::lock_guard guard(lock);
    ended = session;
    if (sessionOpen.exchange(0) != 0 || !isClosing) {
      reports.Add(eReport::Ended);
    }
  }
  Report();
  return ended;
}

void cQMBEIO::EndWaitFor(std::uint32_t ended) {
  // The next session may have opened since: a Close that ends it waits for the end of that one.
  const std::lock_guard guard(lock);
  if (session == ended) {
    KernelCalls().SetEvent(sessionEvent.Get());
  }
}

bool cQMBEIO::BeginSession() {
  // One step: a session that begins after Close has looked for one would reset the event under
  // Close's wait.
  const std::lock_guard guard(lock);
  if (isClosing) {
    return false;
  }
  ++session;
  KernelCalls().ResetEvent(sessionEvent.Get());
  sessionOpen = 1;
  reports.Add(eReport::Opened);
  return true;
}

HRESULT STDMETHODCALLTYPE cQMBEIO::OnOpenCommandSessionComplete(IMbnDeviceService* from,
                                                                HRESULT status, ULONG) {
  const auto pass = sinkCalls.Enter();
  // A session that opens when Close has begun is only let go of, like one that did not open yet.
  if (pass && status == S_OK && IsOurService(from) && BeginSession()) {
    Report();
  }
  return S_OK;
}

HRESULT STDMETHODCALLTYPE cQMBEIO::OnCloseCommandSessionComplete(IMbnDeviceService* from, HRESULT,
                                                                 ULONG) {
  const auto pass = sinkCalls.Enter();
  if (!pass || !IsOurService(from)) {
    return S_OK;
  }
  // The session ends whatever the status says: one that failed to close carries no data either.
  const std::uint32_t ended = EndSession();
  MbnCalls().OutputDebugStringW(L"-------- OnCloseCommandSessionComplete\n");
  EndWaitFor(ended);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE cQMBEIO::OnEventNotification(IMbnDeviceService* from, ULONG,
                                                       SAFEARRAY* data) {
  // Every notification of the DIAG service is DIAG data, whatever its event ID.
  const auto pass = sinkCalls.Enter();
  if (!pass || !IsOurService(from)) {
    return S_OK;
  }
  const DataHandler handler = onData;
  void* const context = dataContext;
  if (handler == nullptr || context == nullptr) {
    return S_OK;
  }

  const cSafeArrayBytes received(data);
  const auto bytes = received.Bytes();
  if (bytes.size() < kLeastNotification) {
    return S_OK;
  }
  // More bytes than a buffer holds make an empty one, which only sends the next request.
  OwnedBuffer block = MakeBuffer(bytes, kOriginDevice);
  if (!block) {
    return S_OK;
  }
  const cBufferReference reference(std::move(block));
  handler(context, reference.Get());
  return S_OK;
}

HRESULT STDMETHODCALLTYPE cQMBEIO::OnInterfaceStateChange(
    BSTR changedInterfaceId, MBN_DEVICE_SERVICES_INTERFACE_STATE state) {
  const auto pass = sinkCalls.Enter();
  if (!pass || !IsSameInterface(changedInterfaceId, interfaceId.Get())) {
    return S_OK;
  }
  switch (state) {
    case MBN_DEVICE_SERVICES_CAPABLE_INTERFACE_REMOVAL:
      // The session went with the interface, and its completion never comes: Close must not wait.
      EndWaitFor(EndSession());
      break;
    case MBN_DEVICE_SERVICES_CAPABLE_INTERFACE_ARRIVAL:
      // Also while a session is open: then another one is asked for, and its opening is reported
      // again. When that fails the transport is left with the last service it tried, whose
      // completions alone count, and the next arrival tries again.
      if (opening.TryTake()) {
        std::ignore = OpenService();
      }
      break;
  }
  return S_OK;
}

// The rest of the sink. Command completions say nothing (the modem answers by notifications), and
// nobody starts the other operations.

HRESULT STDMETHODCALLTYPE cQMBEIO::OnQuerySupportedCommandsComplete(IMbnDeviceService*, SAFEARRAY*,
                                                                    HRESULT, ULONG) {
  return S_OK;
}

HRESULT STDMETHODCALLTYPE cQMBEIO::OnSetCommandComplete(IMbnDeviceService*, ULONG, SAFEARRAY*,
                                                        HRESULT, ULONG) {
  return S_OK;
}

HRESULT STDMETHODCALLTYPE cQMBEIO::OnQueryCommandComplete(IMbnDeviceService*, ULONG, SAFEARRAY*,
                                                          HRESULT, ULONG) {
  return S_OK;
}

HRESULT STDMETHODCALLTYPE cQMBEIO::OnOpenDataSessionComplete(IMbnDeviceService*, HRESULT, ULONG) {
  return S_OK;
}

HRESULT STDMETHODCALLTYPE cQMBEIO::OnCloseDataSessionComplete(IMbnDeviceService*, HRESULT, ULONG) {
  return S_OK;
}

HRESULT STDMETHODCALLTYPE cQMBEIO::OnWriteDataComplete(IMbnDeviceService*, HRESULT, ULONG) {
  return S_OK;
}

HRESULT STDMETHODCALLTYPE cQMBEIO::OnReadData(IMbnDeviceService*, SAFEARRAY*) { return S_OK; }

}  // namespace corvane
