#include "platform/event.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <thread>

#include "support/failing_allocation.h"

namespace corvane {
namespace {

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
