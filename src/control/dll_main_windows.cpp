#include <windows.h>

#include "control/process_state_windows.h"
#include "platform/windows_calls.h"

namespace corvane {

constinit KernelHandle StartedEvent;
constinit KernelHandle StopEvent;

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
