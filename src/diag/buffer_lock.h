#pragma once

#include <cstdint>
#include <optional>

#include "platform/lock.h"

namespace corvane {

// The one lock of the process that guards every change of a buffer's reference count. It is held
// for an increment, a decrement or the final free, and nothing else is locked while it is held.
//
// It exists from the load of the library to its unload. gBufferLockReady is 1 in between; outside,
// and in a process that had no memory for the lock at the load, buffers are counted without it.
extern std::optional<cLock> gBufferLock;
extern std::uint32_t gBufferLockReady;

// Makes the lock, which must not be there, and raises the flag; without memory for it both stay as
// they are. Run once, at the load.
void CreateBufferLock();

// Clears the flag and then destroys the lock. Run once, at the unload.
void DestroyBufferLock();

}  // namespace corvane
