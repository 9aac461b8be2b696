#include "corvane/capture_status.h"

#include <gtest/gtest.h>

namespace corvane::tools {
namespace {

using std::chrono::milliseconds;

TEST(CaptureStatus, OneLineTellsTimeItemsBytesAndRate) {
  const sProgress previous{milliseconds(6'000), 1'033, 100'000};
  const sProgress now{milliseconds(7'000), 1'204, 118'400};
  EXPECT_EQ(FormatStatus(now, previous), "0:00:07  1,204 items  118.4 kB  171 items/s");
}

TEST(CaptureStatus, TheRateIsThatSinceTheLineBefore) {
  EXPECT_EQ(FormatStatus({milliseconds(2'500), 20, 0}, {milliseconds(500), 10, 0}),
            "0:00:02  20 items  0 B  5 items/s");
}

TEST(CaptureStatus, NoTimePassedAndNoNewItemsGiveARateOfZero) {
  EXPECT_EQ(FormatStatus({milliseconds(0), 1, 5}, {}), "0:00:00  1 items  5 B  0 items/s");
  EXPECT_EQ(FormatStatus({milliseconds(9), 1, 5}, {milliseconds(0), 2, 5}),
            "0:00:00  1 items  5 B  0 items/s");
}

TEST(CaptureStatus, BytesAreShownInTheLargestFittingUnit) {
  EXPECT_EQ(FormatBytes(0), "0 B");
  EXPECT_EQ(FormatBytes(999), "999 B");
  EXPECT_EQ(FormatBytes(1'000), "1.0 kB");
  EXPECT_EQ(FormatBytes(999'949), "999.9 kB");
  EXPECT_EQ(FormatBytes(999'950), "1.0 MB");
  EXPECT_EQ(FormatBytes(1'500'000'000), "1.5 GB");
  EXPECT_EQ(FormatBytes(18'446'744'073'709'551'615ULL), "18.4 EB");
}

TEST(CaptureStatus, ThousandsAreSeparated) {
  EXPECT_EQ(FormatCount(0), "0");
  EXPECT_EQ(FormatCount(999), "999");
  EXPECT_EQ(FormatCount(1'000), "1,000");
  EXPECT_EQ(FormatCount(1'234'567), "1,234,567");
}

TEST(CaptureStatus, ElapsedTimeIsShownInWholeSeconds) {
  EXPECT_EQ(FormatElapsed(milliseconds(0)), "0:00:00");
  EXPECT_EQ(FormatElapsed(milliseconds(7'999)), "0:00:07");
  EXPECT_EQ(FormatElapsed(milliseconds(3'600'000 + 62'000)), "1:01:02");
  EXPECT_EQ(FormatElapsed(milliseconds(100ULL * 3'600'000)), "100:00:00");
}

}  // namespace
}  // namespace corvane::tools
