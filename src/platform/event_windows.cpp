#include <windows.h>

#include <new>

#include "platform/event.h"

namespace corvane {

struct cEvent::sNative {
  HANDLE handle = nullptr;
};

cEvent::cEvent() : native(std::make_unique<sNative>()) {
  // Not before there is memory for its owner.
  native->handle = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (native->handle == nullptr) {
    throw std::bad_alloc();
  }
}

cEvent::~cEvent() { CloseHandle(native->handle); }

void cEvent::Set() { SetEvent(native->handle); }

void cEvent::Reset() { ResetEvent(native->handle); }

bool cEvent::IsSet() const { return WaitForSingleObject(native->handle, 0) == WAIT_OBJECT_0; }

}  // namespace corvane
