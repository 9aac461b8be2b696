#include <mutex>

#include "platform/lock.h"

namespace corvane {

struct cLock::sNative {
  std::recursive_mutex mutex;
};

cLock::cLock(eCreation, std::uint32_t) : native(std::make_unique<sNative>()) {}

cLock::~cLock() = default;

void cLock::lock() { native->mutex.lock(); }

bool cLock::try_lock() { return native->mutex.try_lock(); }

void cLock::unlock() { native->mutex.unlock(); }

}  // namespace corvane
