#include <new>

#include "platform/synchronization.h"
#include "platform/windows_handle.h"

namespace corvane {

struct cLock::sNative {
  CRITICAL_SECTION section;
};

cLock::cLock(eCreation creation, std::uint32_t spinCount) : native(std::make_unique<sNative>()) {
  BOOL made = TRUE;
  switch (creation) {
    case eCreation::Extended:
      made = KernelCalls().InitializeCriticalSectionEx(&native->section, spinCount, 0);
      break;
    case eCreation::SpinCount:
      made = KernelCalls().InitializeCriticalSectionAndSpinCount(&native->section, spinCount);
      break;
    case eCreation::Plain:
      KernelCalls().InitializeCriticalSection(&native->section);
      break;
  }
  if (!made) {
    throw std::bad_alloc();
  }
}

cLock::~cLock() { DeleteCriticalSection(&native->section); }

void cLock::lock() { KernelCalls().EnterCriticalSection(&native->section); }

bool cLock::try_lock() { return TryEnterCriticalSection(&native->section) != FALSE; }

void cLock::unlock() { LeaveCriticalSection(&native->section); }

struct cEvent::sNative {
  KernelHandle handle;
};

cEvent::cEvent() : native(std::make_unique<sNative>()) {
  // Not before there is memory for its owner.
  native->handle.Reset(KernelCalls().CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (!native->handle) {
    throw std::bad_alloc();
  }
}

cEvent::~cEvent() = default;

void cEvent::Set() { KernelCalls().SetEvent(native->handle.Get()); }

void cEvent::Reset() { KernelCalls().ResetEvent(native->handle.Get()); }

bool cEvent::IsSet() const {
  return KernelCalls().WaitForSingleObject(native->handle.Get(), 0) == WAIT_OBJECT_0;
}

}  // namespace corvane
