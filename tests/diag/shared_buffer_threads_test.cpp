#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "diag/shared_buffer.h"

namespace corvane {
namespace {

[[nodiscard]] bool IsBufferLockFreeForOthers() {
  bool isFree = false;
  std::thread([&isFree] {
    isFree = gBufferLock->try_lock();
    if (isFree) {
      gBufferLock->unlock();
    }
  }).join();
  return isFree;
}

int destroyedCount = 0;
bool wasLockedDuringDestruction = false;

struct sWatchedBuffer : sSharedBuffer {
  using sSharedBuffer::sSharedBuffer;
  ~sWatchedBuffer() override {
    ++destroyedCount;
    wasLockedDuringDestruction = !IsBufferLockFreeForOthers();
  }
};

// Puts the flag back, however the test ends.
class cBufferLockNotReady {
 public:
  cBufferLockNotReady() { gBufferLockReady = 0; }
  ~cBufferLockNotReady() { gBufferLockReady = 1; }
  cBufferLockNotReady(const cBufferLockNotReady&) = delete;
  cBufferLockNotReady& operator=(const cBufferLockNotReady&) = delete;
};

TEST(SharedBufferThreadsTest, TheLockIsReadyWhileTheProgramRuns) {
  EXPECT_EQ(gBufferLockReady, 1U);
}

TEST(SharedBufferThreadsTest, NoReferenceIsLostWhereThreadsCountAtOnce) {
  constexpr int kRounds = 20000;
  const cBufferReference packet(std::make_unique<sSharedBuffer>("abc", 3, kOriginDevice));
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&packet] {
      for (int round = 0; round < kRounds; ++round) {
        AddRef(packet.Get());
        AddRef(packet.Get());
        Release(packet.Get());
      }
      for (int round = 0; round < kRounds; ++round) {
        Release(packet.Get());
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(packet->refCount, 1U);
}

TEST(SharedBufferThreadsTest, WhicheverThreadReleasesLastDestroysTheBufferOnce) {
  for (int round = 0; round < 200; ++round) {
    destroyedCount = 0;
    cBufferReference packet(std::make_unique<sWatchedBuffer>("abc", 3, kOriginDevice));
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([copy = packet] { EXPECT_EQ(copy->data[0], 'a'); });
    }
    packet = cBufferReference();
    for (std::thread& thread : threads) {
      thread.join();
    }
    ASSERT_EQ(destroyedCount, 1);
  }
}

TEST(SharedBufferThreadsTest, TheDestructionHappensUnderTheLock) {
  wasLockedDuringDestruction = false;
  { const cBufferReference packet(std::make_unique<sWatchedBuffer>("abc", 3, kOriginDevice)); }
  EXPECT_TRUE(wasLockedDuringDestruction);
  EXPECT_TRUE(IsBufferLockFreeForOthers());

  wasLockedDuringDestruction = false;
  Release(new sWatchedBuffer("abc", 3, kOriginDevice));
  EXPECT_TRUE(wasLockedDuringDestruction);
  EXPECT_TRUE(IsBufferLockFreeForOthers());
}

TEST(SharedBufferThreadsTest, TheCreatorsOwnDestructionTakesNoLock) {
  wasLockedDuringDestruction = true;
  { const OwnedBuffer packet(new sWatchedBuffer("abc", 3, kOriginDevice)); }
  EXPECT_FALSE(wasLockedDuringDestruction);
}

TEST(SharedBufferThreadsTest, WithoutTheReadyFlagBuffersAreCountedWithoutTheLock) {
  // While the lock is held here, another thread's count comes through only without it.
  const std::lock_guard guard(*gBufferLock);
  const cBufferLockNotReady notReady;
  sSharedBuffer* const packet = new sWatchedBuffer("abc", 3, kOriginDevice);
  destroyedCount = 0;
  std::thread([packet] {
    AddRef(packet);
    AddRef(packet);
    Release(packet);
    EXPECT_EQ(packet->refCount, 1U);
    Release(packet);
  }).join();
  EXPECT_EQ(destroyedCount, 1);
}

TEST(SharedBufferThreadsTest, WithTheReadyFlagACountWaitsForTheLock) {
  const cBufferReference packet(std::make_unique<sSharedBuffer>("abc", 3, kOriginDevice));
  // Not atomic: only the lock orders the other thread's changes before the reading below.
  std::uint32_t seen = 0;
  std::thread other;
  {
    const std::lock_guard guard(*gBufferLock);
    other = std::thread([&packet] { AddRef(packet.Get()); });
    seen = packet->refCount;
  }
  other.join();
  EXPECT_EQ(seen, 1U);
  EXPECT_EQ(packet->refCount, 2U);
  Release(packet.Get());
}

}  // namespace
}  // namespace corvane
