#include "platform/synchronization.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include "support/failing_allocation.h"

namespace corvane {
namespace {

// Locks of every kind of creation do the same.
class LockTest : public testing::TestWithParam<cLock::eCreation> {
 protected:
  [[nodiscard]] bool IsFreeForOthers() {
    bool isFree = false;
    std::thread([this, &isFree] {
      isFree = lock.try_lock();
      if (isFree) {
        lock.unlock();
      }
    }).join();
    return isFree;
  }

  cLock lock{GetParam(), 5000};
};

INSTANTIATE_TEST_SUITE_P(EveryCreation, LockTest,
                         testing::Values(cLock::eCreation::Extended, cLock::eCreation::SpinCount,
                                         cLock::eCreation::Plain));

TEST_P(LockTest, ANewLockIsFree) { EXPECT_TRUE(IsFreeForOthers()); }

TEST_P(LockTest, AHeldLockIsNotFreeForOthers) {
  lock.lock();
  EXPECT_FALSE(IsFreeForOthers());
  lock.unlock();
  EXPECT_TRUE(IsFreeForOthers());
}

TEST_P(LockTest, ItsOwnerMayTakeItAgainAndGivesItBackAsOften) {
  lock.lock();
  lock.lock();
  EXPECT_TRUE(lock.try_lock());
  lock.unlock();
  lock.unlock();
  EXPECT_FALSE(IsFreeForOthers());
  lock.unlock();
  EXPECT_TRUE(IsFreeForOthers());
}

TEST_P(LockTest, ALockTakenByTryingIsHeld) {
  ASSERT_TRUE(lock.try_lock());
  EXPECT_FALSE(IsFreeForOthers());
  lock.unlock();
}

TEST_P(LockTest, OneThreadAtATimeGetsIn) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 5000;
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([this, &count] {
      for (int round = 0; round < kRounds; ++round) {
        const std::lock_guard guard(lock);
        ++count;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(count, kThreads * kRounds);
}

TEST_P(LockTest, NoMemoryForALockThrows) {
  const std::int64_t before = LiveNewAllocations();
  cAllocationFailure failure(eHeap::New, 1);
  bool thrown = false;
  try {
    cLock another(GetParam());
  } catch (const std::bad_alloc&) {
    thrown = true;
  }
  EXPECT_TRUE(failure.Disarm());
  EXPECT_TRUE(thrown);
  EXPECT_EQ(LiveNewAllocations(), before);
}

TEST(EventTest, ANewEventIsNotSet) {
  const cEvent event;
  EXPECT_FALSE(event.IsSet());
}

TEST(EventTest, AnEventStaysSetUntilItIsReset) {
  cEvent event;
  event.Set();
  EXPECT_TRUE(event.IsSet());
  EXPECT_TRUE(event.IsSet()) << "looking at it does not reset it";
  event.Set();
  EXPECT_TRUE(event.IsSet());
  event.Reset();
  EXPECT_FALSE(event.IsSet());
  event.Reset();
  EXPECT_FALSE(event.IsSet());
}

TEST(EventTest, AnotherThreadsSettingIsSeen) {
  cEvent event;
  int written = 0;
  std::thread other([&] {
    written = 7;
    event.Set();
  });
  while (!event.IsSet()) {
    std::this_thread::yield();
  }
  EXPECT_EQ(written, 7) << "what came before the setting is seen with it";
  other.join();
}

TEST(EventTest, NoMemoryForAnEventThrows) {
  const std::int64_t before = LiveNewAllocations();
  cAllocationFailure failure(eHeap::New, 1);
  bool thrown = false;
  try {
    const cEvent event;
  } catch (const std::bad_alloc&) {
    thrown = true;
  }
  EXPECT_TRUE(failure.Disarm());
  EXPECT_TRUE(thrown);
  EXPECT_EQ(LiveNewAllocations(), before);
}

}  // namespace
}  // namespace corvane
