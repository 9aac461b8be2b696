#include "analysis/time_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "analysis/made_items.h"
#include "analysis/time_span.h"
#include "analysis/time_spread.h"

namespace corvane {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

template <typename Line>
void AddTimes(Line& line, std::initializer_list<std::uint64_t> times) {
  cMadeItems items;
  for (const std::uint64_t time : times) {
    line.Add(items.Make(kPacket, time, {0x10, 0}));
  }
}

[[nodiscard]] std::vector<std::uint64_t> ItemsOf(const sTimeLine& line) {
  std::vector<std::uint64_t> counts;
  for (const sTimeBucket& bucket : line.buckets) {
    counts.push_back(bucket.items);
  }
  return counts;
}

[[nodiscard]] std::vector<std::pair<std::int64_t, std::uint64_t>> ItemsOf(
    const cIntervals& intervals) {
  std::vector<std::pair<std::int64_t, std::uint64_t>> counts;
  for (const auto& [number, bucket] : intervals.Kept()) {
    counts.emplace_back(number, bucket.items);
  }
  return counts;
}

TEST(IntervalsTest, TheyBeginAtTheFirstItem) {
  cIntervals intervals(10);
  AddTimes(intervals, {105, 114, 115, 137, 116});
  EXPECT_THAT(ItemsOf(intervals), ElementsAre(Pair(0, 2U), Pair(1, 2U), Pair(3, 1U)));
  EXPECT_EQ(intervals.StartOf(0), 105U);
  EXPECT_EQ(intervals.StartOf(3), 135U);
  EXPECT_EQ(intervals.Kept().at(0).bytes, 4U);
  EXPECT_EQ(intervals.Kept().at(0).byType[kPacket], 2U);
}

TEST(IntervalsTest, EarlierItemsMakeIntervalsInFront) {
  cIntervals intervals(10);
  AddTimes(intervals, {105, 104, 95, 94});
  EXPECT_THAT(ItemsOf(intervals), ElementsAre(Pair(-2, 1U), Pair(-1, 2U), Pair(0, 1U)));
  EXPECT_EQ(intervals.StartOf(-2), 85U);
  EXPECT_EQ(intervals.StartOf(-11), 0U);
}

TEST(IntervalsTest, IntervalsWithoutEndAreCounted) {
  cIntervals intervals(1);
  for (std::uint64_t time = 0; time < cIntervals::kMostIntervals; ++time) {
    AddTimes(intervals, {time});
  }
  AddTimes(intervals, {900'000, 5, 900'001});
  EXPECT_EQ(intervals.Kept().size(), cIntervals::kMostIntervals);
  EXPECT_EQ(intervals.Elsewhere().items, 2U);
  EXPECT_EQ(intervals.Kept().at(5).items, 2U);
  EXPECT_EQ(intervals.Kept().at(0).items, 1U);
}

TEST(TimeLinesTest, IntervalsDoubleAsTheCaptureGrows) {
  cTimeLines lines(4, 10);
  AddTimes(lines, {100, 110, 120, 139});
  ASSERT_EQ(lines.Lines().size(), 1U);
  EXPECT_EQ(lines.Lines()[0].width, 10U);
  EXPECT_THAT(ItemsOf(lines.Lines()[0]), ElementsAre(1U, 1U, 1U, 1U));
  AddTimes(lines, {140});
  EXPECT_EQ(lines.Lines()[0].width, 20U);
  EXPECT_THAT(ItemsOf(lines.Lines()[0]), ElementsAre(2U, 2U, 1U));
  AddTimes(lines, {1000});
  // 900 ms in 4 intervals: 10 ms doubled five times.
  EXPECT_EQ(lines.Lines()[0].width, 320U);
  EXPECT_THAT(ItemsOf(lines.Lines()[0]), ElementsAre(5U, 0U, 1U));
  EXPECT_EQ(lines.Lines()[0].start, 100U);
  EXPECT_EQ(lines.Lines()[0].last, 1000U);
  EXPECT_EQ(lines.Lines()[0].Items(), 6U);
  EXPECT_EQ(lines.Lines()[0].buckets[0].bytes, 10U);
  EXPECT_EQ(lines.Lines()[0].buckets[0].byType[kPacket], 5U);
}

TEST(TimeLinesTest, EarlierItemsFindRoom) {
  cTimeLines lines(4, 10);
  AddTimes(lines, {100, 95, 71});
  ASSERT_EQ(lines.Lines().size(), 1U);
  EXPECT_EQ(lines.Lines()[0].start, 70U);
  EXPECT_EQ(lines.Lines()[0].first, 71U);
  EXPECT_THAT(ItemsOf(lines.Lines()[0]), ElementsAre(1U, 0U, 1U, 1U));
  AddTimes(lines, {3});
  EXPECT_EQ(lines.Lines()[0].width, 40U);
  EXPECT_EQ(lines.Lines()[0].Items(), 4U);
}

TEST(TimeLinesTest, TheBeginningOfTimeIsNoTrap) {
  cTimeLines lines(4, 1000);
  AddTimes(lines, {1500, 0, 3999});
  ASSERT_EQ(lines.Lines().size(), 1U);
  EXPECT_EQ(lines.Lines()[0].Items(), 3U);
  EXPECT_EQ(lines.Lines()[0].start, 0U);
}

TEST(TimeLinesTest, AClockThatIsSetBeginsAnotherLine) {
  constexpr std::uint64_t kDay = 24 * 60 * 60 * 1000;
  cTimeLines lines(8, 1000);
  AddTimes(lines,
           {5000, 6000, 5000 + 30 * kDay, 7000, 6000 + 30 * kDay, 5000 + 30 * kDay - kDay / 2});
  ASSERT_EQ(lines.Lines().size(), 2U);
  EXPECT_EQ(lines.Lines()[0].Items(), 3U);
  EXPECT_EQ(lines.Lines()[1].Items(), 3U);
  EXPECT_EQ(lines.ItemsElsewhere(), 0U);
}

TEST(TimeLinesTest, LinesWithoutEndAreCounted) {
  constexpr std::uint64_t kDay = 24 * 60 * 60 * 1000;
  cTimeLines lines(8, 1000);
  for (std::uint64_t leap = 0; leap < cTimeLines::kMostLines + 3; ++leap) {
    AddTimes(lines, {leap * 10 * kDay});
  }
  EXPECT_EQ(lines.Lines().size(), cTimeLines::kMostLines);
  EXPECT_EQ(lines.ItemsElsewhere(), 3U);
}

TEST(TimeSpanTest, LeapsOfTheClockAreLeftOut) {
  constexpr std::uint64_t kDay = 24 * 60 * 60 * 1000;
  cTimeSpan span;
  EXPECT_EQ(span.Length(), 0U);
  for (const std::uint64_t time : {100U, 400U, 200U}) {
    span.Add(time);
  }
  EXPECT_EQ(span.Length(), 300U);
  span.Add(10 * kDay);
  EXPECT_EQ(span.Length(), 300U);
  span.Add(10 * kDay + 50);
  EXPECT_EQ(span.Length(), 350U);
  span.Add(50);
  EXPECT_EQ(span.Length(), 400U);
}

TEST(TimeSpanTest, StretchesThatMeetBecomeOne) {
  constexpr std::uint64_t kHour = 60 * 60 * 1000;
  cTimeSpan span;
  span.Add(0);
  span.Add(40 * kHour);
  EXPECT_EQ(span.Length(), 0U);
  span.Add(20 * kHour);
  EXPECT_EQ(span.Length(), 40 * kHour);
}

TEST(TimeSpreadTest, SmallValuesAreExact) {
  cTimeSpread spread;
  EXPECT_EQ(spread.Least(), 0U);
  EXPECT_EQ(spread.Median(), 0U);
  EXPECT_EQ(spread.Percentile(95), 0U);
  for (std::uint64_t value = 1; value <= 10; ++value) {
    spread.Add(value);
  }
  EXPECT_EQ(spread.Least(), 1U);
  EXPECT_EQ(spread.Median(), 5U);
  EXPECT_EQ(spread.Percentile(95), 10U);
  EXPECT_EQ(spread.Percentile(1), 1U);
  EXPECT_EQ(spread.Greatest(), 10U);
}

TEST(TimeSpreadTest, GreatValuesAreNear) {
  for (const std::uint64_t value : {16ULL, 17ULL, 31ULL, 32ULL, 1000ULL, 65'537ULL, ~0ULL}) {
    cTimeSpread spread;
    spread.Add(value);
    spread.Add(~0ULL);
    EXPECT_GE(spread.Percentile(50), value);
    EXPECT_LE(spread.Percentile(50) - value, value / 8) << value;
    EXPECT_EQ(spread.Greatest(), ~0ULL);
  }
}

TEST(TimeSpreadTest, APercentileIsNeverAboveTheGreatest) {
  cTimeSpread spread;
  for (int times = 0; times < 1000; ++times) {
    spread.Add(1000);
  }
  EXPECT_EQ(spread.Median(), 1000U);
  EXPECT_EQ(spread.Percentile(100), 1000U);
}

}  // namespace
}  // namespace corvane
