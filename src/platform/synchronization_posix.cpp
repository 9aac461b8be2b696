#include <atomic>
#include <mutex>

#include "platform/synchronization.h"

namespace corvane {

struct cLock::sNative {
  std::recursive_mutex mutex;
};

cLock::cLock(eCreation, std::uint32_t) : native(std::make_unique<sNative>()) {}

cLock::~cLock() = default;

void cLock::lock() { native->mutex.lock(); }

bool cLock::try_lock() { return native->mutex.try_lock(); }

void cLock::unlock() { native->mutex.unlock(); }

struct cEvent::sNative {
  std::atomic<bool> set{false};
};

cEvent::cEvent() : native(std::make_unique<sNative>()) {}

cEvent::~cEvent() = default;

void cEvent::Set() { native->set = true; }

void cEvent::Reset() { native->set = false; }

bool cEvent::IsSet() const { return native->set; }

}  // namespace corvane
