#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace corvane {

// Numbers that follow from a seed.
class cDice {
 public:
  explicit cDice(std::uint64_t seed) : state(seed) {}

  // From 0 to `end` - 1.
  [[nodiscard]] std::uint32_t Below(std::uint32_t end);
  [[nodiscard]] bool OneIn(std::uint32_t count) { return Below(count) == 0; }

 private:
  std::uint64_t state;
};

// Has the steps of several threads follow one another as a seed says.
//
// In strict order one thread runs at a time, from one of its seams to the next, and the seed alone
// says which is next: the same seed gives the same order. In loose order they all run, and at a
// seam each waits for a moment, or does not.
//
// The turns are given and taken by relaxed atomics: for ThreadSanitizer nothing that one thread did
// happens before what the next one does, so that only what the code under test does itself keeps
// two threads apart. In strict order no lock may be held at a seam.
class cTurns {
 public:
  enum class eOrder { Strict, Loose };
  static constexpr std::uint32_t kMostThreads = 64;

  // The calling thread takes part, as number 0, and has the turn.
  cTurns(std::uint64_t seed, eOrder order);
  cTurns(const cTurns&) = delete;
  cTurns& operator=(const cTurns&) = delete;

  // Has a thread take part that is about to be made. -> its number
  [[nodiscard]] std::uint32_t Add();

  // The calling thread is the one with that number; returns when it has the turn.
  void Begin(std::uint32_t number);
  // The calling thread takes part no more.
  void End();

  // Another thread may have the turn meanwhile. The calling thread takes part.
  void Seam();

  // A moment inside the code under test, where locks may be held: in loose order the calling thread
  // waits there or does not, in strict order it goes on.
  static void LingerInLooseOrder();

  // Returns when `condition` holds, which other threads bring about; it reads relaxed atomics. When
  // that takes longer than any machine needs, the process ends with `what` and the seed.
  template <typename Condition>
  void Await(const char* what, const Condition& condition) {
    for (std::uint32_t looks = 0; !condition(); ++looks) {
      EndWhenLate(looks, what);
      Seam();
    }
  }

 private:
  void Pass();
  void WaitForTurn();
  void EndWhenLate(std::uint32_t looks, const char* what) const;
  [[noreturn]] void EndLate(const char* what) const;

  const std::uint64_t seed;
  const eOrder order;
  const std::int64_t begun;  // seconds
  std::atomic<std::uint32_t> threads = 1;
  std::atomic<std::uint64_t> takingPart = 1;  // one bit for each number
  // 1: that thread has the turn.
  std::array<std::atomic<std::uint32_t>, kMostThreads> turn{};
  std::atomic<std::uint64_t> passes = 0;
};

}  // namespace corvane
