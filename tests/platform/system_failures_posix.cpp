#include <gtest/gtest.h>
#include <time.h>

#include "platform/calendar.h"

namespace {

bool localTimeFails = false;

}  // namespace

// The linker's --wrap leads the calls of localtime_r here.
extern "C" {
tm* __real_localtime_r(const time_t* timer, tm* result);
tm* __wrap_localtime_r(const time_t* timer, tm* result);
}

tm* __wrap_localtime_r(const time_t* timer, tm* result) {
  if (!localTimeFails) {
    return __real_localtime_r(timer, result);
  }
  result->tm_year = 99;  // a failed conversion leaves anything there
  return nullptr;
}

namespace corvane {
namespace {

TEST(SystemFailuresTest, WithoutALocalTimeAllCalendarFieldsAreZero) {
  localTimeFails = true;
  const std::tm local = LocalCalendarTime();
  localTimeFails = false;
  for (const int field : {local.tm_sec, local.tm_min, local.tm_hour, local.tm_mday, local.tm_mon,
                          local.tm_year, local.tm_wday, local.tm_yday, local.tm_isdst}) {
    EXPECT_EQ(field, 0);
  }
}

}  // namespace
}  // namespace corvane
