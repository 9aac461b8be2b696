#include "io/fake_system_windows.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "io/serial/serial_calls.h"
#include "platform/windows_calls.h"
#include "support/replaced_call.h"

namespace corvane::test {

cFakeSystem* gFakeSystem = nullptr;

namespace {

const HDEVINFO kClassList = reinterpret_cast<HDEVINFO>(std::uintptr_t{0x51});

// The standard library's locks would go through the replaced calls.
class cPortGuard {
 public:
  explicit cPortGuard(cFakeSystem& guarded) : system(guarded) {
    AcquireSRWLockExclusive(&system.portLock);
  }
  ~cPortGuard() { ReleaseSRWLockExclusive(&system.portLock); }
  cPortGuard(const cPortGuard&) = delete;
  cPortGuard& operator=(const cPortGuard&) = delete;

 private:
  cFakeSystem& system;
};

HKEY KeyOf(std::size_t index) { return reinterpret_cast<HKEY>(std::uintptr_t{0x1000} + index); }

std::size_t IndexOf(HKEY key) { return reinterpret_cast<std::uintptr_t>(key) - 0x1000; }

}  // namespace

sFakeInterface UsbPort(const std::string& portName, const std::string& instance) {
  sFakeInterface made;
  made.path =
      R"(\\?\usb#vid_1234&pid_0001#)" + instance + "#{86e0d1e0-8089-11d0-9ce4-08003e301f73}";
  made.keyPath = R"(System\CurrentControlSet\Enum\usb\vid_1234&pid_0001\)" + instance +
                 R"(\Device Parameters)";
  made.portName = portName + '\0';
  return made;
}

bool OthersCanTake(cLock& lock) {
  struct sAttempt {
    cLock& lock;
    bool taken;
  } attempt{lock, false};
  const HANDLE thread = ::CreateThread(
      nullptr, 0,
      [](void* context) -> DWORD {
        auto& wanted = *static_cast<sAttempt*>(context);
        wanted.taken = wanted.lock.try_lock();
        if (wanted.taken) {
          wanted.lock.unlock();
        }
        return 0;
      },
      &attempt, 0, nullptr);
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
  return attempt.taken;
}

namespace {

void ProbeTheLock() {
  if (gFakeSystem->observed != nullptr && OthersCanTake(gFakeSystem->observed->lock)) {
    gFakeSystem->lockWasFreeDuringALook = true;
  }
}

// Whether this call is the one that is to fail.
bool TakesFailure(std::optional<int>& callsBefore) {
  if (!callsBefore) {
    return false;
  }
  if (*callsBefore == 0) {
    callsBefore.reset();
    return true;
  }
  --*callsBefore;
  return false;
}

HANDLE WINAPI FakeCreateEventW(SECURITY_ATTRIBUTES* security, BOOL manualReset, BOOL signalled,
                               const wchar_t* name) {
  {
    const cPortGuard guard(*gFakeSystem);
    gFakeSystem->eventsAsked.push_back(
        {security != nullptr, manualReset != FALSE, signalled != FALSE, name != nullptr});
  }
  if (TakesFailure(gFakeSystem->failingEvent)) {
    return nullptr;
  }
  const HANDLE made = ::CreateEventW(security, manualReset, signalled, name);
  const cPortGuard guard(*gFakeSystem);
  *std::find(gFakeSystem->events.begin(), gFakeSystem->events.end(), nullptr) = made;
  return made;
}

HANDLE WINAPI FakeCreateThread(SECURITY_ATTRIBUTES* security, SIZE_T stack,
                               LPTHREAD_START_ROUTINE routine, void* argument, DWORD flags,
                               DWORD* identifier) {
  const cPortGuard guard(*gFakeSystem);
  const HANDLE made = TakesFailure(gFakeSystem->failingThread)
                          ? nullptr
                          : ::CreateThread(security, stack, routine, argument, flags, identifier);
  if (made != nullptr) {
    *std::find_if(gFakeSystem->openThreads.begin(), gFakeSystem->openThreads.end(),
                  [](const auto& open) { return open.first == nullptr; }) = {made, routine};
  }
  gFakeSystem->threadsAsked.push_back(
      {security != nullptr, stack, routine, argument, flags, identifier != nullptr, made});
  return made;
}

DWORD WINAPI FakeWaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  // The watcher waits for its stop event; other waits with a time limit are for a thread.
  if (milliseconds == INFINITE || milliseconds == 0 || !gFakeSystem->HasEvent(handle)) {
    return ::WaitForSingleObject(handle, milliseconds);
  }
  {
    const cPortGuard guard(*gFakeSystem);
    gFakeSystem->watcherWaits.push_back(milliseconds);
  }
  ReleaseSemaphore(gFakeSystem->arrived, 1, nullptr);
  const HANDLE ends[] = {handle, gFakeSystem->tick, gFakeSystem->failWait};
  switch (WaitForMultipleObjects(3, ends, FALSE, INFINITE)) {
    case WAIT_OBJECT_0:
      return WAIT_OBJECT_0;
    case WAIT_OBJECT_0 + 1:
      return WAIT_TIMEOUT;
    default:
      return WAIT_FAILED;
  }
}

BOOL WINAPI FakeCloseHandle(HANDLE handle) {
  {
    const cPortGuard guard(*gFakeSystem);
    std::replace(gFakeSystem->events.begin(), gFakeSystem->events.end(), handle, HANDLE{nullptr});
    for (auto& open : gFakeSystem->openThreads) {
      if (open.first == handle) {
        open = {};
      }
    }
    gFakeSystem->standIns.erase(handle);
    if (gFakeSystem->ports.erase(handle) != 0) {
      gFakeSystem->calls.emplace_back("close");
      if (gFakeSystem->observed != nullptr && gFakeSystem->observed->IsOpen()) {
        gFakeSystem->wasOpenWhenItsHandleWasClosed = true;
      }
      --gFakeSystem->openPorts;
      WakeAllConditionVariable(&gFakeSystem->readable);
    }
  }
  return ::CloseHandle(handle);
}

BOOL WINAPI FakeCancelSynchronousIo(HANDLE thread) {
  {
    const cPortGuard guard(*gFakeSystem);
    gFakeSystem->calls.emplace_back("cancel");
    gFakeSystem->cancelledThread = thread;
    ++gFakeSystem->cancels;
  }
  if (gFakeSystem->duringCancel) {
    gFakeSystem->duringCancel();
  }
  const cPortGuard guard(*gFakeSystem);
  if (gFakeSystem->cancelsThatMiss != 0) {
    --gFakeSystem->cancelsThatMiss;
    return FALSE;
  }
  if (gFakeSystem->pendingReads == 0) {
    return FALSE;
  }
  gFakeSystem->readIsCancelled = true;
  WakeAllConditionVariable(&gFakeSystem->readable);
  return TRUE;
}

HDEVINFO WINAPI FakeSetupDiGetClassDevsW(const GUID* interfaceClass, const wchar_t* enumerator,
                                         HWND window, DWORD flags) {
  ++gFakeSystem->looks;
  ProbeTheLock();
  gFakeSystem->classAsked = *interfaceClass;
  gFakeSystem->classAskedNarrower = enumerator != nullptr || window != nullptr;
  gFakeSystem->classFlagsAsked = flags;
  if (gFakeSystem->classListFails) {
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
  if (found->cbSize != sizeof *found || index >= gFakeSystem->interfaces.size()) {
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
  if (present.detailFails || detail->cbSize != sizeof *detail) {
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
  if (root != HKEY_LOCAL_MACHINE || found == gFakeSystem->interfaces.end()) {
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
  if (std::string_view(name) != "PortName" || !present.portName) {
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

HANDLE WINAPI FakeCreateFileA(const char* path, DWORD access, DWORD shareMode,
                              SECURITY_ATTRIBUTES* security, DWORD disposition, DWORD attributes,
                              HANDLE model) {
  if (std::string_view(path).substr(0, 4) != R"(\\.\)") {
    if (gFakeSystem->standInFails) {
      return INVALID_HANDLE_VALUE;
    }
    const HANDLE standIn =
        ::CreateFileA(path, access, shareMode, security, disposition, attributes, model);
    const cPortGuard guard(*gFakeSystem);
    gFakeSystem->standIns.insert(standIn);
    gFakeSystem->lastStandIn = standIn;
    return standIn;
  }
  gFakeSystem->calls.push_back(std::string("open ") + path);
  ProbeTheLock();
  gFakeSystem->fileAsked = {access, shareMode, security != nullptr, disposition, attributes, model};
  if (gFakeSystem->openFails) {
    return INVALID_HANDLE_VALUE;
  }
  const HANDLE opened = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  const cPortGuard guard(*gFakeSystem);
  gFakeSystem->ports.emplace(opened, path);
  ++gFakeSystem->openPorts;
  return opened;
}

BOOL WINAPI FakeGetCommState(HANDLE, DCB* state) {
  gFakeSystem->calls.emplace_back("get state");
  gFakeSystem->stateLengthAsked = state->DCBlength;
  if (gFakeSystem->getStateFails) {
    return FALSE;
  }
  *state = gFakeSystem->initialState;
  return TRUE;
}

BOOL WINAPI FakeSetCommState(HANDLE, DCB* state) {
  gFakeSystem->calls.emplace_back("set state");
  gFakeSystem->setState = *state;
  return gFakeSystem->setStateFails ? FALSE : TRUE;
}

BOOL WINAPI FakeSetCommTimeouts(HANDLE, COMMTIMEOUTS* timeouts) {
  gFakeSystem->calls.emplace_back("set timeouts");
  gFakeSystem->timeouts = *timeouts;
  if (gFakeSystem->behindSetTimeouts) {
    gFakeSystem->behindSetTimeouts();
  }
  return gFakeSystem->setTimeoutsFails ? FALSE : TRUE;
}

BOOL WINAPI FakeWriteFile(HANDLE file, const void* bytes, DWORD length, DWORD* written,
                          OVERLAPPED* overlapped) {
  if (!gFakeSystem->HasPort(file)) {
    return ::WriteFile(file, bytes, length, written, overlapped);
  }
  if (gFakeSystem->duringWrite) {
    gFakeSystem->duringWrite();
  }
  const cPortGuard guard(*gFakeSystem);
  gFakeSystem->calls.emplace_back("write");
  if (gFakeSystem->writeFails) {
    return FALSE;
  }
  *written = gFakeSystem->shortWrite.value_or(length);
  const auto* const first = static_cast<const std::uint8_t*>(bytes);
  gFakeSystem->written.emplace_back(first, first + *written);
  return TRUE;
}

BOOL WINAPI FakeReadFile(HANDLE file, void* bytes, DWORD length, DWORD* received,
                         OVERLAPPED* overlapped) {
  const cPortGuard guard(*gFakeSystem);
  if (gFakeSystem->standIns.contains(file)) {
    return ::ReadFile(file, bytes, length, received, overlapped);
  }
  gFakeSystem->readLengthsAsked.push_back(length);
  *received = 0;
  if (length == 0) {
    return TRUE;
  }
  const auto portIsClosed = [file] {
    return gFakeSystem->closingEndsReads && !gFakeSystem->ports.contains(file);
  };
  ++gFakeSystem->pendingReads;
  WakeAllConditionVariable(&gFakeSystem->readsChanged);
  while (!portIsClosed() && gFakeSystem->toRead.empty() && !gFakeSystem->readsFail &&
         !gFakeSystem->readIsCancelled) {
    SleepConditionVariableSRW(&gFakeSystem->readable, &gFakeSystem->portLock, INFINITE, 0);
  }
  --gFakeSystem->pendingReads;
  WakeAllConditionVariable(&gFakeSystem->readsChanged);
  if (portIsClosed() || gFakeSystem->readsFail ||
      std::exchange(gFakeSystem->readIsCancelled, false)) {
    return FALSE;
  }
  const std::vector<std::uint8_t> next = gFakeSystem->toRead.front();
  gFakeSystem->toRead.pop_front();
  *received = std::min(length, static_cast<DWORD>(next.size()));
  std::memcpy(bytes, next.data(), *received);
  return TRUE;
}

ULONGLONG WINAPI FakeGetTickCount64() {
  const cPortGuard guard(*gFakeSystem);
  return gFakeSystem->ticks;
}

// While a cancel works the clock stands still: how long the reader takes to see it is a matter of
// this machine.
void WINAPI FakeSleep(DWORD milliseconds) {
  {
    const cPortGuard guard(*gFakeSystem);
    if (gFakeSystem->cancelsThatMiss != 0) {
      gFakeSystem->ticks += milliseconds;
    }
  }
  SwitchToThread();
}

}  // namespace

struct cFakeSystem::sReplacedCalls {
  cReplacedCall<decltype(&::CreateEventW)> createEventW{KernelCalls().CreateEventW,
                                                        FakeCreateEventW};
  cReplacedCall<decltype(&::CreateThread)> createThread{KernelCalls().CreateThread,
                                                        FakeCreateThread};
  cReplacedCall<decltype(&::WaitForSingleObject)> waitForSingleObject{
      KernelCalls().WaitForSingleObject, FakeWaitForSingleObject};
  cReplacedCall<decltype(&::CloseHandle)> closeHandle{KernelCalls().CloseHandle, FakeCloseHandle};
  cReplacedCall<decltype(&::CreateFileA)> createFileA{SerialCalls().CreateFileA, FakeCreateFileA};
  cReplacedCall<decltype(&::GetCommState)> getCommState{SerialCalls().GetCommState,
                                                        FakeGetCommState};
  cReplacedCall<decltype(&::SetCommState)> setCommState{SerialCalls().SetCommState,
                                                        FakeSetCommState};
  cReplacedCall<decltype(&::SetCommTimeouts)> setCommTimeouts{SerialCalls().SetCommTimeouts,
                                                              FakeSetCommTimeouts};
  cReplacedCall<decltype(&::ReadFile)> readFile{SerialCalls().ReadFile, FakeReadFile};
  cReplacedCall<decltype(&::WriteFile)> writeFile{SerialCalls().WriteFile, FakeWriteFile};
  cReplacedCall<decltype(&::CancelSynchronousIo)> cancelSynchronousIo{
      SerialCalls().CancelSynchronousIo, FakeCancelSynchronousIo};
  cReplacedCall<decltype(&::GetTickCount64)> getTickCount64{SerialCalls().GetTickCount64,
                                                            FakeGetTickCount64};
  cReplacedCall<decltype(&::Sleep)> sleep{SerialCalls().Sleep, FakeSleep};
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

cFakeSystem::cFakeSystem()
    : tick(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      failWait(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      arrived(CreateSemaphoreW(nullptr, 0, 1000, nullptr)) {
  // The code under test comes here while a test has memory run out.
  watcherWaits.reserve(1000);
  eventsAsked.reserve(1000);
  threadsAsked.reserve(1000);
  gFakeSystem = this;
  replaced = std::make_unique<sReplacedCalls>();
}

cFakeSystem::~cFakeSystem() {
  replaced.reset();
  gFakeSystem = nullptr;
  CloseHandle(tick);
  CloseHandle(failWait);
  CloseHandle(arrived);
}

bool cFakeSystem::HasEvent(HANDLE handle) {
  const cPortGuard guard(*this);
  return std::find(events.begin(), events.end(), handle) != events.end();
}

bool cFakeSystem::HasPort(HANDLE handle) {
  const cPortGuard guard(*this);
  return ports.contains(handle);
}

void cFakeSystem::Receive(std::vector<std::uint8_t> bytes) {
  const cPortGuard guard(*this);
  toRead.push_back(std::move(bytes));
  WakeAllConditionVariable(&readable);
}

sThreadAsked cFakeSystem::ThreadOf(LPTHREAD_START_ROUTINE routine) {
  const cPortGuard guard(*this);
  const auto found =
      std::find_if(threadsAsked.rbegin(), threadsAsked.rend(),
                   [routine](const sThreadAsked& asked) { return asked.routine == routine; });
  return found == threadsAsked.rend() ? sThreadAsked{} : *found;
}

int cFakeSystem::OpenEvents() {
  const cPortGuard guard(*this);
  return static_cast<int>(
      events.size() - static_cast<std::size_t>(std::count(events.begin(), events.end(), nullptr)));
}

void cFakeSystem::FailReads() {
  const cPortGuard guard(*this);
  readsFail = true;
  WakeAllConditionVariable(&readable);
}

void cFakeSystem::WaitForRead(int reads) {
  const cPortGuard guard(*this);
  while (pendingReads != reads) {
    SleepConditionVariableSRW(&readsChanged, &portLock, INFINITE, 0);
  }
}

std::size_t cFakeSystem::OpenThreads(LPTHREAD_START_ROUTINE routine) {
  const cPortGuard guard(*this);
  return static_cast<std::size_t>(
      std::count_if(openThreads.begin(), openThreads.end(),
                    [routine](const auto& open) { return open.second == routine; }));
}

void cFakeSystem::WaitForWatcher() { WaitForSingleObject(arrived, INFINITE); }

void cFakeSystem::Look() {
  SetEvent(tick);
  WaitForWatcher();
}

}  // namespace corvane::test
