#include "io/mbn/opening_turn.h"

#include <utility>

namespace corvane {

void cOpeningTurn::Allow() {
  const std::lock_guard guard(mutex);
  isAllowed = true;
}

void cOpeningTurn::Forbid() {
  std::unique_lock guard(mutex);
  isAllowed = false;
  becameFree.wait(guard, [this] { return !isTaken; });
}

bool cOpeningTurn::Take() {
  std::unique_lock guard(mutex);
  becameFree.wait(guard, [this] { return !isTaken; });
  isTaken = isAllowed;
  return isTaken;
}

bool cOpeningTurn::TryTake() {
  const std::lock_guard guard(mutex);
  if (!isAllowed) {
    return false;
  }
  lookAgain = isTaken;
  return !std::exchange(isTaken, true);
}

bool cOpeningTurn::GiveBack() {
  // Told with the mutex held: the turn may be gone as soon as Forbid has seen that it is free.
  const std::lock_guard guard(mutex);
  isTaken = std::exchange(lookAgain, false) && isAllowed;
  if (!isTaken) {
    becameFree.notify_all();
  }
  return !isTaken;
}

}  // namespace corvane
