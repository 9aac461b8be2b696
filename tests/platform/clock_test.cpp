#include "platform/clock.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>

namespace corvane {
namespace {

// 1970-01-01 00:00:00 UTC as a FILETIME value, as Windows' documentation gives it.
constexpr std::uint64_t kUnixEpoch = 116'444'736'000'000'000;
constexpr std::uint64_t kUnitsPerSecond = 10'000'000;

std::uint64_t FileTimeOfUnixTime(std::time_t seconds) {
  return kUnixEpoch + static_cast<std::uint64_t>(seconds) * kUnitsPerSecond;
}

TEST(ClockTest, TheFileTimeIsThatOfNow) {
  // std::time may lag behind the exact clock by the length of one tick.
  const std::time_t before = std::time(nullptr);
  const std::uint64_t fileTime = SystemFileTime();
  const std::time_t after = std::time(nullptr);
  EXPECT_GE(fileTime, FileTimeOfUnixTime(before));
  EXPECT_LE(fileTime, FileTimeOfUnixTime(after + 2));
}

TEST(ClockTest, TheClockGoesOnInUnitsOfHundredNanoseconds) {
  const std::uint64_t start = SystemFileTime();
  std::uint64_t now = start;
  bool betweenMilliseconds = false;
  // A reading that is no whole millisecond comes along at once; without one this ends after a
  // second.
  while (!betweenMilliseconds && now - start < kUnitsPerSecond) {
    now = SystemFileTime();
    betweenMilliseconds = now % 10'000 != 0;
  }
  EXPECT_TRUE(betweenMilliseconds);
}

}  // namespace
}  // namespace corvane
