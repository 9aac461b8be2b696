#include "io/mbn/call_gate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "support/wait_until.h"

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
    EXPECT_TRUE(
        test::WaitUntil("every caller has been inside", [&] { return inside == kCallers; }));
    gate.Close();
    const std::vector<int> atClose = calls;
    for (std::thread& caller : callers) {
      caller.join();
    }
    EXPECT_EQ(calls, atClose);
  }
}

class OpeningTurn : public ::testing::Test {
 protected:
  OpeningTurn() { turn.Allow(); }

  cOpeningTurn turn;
};

TEST(OpeningTurnAtFirst, IsForbidden) {
  cOpeningTurn turn;
  EXPECT_FALSE(turn.Take());
  EXPECT_FALSE(turn.TryTake());
}

TEST_F(OpeningTurn, IsOneThreadsAtATime) {
  EXPECT_TRUE(turn.TryTake());
  EXPECT_FALSE(turn.TryTake());
}

TEST_F(OpeningTurn, IsGivenBackAtOnceWhenNobodyElseWantedIt) {
  EXPECT_TRUE(turn.Take());
  EXPECT_TRUE(turn.GiveBack());
  EXPECT_TRUE(turn.TryTake());
  EXPECT_TRUE(turn.GiveBack());
}

TEST_F(OpeningTurn, IsKeptOnceMoreForAllThatWantedItMeanwhile) {
  EXPECT_TRUE(turn.Take());
  EXPECT_FALSE(turn.TryTake());
  EXPECT_FALSE(turn.TryTake());
  EXPECT_FALSE(turn.GiveBack()) << "look again";
  EXPECT_TRUE(turn.GiveBack());
}

TEST_F(OpeningTurn, IsKeptAgainWhenAnotherWantsItDuringTheSecondLook) {
  EXPECT_TRUE(turn.Take());
  EXPECT_FALSE(turn.TryTake());
  EXPECT_FALSE(turn.GiveBack());
  EXPECT_FALSE(turn.TryTake());
  EXPECT_FALSE(turn.GiveBack());
  EXPECT_TRUE(turn.GiveBack());
}

TEST_F(OpeningTurn, CannotBeTakenOnceForbiddenUntilAllowedAgain) {
  turn.Forbid();
  EXPECT_FALSE(turn.Take());
  EXPECT_FALSE(turn.TryTake());
  turn.Allow();
  EXPECT_TRUE(turn.TryTake());
}

TEST_F(OpeningTurn, TakeWaitsForTheOneThatHasIt) {
  EXPECT_TRUE(turn.TryTake());
  bool isDone = false;  // unguarded: the turn keeps the two threads apart
  std::thread other([&] {
    EXPECT_TRUE(turn.Take());
    EXPECT_TRUE(isDone);
    EXPECT_TRUE(turn.GiveBack());
  });
  isDone = true;
  EXPECT_TRUE(turn.GiveBack());
  other.join();
}

TEST_F(OpeningTurn, ForbidWaitsForTheOneThatHasItWhoDoesNotLookAgain) {
  std::atomic<bool> isForbidding = false;
  bool isDone = false;
  EXPECT_TRUE(turn.TryTake());
  std::thread closing([&] {
    isForbidding = true;
    turn.Forbid();
    EXPECT_TRUE(isDone);
  });
  EXPECT_TRUE(test::WaitUntil("the other thread forbids", [&] { return isForbidding.load(); }));
  // Refused from some moment on, and until then a wish to look again.
  std::ignore = turn.TryTake();
  isDone = true;
  while (!turn.GiveBack()) {
  }
  closing.join();
  EXPECT_FALSE(turn.TryTake());
}

TEST_F(OpeningTurn, EveryWishIsFollowedByALook) {
  // Each thread raises the number before it asks for the turn; the last look sees the last number.
  constexpr int kThreads = 4;
  constexpr int kWishes = 2000;
  std::atomic<int> wishes = 0;
  int seen = 0;  // unguarded: only who has the turn touches it
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int wish = 0; wish < kWishes; ++wish) {
        ++wishes;
        if (turn.TryTake()) {
          do {
            seen = wishes;
          } while (!turn.GiveBack());
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(seen, kThreads * kWishes);
}

// All that waits, reported by one thread.
std::vector<eReport> TakeAll(cReportTurn& turn) {
  std::vector<eReport> taken;
  EXPECT_TRUE(turn.Take());
  while (const auto report = turn.Next()) {
    taken.push_back(*report);
  }
  return taken;
}

TEST(ReportTurn, HasNothingToReportAtFirst) {
  cReportTurn turn;
  EXPECT_EQ(TakeAll(turn), std::vector<eReport>());
}

TEST(ReportTurn, IsOneThreadsUntilNothingIsLeft) {
  cReportTurn turn;
  turn.Add(eReport::Opened);
  ASSERT_TRUE(turn.Take());
  EXPECT_EQ(turn.Next(), eReport::Opened);
  EXPECT_FALSE(turn.Take()) << "the report is being made";
  turn.Add(eReport::Ended);
  EXPECT_FALSE(turn.Take());
  EXPECT_EQ(turn.Next(), eReport::Ended);
  EXPECT_EQ(turn.Next(), std::nullopt);
  EXPECT_TRUE(turn.Take());
}

TEST(ReportTurn, ReportsComeInTheOrderInWhichTheyWereAdded) {
  constexpr auto kOpened = eReport::Opened;
  constexpr auto kEnded = eReport::Ended;
  const std::vector<eReport> added = {kEnded,  kEnded, kOpened, kOpened, kEnded,
                                      kOpened, kEnded, kEnded,  kOpened};
  cReportTurn turn;
  for (const eReport report : added) {
    turn.Add(report);
  }
  EXPECT_EQ(TakeAll(turn), added);
  EXPECT_EQ(TakeAll(turn), std::vector<eReport>());
}

TEST(ReportTurn, TheNewestReportIsKeptWhenThereIsNoMoreRoom) {
  cReportTurn turn;
  std::vector<eReport> expected;
  for (std::size_t nth = 0; nth != cReportTurn::kRoom; ++nth) {
    expected.push_back(nth % 2 == 0 ? eReport::Opened : eReport::Ended);
    turn.Add(expected.back());
  }
  turn.Add(eReport::Ended);
  turn.Add(eReport::Opened);
  expected.back() = eReport::Opened;
  EXPECT_EQ(TakeAll(turn), expected);
  turn.Add(eReport::Ended);
  EXPECT_EQ(TakeAll(turn), std::vector{eReport::Ended});
}

TEST(ReportTurn, AnEndWaitsUntilItIsTaken) {
  cReportTurn turn;
  EXPECT_FALSE(turn.HasEndWaiting());
  turn.Add(eReport::Opened);
  EXPECT_FALSE(turn.HasEndWaiting());
  turn.Add(eReport::Ended);
  turn.Add(eReport::Opened);
  EXPECT_TRUE(turn.HasEndWaiting());
  ASSERT_TRUE(turn.Take());
  EXPECT_EQ(turn.Next(), eReport::Opened);
  EXPECT_TRUE(turn.HasEndWaiting());
  EXPECT_EQ(turn.Next(), eReport::Ended);
  EXPECT_FALSE(turn.HasEndWaiting());
}

}  // namespace
}  // namespace corvane
