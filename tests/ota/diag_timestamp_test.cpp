#include "ota/diag_timestamp.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace corvane {
namespace {

constexpr std::uint64_t kEpoch = 119604384000000000;

TEST(DiagTimestamp, ThereIsNoneBeforeTheGpsEpoch) {
  EXPECT_FALSE(DiagTimestampFromFileTime(0));
  EXPECT_FALSE(DiagTimestampFromFileTime(kEpoch - 1));
}

TEST(DiagTimestamp, StartsAtZeroWithTheGpsEpoch) {
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch), 0u);
}

// 12499 * 49152 / 12500 = 49148.07
TEST(DiagTimestamp, AFileTimeOf12499StepsBehindTheEpochGives49148) {
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch + 12499), 49148u);
}

TEST(DiagTimestamp, CountsUnitsOf12500StepsInTheUpper48Bits) {
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch + 12500), 0x10000u);
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch + 24999), 0x10000u + 49148u);
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch + 25000), 0x20000u);
}

// One step is 3.93 fractions, half a unit 24576, and 3125 steps a quarter of a unit.
TEST(DiagTimestamp, TruncatesTheFraction) {
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch + 1), 3u);
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch + 2), 7u);
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch + 3), 11u);
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch + 3125), 12288u);
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch + 6250), 24576u);
}

// From 1980-01-06 to 2024-01-01 are 16066 days (44 years of 365 days, 11 leap days, less 5 days) of
// 69,120,000 units each.
TEST(DiagTimestamp, ConvertsADateOfToday) {
  constexpr std::uint64_t kStepsPerDay = 864'000'000'000;
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch + 16066 * kStepsPerDay),
            std::uint64_t{1'110'481'920'000} << 16);
}

// 18,327,139,689,709,551,615 steps behind the epoch are 1,466,171,175,176,764 units, of which the
// lowest 48 bits stay, and 1615 steps.
TEST(DiagTimestamp, TakesTheLargestFileTimeThereIs) {
  EXPECT_EQ(DiagTimestampFromFileTime(0xFFFFFFFFFFFFFFFF),
            (std::uint64_t{58'796'291'623'484} << 16) + 6350);
}

}  // namespace
}  // namespace corvane
