#include "io/mbn/call_gate.h"

namespace corvane {

void cCallGate::Open() {
  const std::lock_guard guard(mutex);
  isOpen = true;
}

void cCallGate::Close() {
  std::unique_lock guard(mutex);
  isOpen = false;
  lastOneLeft.wait(guard, [this] { return callsInside == 0; });
}

cCallGate::cPass cCallGate::Enter() {
  const std::lock_guard guard(mutex);
  if (!isOpen) {
    return cPass(nullptr);
  }
  ++callsInside;
  return cPass(this);
}

void cCallGate::Leave() {
  // Told with the mutex held: the gate may be gone as soon as Close has seen that nobody is inside.
  const std::lock_guard guard(mutex);
  if (--callsInside == 0) {
    lastOneLeft.notify_all();
  }
}

}  // namespace corvane
