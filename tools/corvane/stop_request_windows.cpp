#include "corvane/stop_request_windows.h"

#include <windows.h>

#include <condition_variable>
#include <mutex>
#include <stdexcept>

namespace corvane::tools {
namespace {

// What the system's handler thread and the capture tell each other. It outlives every cStopRequest,
// because a handler that is already running cannot be called off.
struct sStopState {
  std::mutex mutex;
  std::condition_variable changed;
  bool requested = false;
  bool finished = false;
};

sStopState& State() {
  static sStopState state;
  return state;
}

BOOL WINAPI OnConsoleControl(DWORD control) {
  sStopState& state = State();
  std::unique_lock guard(state.mutex);
  state.requested = true;
  state.changed.notify_all();
  // Windows ends the process when a handler of these returns, so it stays until the file is closed.
  if (control == CTRL_CLOSE_EVENT || control == CTRL_LOGOFF_EVENT ||
      control == CTRL_SHUTDOWN_EVENT) {
    state.changed.wait(guard, [&] { return state.finished; });
  }
  return TRUE;
}

}  // namespace

cStopRequest::cStopRequest() {
  sStopState& state = State();
  {
    const std::lock_guard guard(state.mutex);
    state.requested = state.finished = false;
  }
  if (!SetConsoleCtrlHandler(OnConsoleControl, TRUE)) {
    throw std::runtime_error("Ctrl-C cannot be handled");
  }
}

cStopRequest::~cStopRequest() {
  SetConsoleCtrlHandler(OnConsoleControl, FALSE);
  sStopState& state = State();
  const std::lock_guard guard(state.mutex);
  state.finished = true;
  state.changed.notify_all();
}

bool cStopRequest::WaitFor(std::chrono::milliseconds time) const {
  sStopState& state = State();
  std::unique_lock guard(state.mutex);
  return state.changed.wait_for(guard, time, [&] { return state.requested; });
}

}  // namespace corvane::tools
