#include "io/mbn/call_gate.h"

#include <algorithm>
#include <span>
#include <utility>

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
  // notify_all runs with the mutex held: Close returns, and the gate may be gone, as soon as Close
  // has seen that nobody is inside.
  const std::lock_guard guard(mutex);
  if (--callsInside == 0) {
    lastOneLeft.notify_all();
  }
}

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
  // notify_all runs with the mutex held: Forbid returns, and the turn may be gone, as soon as
  // Forbid has seen that the turn is free.
  const std::lock_guard guard(mutex);
  isTaken = std::exchange(lookAgain, false) && isAllowed;
  if (!isTaken) {
    becameFree.notify_all();
  }
  return !isTaken;
}

void cReportTurn::Add(eReport report) {
  const std::lock_guard guard(mutex);
  count = std::min(count + 1, kRoom);
  waiting[count - 1] = report;
}

bool cReportTurn::Take() {
  const std::lock_guard guard(mutex);
  return !std::exchange(isTaken, true);
}

std::optional<eReport> cReportTurn::Next() {
  const std::lock_guard guard(mutex);
  if (count == 0) {
    isTaken = false;
    return std::nullopt;
  }
  const eReport next = waiting.front();
  std::shift_left(waiting.begin(), waiting.end(), 1);
  --count;
  return next;
}

bool cReportTurn::HasEndWaiting() {
  const std::lock_guard guard(mutex);
  const std::span waits(waiting.data(), count);
  return std::find(waits.begin(), waits.end(), eReport::Ended) != waits.end();
}

}  // namespace corvane
