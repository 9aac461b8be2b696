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

void ExpectTime(const sFrameTime& time, std::int64_t nanoseconds, bool isBelieved) {
  EXPECT_EQ(time.nanoseconds, nanoseconds);
  EXPECT_EQ(time.isBelieved, isBelieved);
}

TEST(ModemClockTest, AStampCountsInNanoseconds) {
  const cModemClock clock(eExportClock::Modem, 0);
  ExpectTime(clock.TimeOf(kItemTime, kStamp, false), kNanoseconds, true);
  // 1.25 ms and 49,151/49,152 of it.
  ExpectTime(clock.TimeOf(kItemTime, kStamp + 0x1'BFFF, false),
             kNanoseconds + 1'250'000 + 1'249'974, true);
}

TEST(ModemClockTest, AnItemWithoutAStampHasTheHostsTime) {
  const cModemClock clock(eExportClock::Modem, 18);
  ExpectTime(clock.TimeOf(kItemTime + 7, {}, false), kNanoseconds + 7'000'000, true);
}

TEST(ModemClockTest, TheHostsClockLeavesTheStampAlone) {
  const cModemClock clock(eExportClock::Host, 18);
  ExpectTime(clock.TimeOf(kItemTime + 7, kStamp, false), kNanoseconds + 7'000'000, true);
  ExpectTime(clock.TimeOf(kItemTime, 0, false), kNanoseconds, true);
}

TEST(ModemClockTest, LeapSecondsAreTakenOffTheModemsTimes) {
  const cModemClock clock(eExportClock::Modem, 18);
  ExpectTime(clock.TimeOf(kItemTime, kStamp, false), kNanoseconds - 18'000'000'000, true);
}

// Whose item times are the modem's: what has no stamp, or a nonsense one, keeps up with the rest.
TEST(ModemClockTest, LeapSecondsAreTakenOffImportedTimesToo) {
  const cModemClock clock(eExportClock::Modem, 18);
  ExpectTime(clock.TimeOf(kItemTime, kStamp, true), kNanoseconds - 18'000'000'000, true);
  ExpectTime(clock.TimeOf(kItemTime, {}, true), kNanoseconds - 18'000'000'000, true);
  ExpectTime(clock.TimeOf(kItemTime, 0, true), kNanoseconds - 18'000'000'000, false);
  const cModemClock host(eExportClock::Host, 18);
  ExpectTime(host.TimeOf(kItemTime, kStamp, true), kNanoseconds - 18'000'000'000, true);
}

TEST(ModemClockTest, TwoDaysAreTheMostThatIsBelieved) {
  const cModemClock clock(eExportClock::Modem, 1);
  constexpr std::int64_t kFar = 2ll * 24 * 3600 * 1'000'000'000;
  ExpectTime(clock.TimeOf(kItemTime, kStamp + kTwoDays, false), kNanoseconds + kFar - 1'000'000'000,
             true);
  ExpectTime(clock.TimeOf(kItemTime, kStamp - kTwoDays, false), kNanoseconds - kFar - 1'000'000'000,
             true);
  ExpectTime(clock.TimeOf(kItemTime, kStamp + kTwoDays + 1, false), kNanoseconds, false);
  // The last step of the unit before.
  ExpectTime(clock.TimeOf(kItemTime, kStamp - kTwoDays - 0x1'0000 + 0xBFFF, false), kNanoseconds,
             false);
}

TEST(ModemClockTest, AStampThatIsNoTimeIsNotBelieved) {
  const cModemClock clock(eExportClock::Modem, 0);
  ExpectTime(clock.TimeOf(kItemTime, UINT64_MAX, false), kNanoseconds, false);
  ExpectTime(clock.TimeOf(kItemTime, 0, false), kNanoseconds, false);
}

TEST(ModemClockTest, TimesStayBetween1970And2262) {
  EXPECT_EQ(UnixNanosecondsOfItem(0), 0);
  EXPECT_EQ(UnixNanosecondsOfItem(11'644'473'600'000), 0);
  EXPECT_EQ(UnixNanosecondsOfItem(11'644'473'600'001), 1'000'000);
  EXPECT_EQ(UnixNanosecondsOfItem(UINT64_MAX), INT64_MAX);
  const cModemClock clock(eExportClock::Modem, UINT32_MAX);  // 136 years
  ExpectTime(clock.TimeOf(kItemTime, kStamp, false), 0, true);
}

}  // namespace
}  // namespace corvane
