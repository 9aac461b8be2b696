#include "convert/modem_clock.h"

#include <gtest/gtest.h>

namespace corvane {
namespace {

// 2020-09-13 12:26:40 UTC: in milliseconds since 1601, in nanoseconds since 1970, and as a DIAG
// timestamp, 1,284,035,200 s behind the GPS epoch in units of 1.25 ms.
constexpr std::uint64_t kItemTime = 13'244'473'600'000;
constexpr std::int64_t kNanoseconds = 1'600'000'000'000'000'000;
constexpr std::uint64_t kStamp = (1'284'035'200ull * 800) << 16;
constexpr std::uint64_t kTwoDays = (2ull * 24 * 3600 * 800) << 16;

TEST(ModemClockTest, AStampCountsInNanoseconds) {
  cModemClock clock(eExportClock::Modem, 0);
  EXPECT_EQ(clock.TimeOf(kItemTime, kStamp), kNanoseconds);
  // 1.25 ms and 49,151/49,152 of it.
  EXPECT_EQ(clock.TimeOf(kItemTime, kStamp + 0x1'BFFF), kNanoseconds + 1'250'000 + 1'249'974);
  EXPECT_EQ(clock.NotBelieved(), 0U);
}

TEST(ModemClockTest, AnItemWithoutAStampHasTheHostsTime) {
  cModemClock clock(eExportClock::Modem, 18);
  EXPECT_EQ(clock.TimeOf(kItemTime + 7, {}), kNanoseconds + 7'000'000);
  EXPECT_EQ(clock.NotBelieved(), 0U);
}

TEST(ModemClockTest, TheHostsClockLeavesTheStampAlone) {
  cModemClock clock(eExportClock::Host, 18);
  EXPECT_EQ(clock.TimeOf(kItemTime + 7, kStamp), kNanoseconds + 7'000'000);
  EXPECT_EQ(clock.TimeOf(kItemTime, 0), kNanoseconds);
  EXPECT_EQ(clock.NotBelieved(), 0U);
}

TEST(ModemClockTest, LeapSecondsAreTakenOffTheModemsTimes) {
  cModemClock clock(eExportClock::Modem, 18);
  EXPECT_EQ(clock.TimeOf(kItemTime, kStamp), kNanoseconds - 18'000'000'000);
}

TEST(ModemClockTest, TwoDaysAreTheMostThatIsBelieved) {
  cModemClock clock(eExportClock::Modem, 1);
  constexpr std::int64_t kFar = 2ll * 24 * 3600 * 1'000'000'000;
  EXPECT_EQ(clock.TimeOf(kItemTime, kStamp + kTwoDays), kNanoseconds + kFar - 1'000'000'000);
  EXPECT_EQ(clock.TimeOf(kItemTime, kStamp - kTwoDays), kNanoseconds - kFar - 1'000'000'000);
  EXPECT_EQ(clock.NotBelieved(), 0U);
  EXPECT_EQ(clock.TimeOf(kItemTime, kStamp + kTwoDays + 1), kNanoseconds);
  // The last step of the unit before.
  EXPECT_EQ(clock.TimeOf(kItemTime, kStamp - kTwoDays - 0x1'0000 + 0xBFFF), kNanoseconds);
  EXPECT_EQ(clock.NotBelieved(), 2U);
}

TEST(ModemClockTest, AStampThatIsNoTimeIsNotBelieved) {
  cModemClock clock(eExportClock::Modem, 0);
  EXPECT_EQ(clock.TimeOf(kItemTime, UINT64_MAX), kNanoseconds);
  EXPECT_EQ(clock.TimeOf(kItemTime, 0), kNanoseconds);
  EXPECT_EQ(clock.NotBelieved(), 2U);
}

TEST(ModemClockTest, TimesStayBetween1970And2262) {
  EXPECT_EQ(UnixNanosecondsOfItem(0), 0);
  EXPECT_EQ(UnixNanosecondsOfItem(11'644'473'600'000), 0);
  EXPECT_EQ(UnixNanosecondsOfItem(11'644'473'600'001), 1'000'000);
  EXPECT_EQ(UnixNanosecondsOfItem(UINT64_MAX), INT64_MAX);
  cModemClock clock(eExportClock::Modem, UINT32_MAX);  // 136 years
  EXPECT_EQ(clock.TimeOf(kItemTime, kStamp), 0);
}

}  // namespace
}  // namespace corvane
