#include <process.h>
#include <windows.h>

#include <cstdint>
#include <tuple>

#include "control/session_thread_windows.h"
#include "corvane.h"
#include "platform/text.h"
#include "platform/windows_calls.h"

namespace corvane {

constinit KernelHandle StartedEvent;
constinit KernelHandle StopEvent;

char DeviceName[kDeviceNameSize];
char ConfigPath[kPathSize];
char OutputPath[kPathSize];

namespace {

constexpr const char* kDefaultOutputPath = "Corvane.isf";

// Null when no capture thread is known.
constinit KernelHandle sessionThread;

void StopSessionThread() {
  if (!StopEvent) {
    return;
  }
  KernelCalls().SetEvent(StopEvent.Get());
  if (!sessionThread) {
    return;
  }
  KernelCalls().WaitForSingleObject(sessionThread.Get(), INFINITE);
  sessionThread.Reset();
}

// The handle of a capture that still runs is overwritten, not closed: it stays open, and the next
// CorvaneStop ends both captures but waits for the newer one only, and for none when the newer one
// has failed to start.
bool StartSessionThread() {
  const std::uintptr_t started =
      KernelCalls()._beginthreadex(nullptr, 0, SessionThread, DeviceName, 0, nullptr);
  std::ignore = sessionThread.Detach();
  sessionThread.Reset(reinterpret_cast<HANDLE>(started));
  return static_cast<bool>(sessionThread);
}

// Waits until the session thread has ended (its set-up failed) or has reported that it runs.
bool WaitUntilRunning() {
  const HANDLE outcomes[] = {sessionThread.Get(), StartedEvent.Get()};
  switch (KernelCalls().WaitForMultipleObjects(2, outcomes, FALSE, INFINITE)) {
    case WAIT_OBJECT_0:
      sessionThread.Reset();
      return false;
    case WAIT_OBJECT_0 + 1:
      return true;
    default:
      StopSessionThread();
      return false;
  }
}

}  // namespace
}  // namespace corvane

// The library's entry. A failure is not reported here: without its events every CorvaneStart
// returns false.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
  switch (reason) {
    case DLL_PROCESS_ATTACH:
      corvane::StartedEvent.Reset(
          corvane::KernelCalls().CreateEventW(nullptr, TRUE, FALSE, nullptr));
      corvane::StopEvent.Reset(corvane::KernelCalls().CreateEventW(nullptr, TRUE, FALSE, nullptr));
      break;
    case DLL_PROCESS_DETACH:
      corvane::StartedEvent.Reset();
      corvane::StopEvent.Reset();
      break;
    default:
      break;
  }
  return TRUE;
}

bool CorvaneStart(const char* deviceName, const char* configPath, const char* outputPath) {
  using namespace corvane;
  if (!StartedEvent || !StopEvent || deviceName == nullptr || configPath == nullptr) {
    return false;
  }
  CopyBounded(DeviceName, sizeof DeviceName, deviceName);
  CopyBounded(ConfigPath, sizeof ConfigPath, configPath);
  CopyBounded(OutputPath, sizeof OutputPath,
              outputPath == nullptr ? kDefaultOutputPath : outputPath);
  KernelCalls().ResetEvent(StartedEvent.Get());
  KernelCalls().ResetEvent(StopEvent.Get());
  return StartSessionThread() && WaitUntilRunning();
}

void CorvaneStop() { corvane::StopSessionThread(); }
