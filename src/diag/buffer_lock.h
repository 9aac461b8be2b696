#pragma once

#include <cstdint>

#include "platform/lock.h"

namespace corvane {

// The one lock of the process that guards every change of a buffer's reference count. It is held
// for an increment, a decrement or the final free, and nothing else is locked while it is held.
//
// It exists from the load of the library to its unload. gBufferLockReady is 1 in between; outside,
// buffers are counted without the lock.
extern cLock gBufferLock;
extern std::uint32_t gBufferLockReady;

}  // namespace corvane
