#include <gtest/gtest.h>
#include <time.h>

#include <cstdint>

#include "platform/clock.h"

namespace corvane {
namespace {

// 1970-01-01 00:00:00 UTC as a FILETIME value, as Windows' documentation gives it.
constexpr std::uint64_t kUnixEpoch = 116'444'736'000'000'000;

[[nodiscard]] std::uint64_t HundredNanoseconds() {
  timespec now{};
  EXPECT_EQ(clock_gettime(CLOCK_REALTIME, &now), 0);
  return kUnixEpoch + static_cast<std::uint64_t>(now.tv_sec) * 10'000'000 +
         static_cast<std::uint64_t>(now.tv_nsec) / 100;
}

TEST(ClockTest, TheFileTimeIsExact) {
  const std::uint64_t before = HundredNanoseconds();
  const std::uint64_t fileTime = SystemFileTime();
  EXPECT_GE(fileTime, before);
  EXPECT_LE(fileTime, HundredNanoseconds());
}

}  // namespace
}  // namespace corvane
