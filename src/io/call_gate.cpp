#include "io/call_gate.h"

namespace corvane {

void cCallGate::Close() {
  state |= kClosed;
  for (std::uint32_t seen = state; seen != kClosed; seen = state) state.wait(seen);
}

cCallGate::cPass cCallGate::Enter() {
  std::uint32_t seen = state;
  do {
    if ((seen & kClosed) != 0) return cPass(nullptr);
  } while (!state.compare_exchange_weak(seen, seen + 1));
  return cPass(this);
}

void cCallGate::Leave() {
  if (--state == kClosed) state.notify_all();
}

}  // namespace corvane
