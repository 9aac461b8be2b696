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

}  // namespace
}  // namespace corvane::tools
