#include "platform/calendar.h"

#include <gtest/gtest.h>

#include <ctime>

namespace corvane {
namespace {

TEST(CalendarTest, TheLocalTimeIsThatOfNow) {
  const std::time_t before = std::time(nullptr);
  std::tm local = LocalCalendarTime();
  const std::time_t after = std::time(nullptr);
  const std::time_t told = std::mktime(&local);
  EXPECT_GE(told, before);
  EXPECT_LE(told, after);
}

TEST(CalendarTest, TheDerivedFieldsAreFilledToo) {
  const std::tm local = LocalCalendarTime();
  std::tm complete{};
  complete.tm_year = local.tm_year;
  complete.tm_mon = local.tm_mon;
  complete.tm_mday = local.tm_mday;
  complete.tm_hour = local.tm_hour;
  complete.tm_min = local.tm_min;
  complete.tm_sec = local.tm_sec;
  complete.tm_isdst = local.tm_isdst;
  ASSERT_NE(std::mktime(&complete), std::time_t{-1});
  EXPECT_EQ(local.tm_wday, complete.tm_wday);
  EXPECT_EQ(local.tm_yday, complete.tm_yday);
}

}  // namespace
}  // namespace corvane
