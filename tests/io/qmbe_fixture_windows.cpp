#include "io/qmbe_fixture_windows.h"

#include <chrono>
#include <memory>

#include "io/mbn/mbn_calls.h"
#include "platform/windows_calls.h"
#include "support/replaced_call.h"

namespace corvane::test {

sImports gImports;

namespace {

std::function<void(const wchar_t*)> gDebuggerLine;

// Whether this call is the one that fails (sImports::callsToFailure).
bool FailsNow(const char* name) {
  if (gImports.callsToFailure <= 0 || --gImports.callsToFailure != 0) {
    return false;
  }
  gImports.failedCall = name;
  return true;
}

HRESULT WINAPI CountedInitialize(void* reserved, DWORD kind) {
  if (FailsNow("CoInitializeEx")) {
    return E_OUTOFMEMORY;
  }
  const HRESULT result = ::CoInitializeEx(reserved, kind);
  if (SUCCEEDED(result)) {
    ++gImports.initialised;
  }
  return result;
}

void WINAPI CountedUninitialize() {
  ++gImports.uninitialised;
  if (gImports.whenUninitialising) {
    gImports.whenUninitialising();
  }
  ::CoUninitialize();
}

HRESULT WINAPI WatchedCreate(REFCLSID classId, IUnknown* outer, DWORD context, REFIID iid,
                             void** object) {
  gImports.contexts.push_back(context);
  gImports.createdClasses.push_back(classId);
  gImports.createdInterfaces.push_back(iid);
  if (gImports.whenCreating) {
    gImports.whenCreating(iid);
  }
  if (FailsNow("CoCreateInstance")) {
    return E_OUTOFMEMORY;
  }
  return ::CoCreateInstance(classId, outer, context, iid, object);
}

BSTR WINAPI AllocateString(const OLECHAR* text) {
  if (FailsNow("SysAllocString") || (gImports.failingString && (*gImports.failingString)-- == 0)) {
    return nullptr;
  }
  const BSTR string = ::SysAllocString(text);
  if (gImports.whenString) {
    gImports.whenString(string);
  }
  return string;
}

SAFEARRAY* WINAPI CreateVector(VARTYPE type, LONG lower, ULONG count) {
  return FailsNow("SafeArrayCreateVector") || gImports.arraysFail
             ? nullptr
             : ::SafeArrayCreateVector(type, lower, count);
}

HANDLE WINAPI MakeEvent(LPSECURITY_ATTRIBUTES security, BOOL isManual, BOOL isSet,
                        const wchar_t* name) {
  if (FailsNow("CreateEventW") || gImports.eventsFail) {
    return nullptr;
  }
  const HANDLE event = ::CreateEventW(security, isManual, isSet, name);
  if (gImports.sessionEvent == nullptr) {
    gImports.sessionEvent = event;
    gImports.eventIsManual = isManual != FALSE;
    gImports.eventWasSet = isSet != FALSE;
  }
  return event;
}

int WINAPI CompareByName(const wchar_t* locale, DWORD flags, const wchar_t* left, int leftLength,
                         const wchar_t* right, int rightLength, NLSVERSIONINFO* version,
                         void* reserved, LPARAM parameter) {
  ++gImports.compares;
  gImports.comparedLocales.emplace_back(locale);
  gImports.compareFlags.push_back(flags);
  if (FailsNow("CompareStringEx")) {
    return 0;
  }
  if (gImports.compareExResult) {
    return *gImports.compareExResult;
  }
  return ::CompareStringEx(locale, flags, left, leftLength, right, rightLength, version, reserved,
                           parameter);
}

int WINAPI CompareByNumber(LCID locale, DWORD flags, const wchar_t* left, int leftLength,
                           const wchar_t* right, int rightLength) {
  ++gImports.plainCompares;
  if (FailsNow("CompareStringW")) {
    return 0;
  }
  if (gImports.compareResult) {
    return *gImports.compareResult;
  }
  return ::CompareStringW(locale, flags, left, leftLength, right, rightLength);
}

void WINAPI TakeDebuggerLine(const wchar_t* text) {
  if (gDebuggerLine) {
    gDebuggerLine(text);
  }
}

// Others in the program have events too, such as the threads' library.
bool IsSessionEvent(HANDLE handle) { return handle != nullptr && handle == gImports.sessionEvent; }

BOOL WINAPI WatchedReset(HANDLE event) {
  if (IsSessionEvent(event) && gImports.whenEventIsReset) {
    gImports.whenEventIsReset();
  }
  return ::ResetEvent(event);
}

BOOL WINAPI WatchedCloseHandle(HANDLE handle) {
  if (IsSessionEvent(handle)) {
    ++gImports.eventCloses;
    gImports.sessionEvent = nullptr;
  }
  return ::CloseHandle(handle);
}

DWORD WINAPI WatchedWait(HANDLE handle, DWORD milliseconds) {
  if (!IsSessionEvent(handle)) {
    return ::WaitForSingleObject(handle, milliseconds);
  }
  gImports.waitLimit = milliseconds;
  gImports.wasOverBeforeWait = ::WaitForSingleObject(handle, 0) == WAIT_OBJECT_0;
  gImports.isWaiting = true;
  if (FailsNow("WaitForSingleObject") || gImports.waitTimesOut) {
    return WAIT_TIMEOUT;
  }
  const DWORD result = ::WaitForSingleObject(handle, milliseconds);
  EXPECT_EQ(result, WAIT_OBJECT_0) << "nothing has ended the wait for the session's end";
  return result;
}

HRESULT WINAPI AccessData(SAFEARRAY* array, void** data) {
  if (FailsNow("SafeArrayAccessData") || gImports.failingArrayCall == "SafeArrayAccessData") {
    return E_UNEXPECTED;
  }
  return ::SafeArrayAccessData(array, data);
}

HRESULT WINAPI LowerBound(SAFEARRAY* array, UINT dimension, LONG* bound) {
  if (FailsNow("SafeArrayGetLBound") || gImports.failingArrayCall == "SafeArrayGetLBound") {
    return E_UNEXPECTED;
  }
  return ::SafeArrayGetLBound(array, dimension, bound);
}

HRESULT WINAPI UpperBound(SAFEARRAY* array, UINT dimension, LONG* bound) {
  if (FailsNow("SafeArrayGetUBound") || gImports.failingArrayCall == "SafeArrayGetUBound") {
    return E_UNEXPECTED;
  }
  return ::SafeArrayGetUBound(array, dimension, bound);
}

const cReplacedCall kCoInitializeEx(MbnCalls().CoInitializeEx, CountedInitialize);
const cReplacedCall kCoUninitialize(MbnCalls().CoUninitialize, CountedUninitialize);
const cReplacedCall kCoCreateInstance(MbnCalls().CoCreateInstance, WatchedCreate);
const cReplacedCall kSysAllocString(MbnCalls().SysAllocString, AllocateString);
const cReplacedCall kSafeArrayCreateVector(MbnCalls().SafeArrayCreateVector, CreateVector);
const cReplacedCall kSafeArrayAccessData(MbnCalls().SafeArrayAccessData, AccessData);
const cReplacedCall kSafeArrayGetLBound(MbnCalls().SafeArrayGetLBound, LowerBound);
const cReplacedCall kSafeArrayGetUBound(MbnCalls().SafeArrayGetUBound, UpperBound);
const cReplacedCall kCompareStringEx(MbnCalls().CompareStringEx, CompareByName);
const cReplacedCall kCompareStringW(MbnCalls().CompareStringW, CompareByNumber);
const cReplacedCall kOutputDebugStringW(MbnCalls().OutputDebugStringW, TakeDebuggerLine);
const cReplacedCall kCreateEventW(KernelCalls().CreateEventW, MakeEvent);
const cReplacedCall kResetEvent(KernelCalls().ResetEvent, WatchedReset);
const cReplacedCall kCloseHandle(KernelCalls().CloseHandle, WatchedCloseHandle);
const cReplacedCall kWaitForSingleObject(KernelCalls().WaitForSingleObject, WatchedWait);

std::string Hex(std::span<const std::uint8_t> bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}

}  // namespace

void cHandlerRecord::Add(const std::string& event) {
  {
    const std::lock_guard guard(mutex);
    events.push_back(event);
  }
  changed.notify_all();
}

std::vector<std::string> cHandlerRecord::Events() const {
  const std::lock_guard guard(mutex);
  return events;
}

bool cHandlerRecord::WaitFor(std::size_t count) {
  std::unique_lock guard(mutex);
  return changed.wait_for(guard, std::chrono::seconds(20), [&] { return events.size() >= count; });
}

void ForgetImports() {
  std::destroy_at(&gImports);
  std::construct_at(&gImports);
}

void QmbeTest::SetUp() {
  ForgetImports();
  gDebuggerLine = [this](const wchar_t* text) {
    const std::wstring wide(text);
    record.Add("debugger " + std::string(wide.begin(), wide.end()));
  };
  blocksBefore = LiveAutomationBlocks();
  MakeTransport();
}

void QmbeTest::MakeTransport() {
  gImports.sessionEvent = nullptr;
  transport = new cQMBEIO;
  transport->AddRef();
}

void QmbeTest::TearDown() {
  Finish();
  gDebuggerLine = nullptr;
  if (service) {
    EXPECT_TRUE(service->HasNothingLeft());
    for (const std::string& callback : service->Log("callback ")) {
      EXPECT_TRUE(callback.ends_with(" -> 0x00000000")) << callback;
    }
    if (HasFailure()) {
      for (const std::string& line : service->Log()) {
        std::printf("| %s\n", line.c_str());
      }
    }
  }
  EXPECT_EQ(LiveAutomationBlocks(), blocksBefore) << "strings or arrays are left";
  EXPECT_EQ(gImports.initialised, gImports.uninitialised);
}

void QmbeTest::Serve(const std::string& scenario) {
  ServeOnly(std::string("interface ") + kWantedId + "\n" + scenario);
}

void QmbeTest::ServeOnly(const std::string& scenario) { service.emplace(scenario); }

bool QmbeTest::Open(const std::string& deviceName) {
  transport->SetDataHandler(OnData, &dataContext);
  return transport->Open(deviceName.c_str(), OnConnected, &connectedContext, OnDisconnected,
                         &disconnectedContext);
}

void QmbeTest::OpenSession() {
  ASSERT_TRUE(Open());
  ASSERT_TRUE(record.WaitFor(1));
  ASSERT_TRUE(transport->IsOpen());
}

void QmbeTest::Finish() {
  if (transport == nullptr) {
    return;
  }
  transport->Close();
  EXPECT_EQ(transport->Release(), 0U) << "references to the sink are left";
  transport = nullptr;
}

void QmbeTest::OnConnected(void* context) {
  const auto& mine = *static_cast<sContext*>(context);
  mine.test->record.Add(mine.event);
  if (mine.test->whenConnected) {
    mine.test->whenConnected();
  }
}

void QmbeTest::OnDisconnected(void* context) {
  const auto& mine = *static_cast<sContext*>(context);
  mine.test->record.Add(mine.event);
  if (mine.test->whenDisconnected) {
    mine.test->whenDisconnected();
  }
}

void QmbeTest::OnData(void* context, sSharedBuffer* data) {
  const auto& mine = *static_cast<sContext*>(context);
  if (mine.test->whenData) {
    mine.test->whenData(*data);
  }
  mine.test->record.Add(std::string(mine.event) + " " + Hex(data->Bytes()));
}

}  // namespace corvane::test
