#include "analysis/gaps.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "analysis/made_items.h"

namespace corvane {
namespace {

using ::testing::IsEmpty;

constexpr std::uint64_t kLimit = 5000;

class GapsTest : public ::testing::Test {
 protected:
  void Text(std::uint64_t time, const std::string& text) { gaps.Add(items.Text(time, text)); }
  void Packets(std::initializer_list<std::uint64_t> times) {
    for (const std::uint64_t time : times) {
      gaps.Add(items.Make(kPacket, time, {0x10}));
    }
  }
  // The one gap that there is.
  [[nodiscard]] sGap Only() const {
    EXPECT_EQ(gaps.Kept().size(), 1U);
    EXPECT_EQ(gaps.Count(), 1U);
    return gaps.Kept().empty() ? sGap() : gaps.Kept().front();
  }

  cMadeItems items;
  cGaps gaps{kLimit};
};

TEST_F(GapsTest, AGapIsLongerThanTheLimit) {
  Packets({0, 5000, 10'001, 10'002});
  EXPECT_EQ(Only().before, 1U);
  EXPECT_EQ(Only().after, 2U);
  EXPECT_EQ(Only().start, 5000U);
  EXPECT_EQ(Only().end, 10'001U);
  EXPECT_EQ(Only().Length(), 5001U);
  EXPECT_FALSE(Only().hasConnectionChange);
  EXPECT_EQ(gaps.Total(), 5001U);
  EXPECT_EQ(gaps.Longest(), 5001U);
}

TEST_F(GapsTest, ADisconnectionLiesInItsGap) {
  Packets({0});
  Text(3000, "Port COM7 disconnected");
  Text(6000, "Port COM7 connected");
  Packets({6100});
  EXPECT_EQ(Only().Length(), 6100U);
  EXPECT_EQ(Only().before, 0U);
  EXPECT_EQ(Only().after, 3U);
  EXPECT_TRUE(Only().hasConnectionChange);
  Packets({20'000});
  ASSERT_EQ(gaps.Kept().size(), 2U);
  EXPECT_FALSE(gaps.Kept()[1].hasConnectionChange);
}

TEST_F(GapsTest, ATextThatIsPassedBoundsNoGap) {
  gaps.Pass(items.Text(0, "Port COM7 connected"));
  Packets({9000});
  EXPECT_EQ(gaps.Count(), 0U);
  gaps.Pass(items.Text(12'000, "Port COM7 disconnected"));
  EXPECT_EQ(gaps.Count(), 0U);
  Packets({15'000});
  EXPECT_EQ(Only().Length(), 6000U);
  EXPECT_TRUE(Only().hasConnectionChange);
}

TEST_F(GapsTest, OtherTextsChangeNoConnection) {
  Text(0, "Merged from a.isf");
  Text(0, "Port COM7 connected");
  Packets({0});
  Text(3000, "Subscription 2");
  Text(3000, "Merged from b.isf");
  Text(3000, "Merged from a.isf");
  Text(3000, "Port COM7 connected");
  Packets({6000});
  EXPECT_FALSE(Only().hasConnectionChange);
}

TEST_F(GapsTest, WaitingForTheFirstPacketIsAGap) {
  Text(0, "Corvane version 1.0");
  Text(9000, "Port COM7 connected");
  Packets({9001});
  EXPECT_EQ(Only().Length(), 9001U);
  EXPECT_TRUE(Only().hasConnectionChange);
}

TEST_F(GapsTest, ACaptureMayEndInAGap) {
  Packets({0, 100});
  Text(8000, "Port COM7 disconnected");
  EXPECT_EQ(Only().before, 1U);
  EXPECT_EQ(Only().after, 2U);
  EXPECT_EQ(Only().Length(), 7900U);
  EXPECT_EQ(gaps.Total(), 7900U);
  EXPECT_EQ(gaps.Longest(), 7900U);
}

TEST_F(GapsTest, AClockThatIsSetBackMakesNoGap) {
  Packets({100'000, 40'000, 42'000});
  EXPECT_EQ(gaps.Count(), 0U);
  ASSERT_EQ(gaps.ClockSteps().size(), 1U);
  EXPECT_EQ(gaps.ClockSteps()[0].before, 0U);
  EXPECT_EQ(gaps.ClockSteps()[0].after, 1U);
  EXPECT_EQ(gaps.ClockSteps()[0].from, 100'000U);
  EXPECT_EQ(gaps.ClockSteps()[0].to, 40'000U);
  Packets({48'000});
  EXPECT_EQ(Only().start, 42'000U);
}

TEST_F(GapsTest, ATextShowsThatTheClockWasSetBack) {
  Packets({100'000});
  Text(40'000, "Port COM7 disconnected");
  Packets({46'000});
  EXPECT_EQ(gaps.ClockStepCount(), 1U);
  EXPECT_EQ(Only().start, 40'000U);
  EXPECT_TRUE(Only().hasConnectionChange);
}

TEST_F(GapsTest, ImportedTimesMayBeALittleOutOfOrder) {
  Text(0, "Imported from drive.hdlc");
  Packets({1000, 60'000, 59'000, 1000, 66'000});
  EXPECT_EQ(gaps.ClockStepCount(), 0U);
  // From 1000 to 60,000, and from there to 66,000.
  ASSERT_EQ(gaps.Kept().size(), 2U);
  EXPECT_EQ(gaps.Kept()[1].start, 60'000U);
  EXPECT_EQ(gaps.Kept()[1].before, 2U);
  EXPECT_EQ(gaps.Kept()[1].after, 5U);
  Packets({5999});
  EXPECT_EQ(gaps.ClockStepCount(), 1U);
}

TEST_F(GapsTest, GapsWithoutEndAreCounted) {
  for (std::uint64_t number = 0; number < cGaps::kMostKept + 5; ++number) {
    Packets({number * 10'000});
  }
  EXPECT_EQ(gaps.Kept().size(), cGaps::kMostKept);
  EXPECT_EQ(gaps.Count(), cGaps::kMostKept + 4);
  EXPECT_EQ(gaps.Total(), (cGaps::kMostKept + 4) * 10'000);
}

TEST_F(GapsTest, ClockStepsWithoutEndAreCounted) {
  for (std::uint64_t number = 0; number < cGaps::kMostKept + 5; ++number) {
    Packets({2, 1});
  }
  EXPECT_EQ(gaps.ClockSteps().size(), cGaps::kMostKept);
  EXPECT_EQ(gaps.ClockStepCount(), cGaps::kMostKept + 5);
}

TEST_F(GapsTest, OneItemHasNoGap) {
  EXPECT_THAT(gaps.Kept(), IsEmpty());
  Packets({77});
  EXPECT_THAT(gaps.Kept(), IsEmpty());
  EXPECT_EQ(gaps.Longest(), 0U);
}

TEST_F(GapsTest, AClockThatLeapsToAndFroDoesNotOverflow) {
  constexpr std::uint64_t kEnd = UINT64_MAX / 10'000;
  for (int leap = 0; leap < 11'000; ++leap) {
    Packets({0, kEnd});
  }
  EXPECT_EQ(gaps.Total(), UINT64_MAX);
  EXPECT_EQ(gaps.Longest(), kEnd);
}

}  // namespace
}  // namespace corvane
