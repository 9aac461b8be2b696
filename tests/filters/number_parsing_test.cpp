#include "filters/number_parsing.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string_view>

namespace corvane {
namespace {

std::uint32_t Decimal(std::string_view text) { return ParseUnsigned32(text, 10); }
std::uint32_t Hexadecimal(std::string_view text) { return ParseUnsigned32(text, 16); }

TEST(NumberParsingTest, DigitsOfTheBaseAreRead) {
  EXPECT_EQ(Decimal("1234567890"), 1234567890U);
  EXPECT_EQ(Hexadecimal("12345678"), 0x12345678U);
  EXPECT_EQ(Hexadecimal("9abcdef"), 0x9ABCDEFU);
  EXPECT_EQ(Hexadecimal("9ABCDEF"), 0x9ABCDEFU);
  EXPECT_EQ(Decimal("007"), 7U);
}

TEST(NumberParsingTest, LeadingWhiteSpaceOfEveryKindIsSkipped) {
  EXPECT_EQ(Decimal(" \t\n\v\f\r5"), 5U);
  EXPECT_EQ(Hexadecimal("\r\n 0x1F"), 0x1FU);
}

TEST(NumberParsingTest, OnlyTheWhiteSpaceOfTheCLocaleIsSkipped) {
  EXPECT_EQ(Decimal("\xA0"
                    "5"),
            0U);
  EXPECT_EQ(Decimal("\x85"
                    "5"),
            0U);
}

TEST(NumberParsingTest, APlusChangesNothing) {
  EXPECT_EQ(Decimal("+5"), 5U);
  EXPECT_EQ(Hexadecimal(" +0x1f"), 0x1FU);
}

TEST(NumberParsingTest, AMinusNegatesModulo2To32) {
  EXPECT_EQ(Decimal("-1"), 0xFFFFFFFFU);
  EXPECT_EQ(Decimal("-0"), 0U);
  EXPECT_EQ(Decimal("-4294967295"), 1U);
  EXPECT_EQ(Hexadecimal("-0x10"), 0xFFFFFFF0U);
}

TEST(NumberParsingTest, OnlyOneSignIsTakenAndNothingBetweenItAndTheDigits) {
  EXPECT_EQ(Decimal("--5"), 0U);
  EXPECT_EQ(Decimal("+-5"), 0U);
  EXPECT_EQ(Decimal("- 5"), 0U);
}

TEST(NumberParsingTest, Base16TakesAPrefixInEitherCaseOnce) {
  EXPECT_EQ(Hexadecimal("0x412F"), 0x412FU);
  EXPECT_EQ(Hexadecimal("0X412F"), 0x412FU);
  EXPECT_EQ(Hexadecimal("0x0x41"), 0U);
  EXPECT_EQ(Hexadecimal("x41"), 0U);
}

TEST(NumberParsingTest, APrefixWithoutDigitsIsZero) {
  EXPECT_EQ(Hexadecimal("0x"), 0U);
  EXPECT_EQ(Hexadecimal("0xg"), 0U);
  EXPECT_EQ(Hexadecimal("0x 5"), 0U);
  EXPECT_EQ(Hexadecimal("0x-5"), 0U);
}

TEST(NumberParsingTest, Base10TakesNoPrefix) { EXPECT_EQ(Decimal("0x10"), 0U); }

TEST(NumberParsingTest, ConversionStopsAtTheFirstCharacterThatIsNoDigit) {
  EXPECT_EQ(Decimal("12a34"), 12U);
  EXPECT_EQ(Decimal("12 34"), 12U);
  EXPECT_EQ(Decimal("12.9"), 12U);
  EXPECT_EQ(Hexadecimal("41G2"), 0x41U);
  EXPECT_EQ(Hexadecimal("41`2"), 0x41U);
  EXPECT_EQ(Hexadecimal("41@2"), 0x41U);
  EXPECT_EQ(Decimal("1:2"), 1U);
  EXPECT_EQ(Decimal("1/2"), 1U);
  EXPECT_EQ(Decimal(std::string_view("1\0"
                                     "2",
                                     3)),
            1U);
  EXPECT_EQ(Decimal("1\xFF"), 1U);
}

TEST(NumberParsingTest, NoDigitsAreZero) {
  EXPECT_EQ(Decimal(""), 0U);
  EXPECT_EQ(Decimal("   "), 0U);
  EXPECT_EQ(Decimal("-"), 0U);
  EXPECT_EQ(Decimal("abc"), 0U);
  EXPECT_EQ(Hexadecimal("xyz"), 0U);
}

TEST(NumberParsingTest, TheLargestNumberIsReadAsItIs) {
  EXPECT_EQ(Decimal("4294967295"), 0xFFFFFFFFU);
  EXPECT_EQ(Hexadecimal("FFFFFFFF"), 0xFFFFFFFFU);
  EXPECT_EQ(Decimal("4294967294"), 0xFFFFFFFEU);
}

TEST(NumberParsingTest, AnythingLargerIsTheLargestNumberWhateverItsSign) {
  EXPECT_EQ(Decimal("4294967296"), 0xFFFFFFFFU);
  EXPECT_EQ(Decimal("-4294967296"), 0xFFFFFFFFU);
  EXPECT_EQ(Hexadecimal("100000000"), 0xFFFFFFFFU);
  EXPECT_EQ(Decimal("18446744073709551616"), 0xFFFFFFFFU);
  EXPECT_EQ(Decimal("99999999999999999999999999999999999999999999"), 0xFFFFFFFFU);
}

}  // namespace
}  // namespace corvane
