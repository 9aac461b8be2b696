#include <gtest/gtest.h>

#include <new>

#include "diag/buffer_lock.h"
#include "diag/shared_buffer.h"
#include "platform/lock.h"

namespace corvane {
namespace {

int made = 0;
int taken = 0;
int destroyedCount = 0;

struct sWatchedBuffer : sSharedBuffer {
  using sSharedBuffer::sSharedBuffer;
  ~sWatchedBuffer() override { ++destroyedCount; }
};

}  // namespace

// The locks of this program: the system has no memory for any of them, from its start on.
struct cLock::sNative {};
cLock::cLock(eCreation, std::uint32_t) {
  ++made;
  throw std::bad_alloc();
}
cLock::~cLock() = default;
void cLock::lock() { ++taken; }
bool cLock::try_lock() {
  ++taken;
  return true;
}
void cLock::unlock() {}

namespace {

TEST(MissingBufferLockTest, AProgramWithoutMemoryForTheLockStartsWithTheLockNotReady) {
  EXPECT_EQ(made, 1);
  EXPECT_EQ(gBufferLockReady, 0U);
  EXPECT_FALSE(gBufferLock.has_value());
}

TEST(MissingBufferLockTest, BuffersAreThenCountedWithoutALock) {
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
  EXPECT_EQ(taken, 0);
}

}  // namespace
}  // namespace corvane
