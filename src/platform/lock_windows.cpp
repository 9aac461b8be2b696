#include <new>

#include "platform/lock.h"
#include "platform/windows_calls.h"

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

}  // namespace corvane
