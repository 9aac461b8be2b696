#include <gtest/gtest.h>
#include <time.h>

#include "platform/clock.h"
#include "platform/posix_calls.h"
#include "support/replaced_call.h"

namespace corvane {
namespace {

tm* RefuseLocalTime(const time_t*, tm* result) {
  result->tm_year = 99;  // a failed conversion leaves anything there
  return nullptr;
}

TEST(SystemFailuresTest, WithoutALocalTimeAllCalendarFieldsAreZero) {
  const cReplacedCall refusal(PosixCalls().localtime_r, RefuseLocalTime);
  const std::tm local = LocalCalendarTime();
  for (const int field : {local.tm_sec, local.tm_min, local.tm_hour, local.tm_mday, local.tm_mon,
                          local.tm_year, local.tm_wday, local.tm_yday, local.tm_isdst}) {
    EXPECT_EQ(field, 0);
  }
}

}  // namespace
}  // namespace corvane
