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

TEST(CalendarTest, TheLocalTimeIsThatOfNow) {
  const std::time_t before = std::time(nullptr);
  std::tm local = LocalCalendarTime();
  const std::time_t after = std::time(nullptr);
  const std::time_t told = std::mktime(&local);
  EXPECT_GE(told, before);
  EXPECT_LE(told, after);
}

TEST(CalendarTest, TheDerivedFieldsAreFilledToo) {
  const std::tm local = LocalCalendarTime();
  std::tm complete{};
  complete.tm_year = local.tm_year;
  complete.tm_mon = local.tm_mon;
  complete.tm_mday = local.tm_mday;
  complete.tm_hour = local.tm_hour;
  complete.tm_min = local.tm_min;
  complete.tm_sec = local.tm_sec;
  complete.tm_isdst = local.tm_isdst;
  ASSERT_NE(std::mktime(&complete), std::time_t{-1});
  EXPECT_EQ(local.tm_wday, complete.tm_wday);
  EXPECT_EQ(local.tm_yday, complete.tm_yday);
}

}  // namespace
}  // namespace corvane
