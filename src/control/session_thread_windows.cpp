#include "control/session_thread_windows.h"

#include <windows.h>

#include <new>
#include <tuple>

#include "capture/connection.h"
#include "capture/session.h"
#include "control/configuration.h"
#include "io/device_selection.h"
#include "platform/windows_calls.h"

namespace corvane {
namespace {

// Returns whether a capture ran and was stopped. A failed LoadConfiguration leaves the closing of
// the file to the session's destructor.
bool RunCapture(cCaptureSession& session) {
  if (!LoadConfiguration(session, OutputPath, ConfigPath)) {
    return false;
  }
  const bool opened = SetDevice(session, DeviceName);
  if (opened) {
    KernelCalls().SetEvent(StartedEvent.Get());
    KernelCalls().WaitForSingleObject(StopEvent.Get(), INFINITE);
    std::ignore = SetDevice(session, nullptr);
  }
  session.capturing = false;
  session.Close();
  return opened;
}

// The first part of the session's end; the destructors of its members, in the reverse of their
// order, are the rest.
void DestroySession(cCaptureSession& session) {
  std::ignore = SetDevice(session, nullptr);
  ClearRequests(session);
}

}  // namespace

unsigned __stdcall SessionThread(void*) {
  try {
    cDeviceTraffic traffic;
    cCaptureSession session(traffic);
    const bool captured = RunCapture(session);
    DestroySession(session);
    return captured ? 1 : 0;
  } catch (const std::bad_alloc&) {
    // Memory ran out during set-up, when there was no device and no request yet: the session's
    // destructor has undone everything.
    return 0;
  }
}

}  // namespace corvane
