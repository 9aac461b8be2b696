#pragma once

#include <cstddef>

#include "platform/windows_handle.h"

namespace corvane {

// The one capture slot of the process. Nothing guards it: the host does not call CorvaneStart and
// CorvaneStop at the same time.

// Manual-reset events, made and destroyed by DllMain; null when they could not be made.
extern KernelHandle StartedEvent;  // set by SessionThread once the device has been opened
extern KernelHandle StopEvent;     // set to end the capture; stays set until the next start

// The arguments of the last CorvaneStart, NUL-terminated.
inline constexpr std::size_t kDeviceNameSize = 64;
inline constexpr std::size_t kPathSize = 260;
extern char DeviceName[kDeviceNameSize];
extern char ConfigPath[kPathSize];
extern char OutputPath[kPathSize];

// The thread of one capture: builds the session, starts the capture, signals StartedEvent, waits
// for StopEvent and tears everything down. It reads DeviceName, ConfigPath and OutputPath; the
// argument is not used. Its exit code is 1 when a capture ran and was stopped, 0 when set-up
// failed; nobody reads it.
unsigned __stdcall SessionThread(void* argument);

}  // namespace corvane
