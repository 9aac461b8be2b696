#include "io/mbn/opening_turn.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <tuple>
#include <vector>

namespace corvane {
namespace {

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
  while (!isForbidding) {
    std::this_thread::yield();
  }
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

}  // namespace
}  // namespace corvane
