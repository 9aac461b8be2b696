#include <new>

#include "platform/event.h"
#include "platform/windows_calls.h"

namespace corvane {

struct cEvent::sNative {
  HANDLE handle = nullptr;
};

cEvent::cEvent() : native(std::make_unique<sNative>()) {
  // Not before there is memory for its owner.
  native->handle = KernelCalls().CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (native->handle == nullptr) {
    throw std::bad_alloc();
  }
}

cEvent::~cEvent() { KernelCalls().CloseHandle(native->handle); }

void cEvent::Set() { KernelCalls().SetEvent(native->handle); }

void cEvent::Reset() { KernelCalls().ResetEvent(native->handle); }

bool cEvent::IsSet() const {
  return KernelCalls().WaitForSingleObject(native->handle, 0) == WAIT_OBJECT_0;
}

}  // namespace corvane
