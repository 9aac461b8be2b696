#pragma once

#include <atomic>
#include <cstdint>

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
      if (gate != nullptr) gate->Leave();
    }
    explicit operator bool() const { return gate != nullptr; }

   private:
    cCallGate* gate;
  };

  // A new gate is closed.
  void Open() { state &= ~kClosed; }

  // Returns once nobody is inside, and nobody can come in until the next Open. Must not be called
  // from inside.
  void Close();

  [[nodiscard]] cPass Enter();

 private:
  static constexpr std::uint32_t kClosed = 0x80000000;

  void Leave();

  std::atomic<std::uint32_t> state = kClosed;  // kClosed, plus the number of calls inside
};

}  // namespace corvane
