#include <gtest/gtest.h>
#include <stdio.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>

#include "diag/shared_buffer.h"

namespace corvane {
namespace {

constexpr int kReady = 3;
constexpr int kNotReady = 4;

// What the last write of the process finds: the C library empties its files when the program's
// static objects are gone already.
ssize_t EndWithTheFlag(void*, const char*, size_t) {
  _exit(gBufferLockReady == 1 ? kReady : kNotReady);
}

void EndAndLookAtTheFlagBehindTheLastDestructor() {
  FILE* const last = fopencookie(nullptr, "w", {nullptr, EndWithTheFlag, nullptr, nullptr});
  if (last == nullptr || fputs("looks at the end", last) < 0 || gBufferLockReady != 1) {
    _exit(1);
  }
  std::exit(0);
}

// GoogleTest runs suites of this name first, before others have started threads.
TEST(BufferLockDeathTest, AtTheEndOfTheProgramTheLockIsNotReadyAnyMore) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(EndAndLookAtTheFlagBehindTheLastDestructor(), testing::ExitedWithCode(kNotReady), "");
}

std::uint32_t readyAtFirst = 2;

// Called in front of all initializers of static objects.
[[gnu::constructor(101)]] void LookAtTheFlagFirst() { readyAtFirst = gBufferLockReady; }

TEST(BufferLockStartTest, BeforeAnythingIsInitializedTheLockIsNotReady) {
  EXPECT_EQ(readyAtFirst, 0U);
}

}  // namespace
}  // namespace corvane
