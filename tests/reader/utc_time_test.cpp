#include "reader/utc_time.h"

#include <gtest/gtest.h>

#include "capture/isf/layout.h"

namespace corvane {
namespace {

// From the well-known difference between the FILETIME epoch and the Unix epoch: 11,644,473,600 s.
constexpr std::uint64_t kUnixEpoch = 11'644'473'600'000;

TEST(UtcTimeTest, TheEpochIsTheFirstOfJanuary1601) {
  EXPECT_EQ(FormatUtc(0), "1601-01-01T00:00:00.000Z");
}

TEST(UtcTimeTest, UnixTimesComeOutAsTheyShould) {
  EXPECT_EQ(FormatUtc(kUnixEpoch), "1970-01-01T00:00:00.000Z");
  EXPECT_EQ(FormatUtc(kUnixEpoch + 1'000'000'000'000), "2001-09-09T01:46:40.000Z");
  EXPECT_EQ(FormatUtc(kUnixEpoch + 1'234'567'890'123), "2009-02-13T23:31:30.123Z");
  EXPECT_EQ(FormatUtc(kUnixEpoch + 2'147'483'647'999), "2038-01-19T03:14:07.999Z");
}

TEST(UtcTimeTest, TheGpsEpochIsTheSixthOfJanuary1980) {
  EXPECT_EQ(FormatUtc(11'960'438'400'000), "1980-01-06T00:00:00.000Z");
}

TEST(UtcTimeTest, LeapYearsHaveTheir29thOfFebruary) {
  EXPECT_EQ(FormatUtc(kUnixEpoch + 951'782'400'000), "2000-02-29T00:00:00.000Z");
  EXPECT_EQ(FormatUtc(kUnixEpoch + 1'709'164'800'000), "2024-02-29T00:00:00.000Z");
  EXPECT_EQ(FormatUtc(kUnixEpoch + 1'709'251'200'000), "2024-03-01T00:00:00.000Z");
  EXPECT_EQ(FormatUtc(kUnixEpoch + 4'107'542'400'000), "2100-03-01T00:00:00.000Z");
}

TEST(UtcTimeTest, TheLastDayOfALeapYearBelongsToIt) {
  EXPECT_EQ(FormatUtc(kUnixEpoch + 978'220'800'000), "2000-12-31T00:00:00.000Z");
  EXPECT_EQ(FormatUtc(kUnixEpoch + 978'307'200'000), "2001-01-01T00:00:00.000Z");
  EXPECT_EQ(FormatUtc(kUnixEpoch + 1'735'603'200'000), "2024-12-31T00:00:00.000Z");
}

TEST(UtcTimeTest, TheLatestItemTimeHasAYearOfFiveDigits) {
  // 2^64 units of 100 ns: 28 May 60056.
  EXPECT_EQ(FormatUtc(isf::kLatestTime), "60056-05-28T05:36:10.955Z");
}

TEST(UtcTimeTest, EveryDayOf800YearsFollowsTheOneBefore) {
  unsigned year = 1601, month = 1, day = 1;
  for (std::uint64_t days = 0; year < 2401; ++days) {
    char expected[40];
    std::snprintf(expected, sizeof expected, "%04u-%02u-%02uT00:00:00.000Z", year, month, day);
    ASSERT_EQ(FormatUtc(days * 86'400'000), expected);
    ASSERT_EQ(ParseUtc(expected), days * 86'400'000);
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    const unsigned lengths[] = {31, leap ? 29U : 28U, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (++day <= lengths[month - 1]) {
      continue;
    }
    day = 1;
    if (++month <= 12) {
      continue;
    }
    month = 1;
    ++year;
  }
}

TEST(UtcTimeTest, WhatIsFormattedIsParsedBack) {
  EXPECT_EQ(ParseUtc("2009-02-13T23:31:30.123Z"), kUnixEpoch + 1'234'567'890'123);
}

TEST(UtcTimeTest, PartsThatAreLeftOutAreZero) {
  const std::uint64_t day = kUnixEpoch + 1'234'483'200'000;
  EXPECT_EQ(ParseUtc("2009-02-13"), day);
  EXPECT_EQ(ParseUtc("2009-02-13Z"), day);
  EXPECT_EQ(ParseUtc("2009-02-13 23:31"), day + 84'660'000);
  EXPECT_EQ(ParseUtc("2009-02-13T23:31:30"), day + 84'690'000);
  EXPECT_EQ(ParseUtc("2009-02-13T23:31:30.123"), day + 84'690'123);
}

TEST(UtcTimeTest, AFractionOfASecondHasUpToNineDigits) {
  const std::uint64_t second = kUnixEpoch + 1'234'567'890'000;
  EXPECT_EQ(ParseUtc("2009-02-13T23:31:30.1"), second + 100);
  EXPECT_EQ(ParseUtc("2009-02-13T23:31:30.12"), second + 120);
  EXPECT_EQ(ParseUtc("2009-02-13T23:31:30.007Z"), second + 7);
  EXPECT_EQ(ParseUtc("2009-02-13T23:31:30.1239"), second + 123);
  EXPECT_EQ(ParseUtc("2009-02-13T23:31:30.999999999Z"), second + 999);
}

TEST(UtcTimeTest, AnOffsetTellsHowFarTheClockIsAhead) {
  const std::uint64_t second = kUnixEpoch + 1'234'567'890'000;
  EXPECT_EQ(ParseUtc("2009-02-14T01:31:30+02:00"), second);
  EXPECT_EQ(ParseUtc("2009-02-14T01:31:30.250+02"), second + 250);
  EXPECT_EQ(ParseUtc("2009-02-13T18:01:30-0530"), second);
  EXPECT_EQ(ParseUtc("2009-02-13 23:31:30+00:00"), second);
  EXPECT_EQ(ParseUtc("2009-02-13t23:31:30z"), second);
  EXPECT_EQ(ParseUtc("1601-01-01T00:00-00:01"), 60'000U);
}

TEST(UtcTimeTest, ADayAloneIsAllOfItAndATimeOneMillisecond) {
  const std::uint64_t day = kUnixEpoch + 1'234'483'200'000;
  EXPECT_EQ(ParseUtcStretch("2009-02-13"), (sTimeStretch{day, day + 86'399'999}));
  EXPECT_EQ(ParseUtcStretch("2009-02-13z"), (sTimeStretch{day, day + 86'399'999}));
  EXPECT_EQ(ParseUtcStretch("2009-02-13+01:00"), (sTimeStretch{day - 3'600'000, day + 82'799'999}));
  EXPECT_EQ(ParseUtcStretch("2009-02-13T00:00"), (sTimeStretch{day, day}));
  EXPECT_EQ(ParseUtcStretch("2009-02-13 00:00:00.0019"), (sTimeStretch{day + 1, day + 1}));
}

TEST(UtcTimeTest, ATimeOfDayCountsFromMidnight) {
  EXPECT_EQ(ParseTimeOfDay("00:00"), (sTimeOfDay{0, 0}));
  EXPECT_EQ(ParseTimeOfDay("12:34"), (sTimeOfDay{45'240'000, 0}));
  EXPECT_EQ(ParseTimeOfDay("12:34:56.5"), (sTimeOfDay{45'296'500, 0}));
  EXPECT_EQ(ParseTimeOfDay("23:59:59.999Z"), (sTimeOfDay{86'399'999, 0}));
  EXPECT_EQ(ParseTimeOfDay("12:34+02:00"), (sTimeOfDay{45'240'000, 7'200'000}));
  EXPECT_EQ(ParseTimeOfDay("12:34-0130"), (sTimeOfDay{45'240'000, -5'400'000}));
  for (const char* text : {"", "12", "12:", "1:00", "24:00", "12:60", "12:34:", "12:34:60",
                           "12:34+2", "12:34x", " 12:34"}) {
    EXPECT_EQ(ParseTimeOfDay(text), std::nullopt) << text;
  }
}

TEST(UtcTimeTest, OtherTextIsNoTime) {
  for (const char* text : {"",
                           "17",
                           "2009",
                           "2009-02",
                           "2009-2-13",
                           "2009-02-13T",
                           "2009-02-13T23",
                           "2009-02-13T23:",
                           "2009-02-13T23:31:",
                           "2009-02-13T23:31:30.",
                           "2009-02-13T23:31:30.1234567890",
                           "2009-02-13T23:31:30ZZ",
                           "2009-02-13T23:31:30+",
                           "2009-02-13T23:31:30+2",
                           "2009-02-13T23:31:30+2:00",
                           "2009-02-13T23:31:30+02:",
                           "2009-02-13T23:31:30+02:0",
                           "2009-02-13T23:31:30+24:00",
                           "2009-02-13T23:31:30+02:60",
                           "2009-02-13T23:31:30+02:00Z",
                           "2009-02-13T23:31:30 +02:00",
                           "1601-01-01T00:00:00+00:01",
                           "2009-00-13",
                           "2009-13-13",
                           "2009-02-00",
                           "2009-02-29",
                           "2100-02-29",
                           "2009-04-31",
                           "1600-12-31",
                           "2009-02-13T24:00",
                           "2009-02-13T23:60",
                           "2009-02-13T23:31:60",
                           "+009-02-13",
                           "2009-02-13x",
                           " 2009-02-13"}) {
    EXPECT_EQ(ParseUtc(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace corvane
