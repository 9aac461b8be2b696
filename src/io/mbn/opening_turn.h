#pragma once

#include <condition_variable>
#include <mutex>

namespace corvane {

// Which thread opens the device's service: one at a time does. No lock is held while it opens, so a
// platform that waits for its callbacks before it answers is not kept waiting.
class cOpeningTurn {
 public:
  // A new one is forbidden.
  void Allow();

  // Keeps further threads from opening, and returns when the one that is opening is done. Not to be
  // called by that one.
  void Forbid();

  // The caller opens from now on. Waits while another thread does, so not to be called by a call of
  // the platform's. False: forbidden.
  [[nodiscard]] bool Take();

  // The same without waiting. False: forbidden, or another thread is opening, which looks again
  // before it gives its turn back.
  [[nodiscard]] bool TryTake();

  // The caller is done. False: it has to look again first, because another thread would have opened
  // meanwhile. Never false once it is forbidden.
  [[nodiscard]] bool GiveBack();

 private:
  std::mutex mutex;  // never held while anything else is called
  std::condition_variable becameFree;
  bool isAllowed = false;
  bool isTaken = false;
  bool lookAgain = false;
};

}  // namespace corvane
