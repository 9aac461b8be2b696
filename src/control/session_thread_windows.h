#pragma once

namespace corvane {

// The thread of one capture: builds the session, starts the capture, signals StartedEvent, waits
// for StopEvent and tears everything down. It reads DeviceName, ConfigPath and OutputPath; the
// argument is not used. Its exit code is 1 when a capture ran and was stopped, 0 when set-up
// failed; nobody reads it.
unsigned __stdcall SessionThread(void* argument);

}  // namespace corvane
