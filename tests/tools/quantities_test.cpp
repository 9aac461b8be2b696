#include "common/quantities.h"

#include <gtest/gtest.h>

namespace corvane::tools {
namespace {

using std::chrono::milliseconds;

TEST(DurationTest, ReadsNumberAndUnit) {
  EXPECT_EQ(ParseDuration("500ms"), milliseconds(500));
  EXPECT_EQ(ParseDuration("10s"), milliseconds(10'000));
  EXPECT_EQ(ParseDuration("5m"), milliseconds(300'000));
  EXPECT_EQ(ParseDuration("2h"), milliseconds(7'200'000));
}

TEST(DurationTest, ANumberAloneIsSeconds) { EXPECT_EQ(ParseDuration("7"), milliseconds(7'000)); }

TEST(DurationTest, RefusesEverythingElse) {
  for (const char* text :
       {"", "s", "-1s", "+1s", "1 s", "1.s", ".5s", "1.5.5s", "1.0000000001s", "10S", "1d", "1h30m",
        "0x10s", " 1s", "4294967296ms", "99999999999999999999s"}) {
    EXPECT_EQ(ParseDuration(text), std::nullopt) << text;
  }
}

TEST(DurationTest, AFractionIsReadToTheMillisecond) {
  EXPECT_EQ(ParseDuration("1.5s"), milliseconds(1'500));
  EXPECT_EQ(ParseDuration("0.25h"), milliseconds(900'000));
  EXPECT_EQ(ParseDuration("1.75"), milliseconds(1'750));
  EXPECT_EQ(ParseDuration("2.0019s"), milliseconds(2'001));
  EXPECT_EQ(ParseDuration("0.999999999h"), milliseconds(3'599'999));
  EXPECT_EQ(ParseDuration("1000.1h"), std::nullopt);
}

TEST(DurationTest, TheLongestIsAThousandHours) {
  EXPECT_EQ(ParseDuration("1000h"), milliseconds(3'600'000'000));
  EXPECT_EQ(ParseDuration("1001h"), std::nullopt);
  EXPECT_EQ(ParseDuration("4294967295h"), std::nullopt);
}

TEST(ByteCountTest, ReadsBytesThousandsMillionsAndBillions) {
  EXPECT_EQ(ParseByteCount("0"), 0U);
  EXPECT_EQ(ParseByteCount("500"), 500U);
  EXPECT_EQ(ParseByteCount("64k"), 64'000U);
  EXPECT_EQ(ParseByteCount("200M"), 200'000'000U);
  EXPECT_EQ(ParseByteCount("3G"), 3'000'000'000U);
}

TEST(ByteCountTest, LetterCaseAndABMakeNoDifference) {
  for (const char* text : {"2K", "2kB", "2KB", "2kb", "2000B", "2000b"}) {
    EXPECT_EQ(ParseByteCount(text), 2'000U) << text;
  }
  EXPECT_EQ(ParseByteCount("2m"), 2'000'000U);
  EXPECT_EQ(ParseByteCount("2gb"), 2'000'000'000U);
}

TEST(ByteCountTest, RefusesEverythingElse) {
  for (const char* text : {"", "M", "B", "-1", "+1", "1.5G", "1 M", " 1M", "1MM", "1MiB", "1T", "x",
                           "99999999999999999999"}) {
    EXPECT_EQ(ParseByteCount(text), std::nullopt) << text;
  }
}

TEST(ByteCountTest, TheLargestFits64Bits) {
  EXPECT_EQ(ParseByteCount("18446744073709551615"), 18'446'744'073'709'551'615U);
  EXPECT_EQ(ParseByteCount("18446744073G"), 18'446'744'073'000'000'000U);
  EXPECT_EQ(ParseByteCount("18446744074G"), std::nullopt);
}

TEST(UnsignedTest, ReadsTheWholeTextOrNothing) {
  EXPECT_EQ(ParseUnsigned<std::uint16_t>("65535"), 65535);
  EXPECT_EQ(ParseUnsigned<std::uint16_t>("fF", 16), 255);
  for (const char* text : {"", "65536", "-1", "+1", " 1", "1 ", "0x1"}) {
    EXPECT_EQ(ParseUnsigned<std::uint16_t>(text), std::nullopt) << text;
  }
}

TEST(DecimalTest, ReadsAFractionUpToItsBound) {
  EXPECT_EQ(ParseDecimal("2.5", 100), 2.5);
  EXPECT_EQ(ParseDecimal("100", 100), 100.0);
  for (const char* text : {"", "100.1", "-1", "1e1", "nan", "inf", "1%", " 1"}) {
    EXPECT_EQ(ParseDecimal(text, 100), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace corvane::tools
