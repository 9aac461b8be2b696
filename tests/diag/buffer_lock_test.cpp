#include <gtest/gtest.h>

#include "diag/shared_buffer.h"
#include "support/failing_allocation.h"

namespace corvane {
namespace {

int destroyedCount = 0;

struct sWatchedBuffer : sSharedBuffer {
  using sSharedBuffer::sSharedBuffer;
  ~sWatchedBuffer() override { ++destroyedCount; }
};

// AddRef and Release count as ever, and the last reference destroys the buffer.
void ExpectBuffersAreCounted() {
  destroyedCount = 0;
  auto* const buffer = new sWatchedBuffer("abc", 3, kOriginDevice);
  AddRef(buffer);
  AddRef(buffer);
  EXPECT_EQ(buffer->refCount, 2U);
  Release(buffer);
  EXPECT_EQ(buffer->refCount, 1U);
  EXPECT_EQ(destroyedCount, 0);
  Release(buffer);
  EXPECT_EQ(destroyedCount, 1);
}

// The library's lock is there at the end of each test, as it was at the start.
class BufferLockTest : public testing::Test {
 protected:
  ~BufferLockTest() override {
    if (!gBufferLock.has_value()) {
      CreateBufferLock();
    }
  }
};

TEST_F(BufferLockTest, TheLoadMakesTheLockAndSaysSo) {
  EXPECT_EQ(gBufferLockReady, 1U);
  EXPECT_TRUE(gBufferLock.has_value());
}

TEST_F(BufferLockTest, WithoutMemoryForTheLockItIsNotReady) {
  DestroyBufferLock();
  cAllocationFailure failure(eHeap::New, 1);
  CreateBufferLock();
  EXPECT_TRUE(failure.Disarm()) << "one lock is asked for";
  EXPECT_EQ(gBufferLockReady, 0U);
  EXPECT_FALSE(gBufferLock.has_value());
  ExpectBuffersAreCounted();
  EXPECT_FALSE(gBufferLock.has_value()) << "nobody makes one later on";
}

TEST_F(BufferLockTest, TheUnloadClearsTheFlagAndDestroysTheLock) {
  DestroyBufferLock();
  EXPECT_EQ(gBufferLockReady, 0U);
  EXPECT_FALSE(gBufferLock.has_value());
  ExpectBuffersAreCounted();
}

TEST_F(BufferLockTest, ALockThatIsMadeAnewIsReady) {
  DestroyBufferLock();
  CreateBufferLock();
  EXPECT_EQ(gBufferLockReady, 1U);
  ASSERT_TRUE(gBufferLock.has_value());
  ExpectBuffersAreCounted();
}

}  // namespace
}  // namespace corvane
