#include "io/mbn/call_gate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace corvane {
namespace {

TEST(CallGate, IsClosedAtFirst) {
  cCallGate gate;
  EXPECT_FALSE(gate.Enter());
}

TEST(CallGate, LetsSeveralCallsInWhileItIsOpen) {
  cCallGate gate;
  gate.Open();
  const auto first = gate.Enter();
  const auto second = gate.Enter();
  EXPECT_TRUE(first);
  EXPECT_TRUE(second);
}

TEST(CallGate, KeepsCallsOutOnceItIsClosed) {
  cCallGate gate;
  gate.Open();
  gate.Close();
  EXPECT_FALSE(gate.Enter());
}

TEST(CallGate, CanBeClosedTwiceAndOpenedAgain) {
  cCallGate gate;
  gate.Open();
  gate.Close();
  gate.Close();
  gate.Open();
  EXPECT_TRUE(gate.Enter());
}

TEST(CallGate, CloseReturnsOnlyWhenNobodyIsInside) {
  // Calls that change an unguarded number. What the closing thread reads afterwards must be all of
  // it, and must stay: a call that Close did not wait for would be a data race.
  constexpr int kCallers = 4;
  for (int round = 0; round < 20; ++round) {
    cCallGate gate;
    gate.Open();
    std::vector<int> calls(kCallers, 0);
    std::atomic<int> inside = 0;
    std::vector<std::thread> callers;
    for (int i = 0; i < kCallers; ++i) {
      callers.emplace_back([&gate, &inside, &count = calls[static_cast<std::size_t>(i)]] {
        while (true) {
          const auto pass = gate.Enter();
          if (!pass) {
            return;
          }
          if (count == 0) {
            ++inside;
          }
          ++count;
        }
      });
    }
    // Every caller has been inside before the gate closes.
    while (inside != kCallers) {
      std::this_thread::yield();
    }
    gate.Close();
    const std::vector<int> atClose = calls;
    for (std::thread& caller : callers) {
      caller.join();
    }
    EXPECT_EQ(calls, atClose);
  }
}

}  // namespace
}  // namespace corvane
