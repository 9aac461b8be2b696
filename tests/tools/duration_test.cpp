#include "../../tools/corvane/duration.h"

#include <gtest/gtest.h>

namespace corvane::tools {
namespace {

using std::chrono::milliseconds;

TEST(Duration, ReadsNumberAndUnit) {
  EXPECT_EQ(ParseDuration("500ms"), milliseconds(500));
  EXPECT_EQ(ParseDuration("10s"), milliseconds(10'000));
  EXPECT_EQ(ParseDuration("5m"), milliseconds(300'000));
  EXPECT_EQ(ParseDuration("2h"), milliseconds(7'200'000));
}

TEST(Duration, ANumberAloneIsSeconds) { EXPECT_EQ(ParseDuration("7"), milliseconds(7'000)); }

TEST(Duration, RefusesEverythingElse) {
  for (const char* text : {"", "s", "-1s", "+1s", "1 s", "1.5s", "10S", "1d", "1h30m", "0x10s",
                           " 1s", "4294967296ms", "99999999999999999999s"}) {
    EXPECT_EQ(ParseDuration(text), std::nullopt) << text;
  }
}

TEST(Duration, TheLongestIsAThousandHours) {
  EXPECT_EQ(ParseDuration("1000h"), milliseconds(3'600'000'000));
  EXPECT_EQ(ParseDuration("1001h"), std::nullopt);
  EXPECT_EQ(ParseDuration("4294967295h"), std::nullopt);
}

TEST(Duration, ElapsedTimeIsShownInWholeSeconds) {
  EXPECT_EQ(FormatElapsed(milliseconds(0)), "0:00:00");
  EXPECT_EQ(FormatElapsed(milliseconds(7'999)), "0:00:07");
  EXPECT_EQ(FormatElapsed(milliseconds(3'600'000 + 62'000)), "1:01:02");
  EXPECT_EQ(FormatElapsed(milliseconds(100ULL * 3'600'000)), "100:00:00");
}

}  // namespace
}  // namespace corvane::tools
