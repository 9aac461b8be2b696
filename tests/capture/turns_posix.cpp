#include "capture/turns_posix.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <thread>

namespace corvane {
namespace {

constexpr std::int64_t kLongestSchedule = 120;  // seconds; one takes some milliseconds

thread_local std::uint32_t ownNumber = 0;
thread_local cDice ownDice(0);
thread_local bool isInLooseOrder = false;

[[nodiscard]] std::int64_t Seconds() {
  return std::chrono::duration_cast<std::chrono::seconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

[[nodiscard]] std::uint64_t BitOf(std::uint32_t number) { return std::uint64_t{1} << number; }

// Long enough for another thread to get anywhere, or for none.
void Linger() {
  for (std::uint32_t left = ownDice.OneIn(2) ? ownDice.Below(4) : 0; left > 0; --left) {
    std::this_thread::yield();
  }
}

}  // namespace

std::uint32_t cDice::Below(std::uint32_t end) {
  state += 0x9E3779B97F4A7C15;
  std::uint64_t mixed = state;
  mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
  mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
  mixed ^= mixed >> 31;
  return static_cast<std::uint32_t>(mixed % end);
}

cTurns::cTurns(std::uint64_t seedOfAll, eOrder chosen)
    : seed(seedOfAll), order(chosen), begun(Seconds()) {
  ownNumber = 0;
  ownDice = cDice(seed);
  isInLooseOrder = order == eOrder::Loose;
}

std::uint32_t cTurns::Add() {
  const std::uint32_t number = threads.fetch_add(1, std::memory_order_relaxed);
  if (number >= kMostThreads) {
    std::fprintf(stderr, "more than %u threads in schedule %llu\n", kMostThreads,
                 static_cast<unsigned long long>(seed));
    std::abort();
  }
  takingPart.fetch_or(BitOf(number), std::memory_order_relaxed);
  return number;
}

void cTurns::Begin(std::uint32_t number) {
  ownNumber = number;
  ownDice = cDice(seed + number);
  isInLooseOrder = order == eOrder::Loose;
  WaitForTurn();
}

void cTurns::End() {
  takingPart.fetch_and(~BitOf(ownNumber), std::memory_order_relaxed);
  if (order == eOrder::Strict) {
    Pass();
  }
}

void cTurns::Seam() {
  if (order == eOrder::Loose) {
    Linger();
    return;
  }
  Pass();
  WaitForTurn();
}

void cTurns::LingerInLooseOrder() {
  if (isInLooseOrder) {
    Linger();
  }
}

// Only the thread that has the turn gives it away, and so nobody else counts the pass.
void cTurns::Pass() {
  std::uint64_t candidates = takingPart.load(std::memory_order_relaxed);
  if (candidates == 0) {
    return;
  }
  const std::uint64_t pass = passes.load(std::memory_order_relaxed);
  passes.store(pass + 1, std::memory_order_relaxed);
  cDice dice(seed ^ (pass * 0xD1342543DE82EF95));
  for (auto passedOver = dice.Below(static_cast<std::uint32_t>(std::popcount(candidates)));
       passedOver > 0; --passedOver) {
    candidates &= candidates - 1;
  }
  std::atomic<std::uint32_t>& next = turn[static_cast<std::size_t>(std::countr_zero(candidates))];
  next.store(1, std::memory_order_relaxed);
  if (&next != &turn[ownNumber]) {
    // By the system's own call: what the libraries have for it would keep the threads apart.
    syscall(SYS_futex, &next, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
  }
}

void cTurns::WaitForTurn() {
  if (order == eOrder::Loose) {
    return;
  }
  std::atomic<std::uint32_t>& own = turn[ownNumber];
  constexpr timespec kLongestWait = {kLongestSchedule, 0};
  while (own.load(std::memory_order_relaxed) == 0) {
    const long waited = syscall(SYS_futex, &own, FUTEX_WAIT_PRIVATE, 0, &kLongestWait, nullptr, 0);
    if (waited != 0 && errno == ETIMEDOUT) {
      EndLate("it is a thread's turn");
    }
  }
  own.store(0, std::memory_order_relaxed);
}

void cTurns::EndWhenLate(std::uint32_t looks, const char* what) const {
  if (looks % 1024 == 1023 && Seconds() - begun > kLongestSchedule) {
    EndLate(what);
  }
}

void cTurns::EndLate(const char* what) const {
  std::fprintf(stderr, "waited in vain until %s; schedule %llu\n", what,
               static_cast<unsigned long long>(seed));
  std::abort();
}

}  // namespace corvane
