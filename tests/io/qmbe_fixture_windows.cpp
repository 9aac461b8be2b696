#include "io/qmbe_fixture_windows.h"

#include <chrono>

#include "io/replaced_import.h"

namespace corvane::test {

sImports gImports;

namespace {

std::function<void(const wchar_t*)> gDebuggerLine;

HRESULT WINAPI CountedInitialize(void* reserved, DWORD kind);
void WINAPI CountedUninitialize();
HRESULT WINAPI WatchedCreate(REFCLSID classId, IUnknown* outer, DWORD context, REFIID iid,
                             void** object);
BSTR WINAPI AllocateString(const OLECHAR* text);
SAFEARRAY* WINAPI CreateVector(VARTYPE type, LONG lower, ULONG count);
HANDLE WINAPI MakeEvent(LPSECURITY_ATTRIBUTES security, BOOL isManual, BOOL isSet,
                        const wchar_t* name);
int WINAPI CompareByName(const wchar_t* locale, DWORD flags, const wchar_t* left, int leftLength,
                         const wchar_t* right, int rightLength, NLSVERSIONINFO* version,
                         void* reserved, LPARAM parameter);
int WINAPI CompareByNumber(LCID locale, DWORD flags, const wchar_t* left, int leftLength,
                           const wchar_t* right, int rightLength);
void WINAPI TakeDebuggerLine(const wchar_t* text);

}  // namespace
}  // namespace corvane::test

REPLACE_IMPORT(CoInitializeEx, corvane::test::CountedInitialize)
REPLACE_IMPORT(CoUninitialize, corvane::test::CountedUninitialize)
REPLACE_IMPORT(CoCreateInstance, corvane::test::WatchedCreate)
REPLACE_IMPORT(SysAllocString, corvane::test::AllocateString)
REPLACE_IMPORT(SafeArrayCreateVector, corvane::test::CreateVector)
REPLACE_IMPORT(CreateEventW, corvane::test::MakeEvent)
REPLACE_IMPORT(CompareStringEx, corvane::test::CompareByName)
REPLACE_IMPORT(CompareStringW, corvane::test::CompareByNumber)
REPLACE_IMPORT(OutputDebugStringW, corvane::test::TakeDebuggerLine)

namespace corvane::test {
namespace {

HRESULT WINAPI CountedInitialize(void* reserved, DWORD kind) {
  const HRESULT result = ORIGINAL(CoInitializeEx)(reserved, kind);
  if (SUCCEEDED(result)) ++gImports.initialised;
  return result;
}

void WINAPI CountedUninitialize() {
  ++gImports.uninitialised;
  ORIGINAL(CoUninitialize)();
}

HRESULT WINAPI WatchedCreate(REFCLSID classId, IUnknown* outer, DWORD context, REFIID iid,
                             void** object) {
  gImports.contexts.push_back(context);
  gImports.createdClasses.push_back(classId);
  gImports.createdInterfaces.push_back(iid);
  return ORIGINAL(CoCreateInstance)(classId, outer, context, iid, object);
}

BSTR WINAPI AllocateString(const OLECHAR* text) {
  if (gImports.failingString && (*gImports.failingString)-- == 0) return nullptr;
  return ORIGINAL(SysAllocString)(text);
}

SAFEARRAY* WINAPI CreateVector(VARTYPE type, LONG lower, ULONG count) {
  return gImports.arraysFail ? nullptr : ORIGINAL(SafeArrayCreateVector)(type, lower, count);
}

HANDLE WINAPI MakeEvent(LPSECURITY_ATTRIBUTES security, BOOL isManual, BOOL isSet,
                        const wchar_t* name) {
  return gImports.eventsFail ? nullptr : ORIGINAL(CreateEventW)(security, isManual, isSet, name);
}

int WINAPI CompareByName(const wchar_t* locale, DWORD flags, const wchar_t* left, int leftLength,
                         const wchar_t* right, int rightLength, NLSVERSIONINFO* version,
                         void* reserved, LPARAM parameter) {
  gImports.comparedLocales.emplace_back(locale);
  gImports.compareFlags.push_back(flags);
  if (gImports.compareExResult) return *gImports.compareExResult;
  return ORIGINAL(CompareStringEx)(locale, flags, left, leftLength, right, rightLength, version,
                                   reserved, parameter);
}

int WINAPI CompareByNumber(LCID locale, DWORD flags, const wchar_t* left, int leftLength,
                           const wchar_t* right, int rightLength) {
  ++gImports.plainCompares;
  if (gImports.compareResult) return *gImports.compareResult;
  return ORIGINAL(CompareStringW)(locale, flags, left, leftLength, right, rightLength);
}

void WINAPI TakeDebuggerLine(const wchar_t* text) {
  if (gDebuggerLine) gDebuggerLine(text);
}

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

void QmbeTest::SetUp() {
  gImports = {};
  gDebuggerLine = [this](const wchar_t* text) {
    const std::wstring wide(text);
    record.Add("debugger " + std::string(wide.begin(), wide.end()));
  };
  blocksBefore = LiveAutomationBlocks();
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
      for (const std::string& line : service->Log()) std::printf("| %s\n", line.c_str());
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
  if (transport == nullptr) return;
  transport->Close();
  EXPECT_EQ(transport->Release(), 0U) << "references to the sink are left";
  transport = nullptr;
}

void QmbeTest::OnConnected(void* context) {
  const auto& mine = *static_cast<sContext*>(context);
  mine.test->record.Add(mine.event);
  if (mine.test->whenConnected) mine.test->whenConnected();
}

void QmbeTest::OnDisconnected(void* context) {
  const auto& mine = *static_cast<sContext*>(context);
  mine.test->record.Add(mine.event);
  if (mine.test->whenDisconnected) mine.test->whenDisconnected();
}

void QmbeTest::OnData(void* context, sSharedBuffer* data) {
  const auto& mine = *static_cast<sContext*>(context);
  if (mine.test->whenData) mine.test->whenData(*data);
  mine.test->record.Add(std::string(mine.event) + " " + Hex(data->Bytes()));
}

}  // namespace corvane::test
