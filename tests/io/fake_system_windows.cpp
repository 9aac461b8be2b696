#include "io/fake_system_windows.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>
#include <tuple>
#include <utility>

#include "io/fake_devices_windows.h"
#include "io/serial/serial_calls.h"
#include "platform/windows_calls.h"
#include "support/replaced_call.h"
#include "support/wait_until.h"

namespace corvane::test {

cFakeSystem* gFakeSystem = nullptr;

namespace {

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

}  // namespace

bool OthersCanTake(cLock& lock) {
  struct sAttempt {
    cLock& lock;
    bool taken;
  } attempt{lock, false};
  const TestHandle thread(::CreateThread(
      nullptr, 0,
      [](void* context) -> DWORD {
        auto& wanted = *static_cast<sAttempt*>(context);
        wanted.taken = wanted.lock.try_lock();
        if (wanted.taken) {
          wanted.lock.unlock();
        }
        return 0;
      },
      &attempt, 0, nullptr));
  WaitForSingleObject(thread.Get(), INFINITE);
  return attempt.taken;
}

namespace {

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
  if (gFakeSystem->FailsNow("CreateEventW") || TakesFailure(gFakeSystem->failingEvent)) {
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
  const HANDLE made =
      gFakeSystem->FailsNow("CreateThread") || TakesFailure(gFakeSystem->failingThread)
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
  if (gFakeSystem->FailsNow("WaitForSingleObject")) {
    return WAIT_FAILED;
  }
  ReleaseSemaphore(gFakeSystem->arrived.Get(), 1, nullptr);
  const HANDLE ends[] = {handle, gFakeSystem->tick.Get(), gFakeSystem->failWait.Get()};
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
  if (gFakeSystem->FailsNow("CancelSynchronousIo")) {
    return FALSE;
  }
  const cPortGuard guard(*gFakeSystem);
  if (gFakeSystem->cancelsThatMiss != 0) {
    --gFakeSystem->cancelsThatMiss;
    return FALSE;
  }
  // A thread is in one call at most, and the tests that cancel have one thread.
  if (gFakeSystem->pendingWrites != 0) {
    gFakeSystem->writeIsCancelled = true;
  } else if (gFakeSystem->pendingReads != 0) {
    gFakeSystem->readIsCancelled = true;
  } else {
    return FALSE;
  }
  WakeAllConditionVariable(&gFakeSystem->readable);
  return TRUE;
}

HANDLE WINAPI FakeCreateFileA(const char* path, DWORD access, DWORD shareMode,
                              SECURITY_ATTRIBUTES* security, DWORD disposition, DWORD attributes,
                              HANDLE model) {
  if (std::string_view(path).substr(0, 4) != R"(\\.\)") {
    if (gFakeSystem->FailsNow("CreateFileA") || gFakeSystem->standInFails) {
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
  if (gFakeSystem->FailsNow("CreateFileA") || gFakeSystem->openFails) {
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
  if (gFakeSystem->FailsNow("GetCommState") || gFakeSystem->getStateFails) {
    return FALSE;
  }
  *state = gFakeSystem->initialState;
  return TRUE;
}

BOOL WINAPI FakeSetCommState(HANDLE, DCB* state) {
  gFakeSystem->calls.emplace_back("set state");
  gFakeSystem->setState = *state;
  return gFakeSystem->FailsNow("SetCommState") || gFakeSystem->setStateFails ? FALSE : TRUE;
}

BOOL WINAPI FakeSetCommTimeouts(HANDLE, COMMTIMEOUTS* timeouts) {
  gFakeSystem->calls.emplace_back("set timeouts");
  gFakeSystem->timeouts = *timeouts;
  if (gFakeSystem->behindSetTimeouts) {
    gFakeSystem->behindSetTimeouts();
  }
  return gFakeSystem->FailsNow("SetCommTimeouts") || gFakeSystem->setTimeoutsFails ? FALSE : TRUE;
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
  if (gFakeSystem->writesStall) {
    ++gFakeSystem->pendingWrites;
    while (!gFakeSystem->writeIsCancelled && !gFakeSystem->stalledWritesEnd) {
      SleepConditionVariableSRW(&gFakeSystem->readable, &gFakeSystem->portLock, INFINITE, 0);
    }
    --gFakeSystem->pendingWrites;
    gFakeSystem->writeIsCancelled = false;
    return FALSE;
  }
  if (gFakeSystem->FailsNow("WriteFile") || gFakeSystem->writeFails) {
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
  if (gFakeSystem->FailsNow("ReadFile")) {
    return FALSE;
  }
  const auto readFails = [file] {
    return gFakeSystem->readsFail || gFakeSystem->portsWhoseReadsFail.contains(file) ||
           (gFakeSystem->closingEndsReads && !gFakeSystem->ports.contains(file));
  };
  ++gFakeSystem->pendingReads;
  while (!readFails() && gFakeSystem->toRead.empty() && !gFakeSystem->readIsCancelled) {
    SleepConditionVariableSRW(&gFakeSystem->readable, &gFakeSystem->portLock, INFINITE, 0);
  }
  --gFakeSystem->pendingReads;
  if (readFails() || std::exchange(gFakeSystem->readIsCancelled, false)) {
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
  cFakeDeviceCalls devices;
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
}

void cFakeSystem::FailCall(std::int64_t nth) {
  failedCall = nullptr;
  callsToFailure = nth;
}

bool cFakeSystem::FailsNow(const char* name) {
  if (callsToFailure <= 0 || --callsToFailure != 0) {
    return false;
  }
  failedCall = name;
  return true;
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

void cFakeSystem::FailReadsOf(HANDLE port) {
  const cPortGuard guard(*this);
  portsWhoseReadsFail.insert(port);
  WakeAllConditionVariable(&readable);
}

void cFakeSystem::EndStalledWrites() {
  const cPortGuard guard(*this);
  stalledWritesEnd = true;
  WakeAllConditionVariable(&readable);
}

HANDLE cFakeSystem::OpenPort() {
  const cPortGuard guard(*this);
  EXPECT_EQ(ports.size(), 1u);
  return ports.empty() ? INVALID_HANDLE_VALUE : ports.begin()->first;
}

void cFakeSystem::WaitForRead(int reads) {
  std::ignore = WaitUntil("as many reads wait as the test wants", [this, reads] {
    const cPortGuard guard(*this);
    return pendingReads == reads;
  });
}

int cFakeSystem::OpenPortCount() {
  const cPortGuard guard(*this);
  return openPorts;
}

int cFakeSystem::PendingWrites() {
  const cPortGuard guard(*this);
  return pendingWrites;
}

int cFakeSystem::Cancels() {
  const cPortGuard guard(*this);
  return cancels;
}

std::size_t cFakeSystem::OpenThreads(LPTHREAD_START_ROUTINE routine) {
  const cPortGuard guard(*this);
  return static_cast<std::size_t>(
      std::count_if(openThreads.begin(), openThreads.end(),
                    [routine](const auto& open) { return open.second == routine; }));
}

void cFakeSystem::WaitForWatcher() {
  std::ignore = WaitUntil("the watcher waits for its next look", [this] {
    return WaitForSingleObject(arrived.Get(), 1) == WAIT_OBJECT_0;
  });
}

void cFakeSystem::Look() {
  SetEvent(tick.Get());
  WaitForWatcher();
}

}  // namespace corvane::test
