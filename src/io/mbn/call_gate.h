#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace corvane {

// Lets calls of other threads in while it is open. Close keeps further ones out and waits for those
// that are inside, so that what they use can be taken down afterwards.
class cCallGate {
 public:
  // One call's stay inside, or the refusal of one.
  class cPass {
   public:
    explicit cPass(cCallGate* entered) : gate(entered) {}
    cPass(const cPass&) = delete;
    cPass& operator=(const cPass&) = delete;
    ~cPass() {
      if (gate != nullptr) {
        gate->Leave();
      }
    }
    explicit operator bool() const { return gate != nullptr; }

   private:
    cCallGate* gate;
  };

  // A new gate is closed.
  void Open();

  // Returns once nobody is inside, and nobody can come in until the next Open. Must not be called
  // from inside.
  void Close();

  [[nodiscard]] cPass Enter();

 private:
  void Leave();

  // Never held while anything else is called.
  std::mutex mutex;
  std::condition_variable lastOneLeft;
  bool isOpen = false;
  std::uint32_t callsInside = 0;
};

}  // namespace corvane
