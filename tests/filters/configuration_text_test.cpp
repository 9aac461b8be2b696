#include "filters/configuration_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "support/failing_allocation.h"

namespace corvane {
namespace {

using ItemList = std::vector<std::string>;

ItemList LogCodeItems(std::string_view text) { return ExtractSectionItems(text, "LogCodes"); }

TEST(SectionItemsTest, AnEmptyTextHasNoItems) { EXPECT_EQ(LogCodeItems(""), ItemList{}); }

TEST(SectionItemsTest, ATextWithoutTheSectionHasNoItems) {
  EXPECT_EQ(LogCodeItems("1,2,3 <EventIDs>4</EventIDs>"), ItemList{});
}

TEST(SectionItemsTest, ItemsAreSplitAtCommasAndKeepTheirOrder) {
  EXPECT_EQ(LogCodeItems("<LogCodes>3,1,2</LogCodes>"), (ItemList{"3", "1", "2"}));
}

TEST(SectionItemsTest, ItemsKeepTheirWhiteSpaceAndLineBreaks) {
  EXPECT_EQ(LogCodeItems("<LogCodes> 3 ,\t1\r\n,\n</LogCodes>"),
            (ItemList{" 3 ", "\t1\r\n", "\n"}));
}

TEST(SectionItemsTest, EmptyItemsDoNotExist) {
  EXPECT_EQ(LogCodeItems("<LogCodes>,,1,,,2,,</LogCodes>"), (ItemList{"1", "2"}));
  EXPECT_EQ(LogCodeItems("<LogCodes>,</LogCodes>"), ItemList{});
}

TEST(SectionItemsTest, AnEmptyBodyHasNoItems) {
  EXPECT_EQ(LogCodeItems("<LogCodes></LogCodes>"), ItemList{});
}

TEST(SectionItemsTest, AnEmptyBodyDoesNotEndTheScan) {
  EXPECT_EQ(LogCodeItems("<LogCodes></LogCodes><LogCodes>1</LogCodes>"), ItemList{"1"});
}

TEST(SectionItemsTest, WhatStandsOutsideTheSectionIsIgnored) {
  EXPECT_EQ(LogCodeItems("7,8 <LogCodes>1</LogCodes> 9,10 <LogCodes>2</LogCodes> 11"),
            (ItemList{"1", "2"}));
}

TEST(SectionItemsTest, SectionsOfOtherNamesAreIgnored) {
  EXPECT_EQ(LogCodeItems("<EventIDs>7</EventIDs><LogCodes>1</LogCodes><LogCode>8</LogCode>"),
            ItemList{"1"});
}

TEST(SectionItemsTest, AllSectionsOfTheNameContributeInTheOrderOfTheText) {
  EXPECT_EQ(LogCodeItems("<LogCodes>2</LogCodes><LogCodes>1,3</LogCodes>"),
            (ItemList{"2", "1", "3"}));
}

TEST(SectionItemsTest, TagsAreMatchedByteForByte) {
  EXPECT_EQ(LogCodeItems("<logcodes>1</logcodes>"), ItemList{});
  EXPECT_EQ(LogCodeItems("<LogCodes >1</LogCodes >"), ItemList{});
  EXPECT_EQ(LogCodeItems("< LogCodes>1</LogCodes>"), ItemList{});
  EXPECT_EQ(LogCodeItems("<LogCodes>1</logcodes>"), ItemList{});
}

TEST(SectionItemsTest, AnOpeningTagWithoutAClosingTagHasNoItems) {
  EXPECT_EQ(LogCodeItems("<LogCodes>1,2"), ItemList{});
  EXPECT_EQ(LogCodeItems("<LogCodes>"), ItemList{});
}

TEST(SectionItemsTest, AClosingTagWithoutAnOpeningTagHasNoItems) {
  EXPECT_EQ(LogCodeItems("1,2</LogCodes>"), ItemList{});
}

TEST(SectionItemsTest, AnUnterminatedSectionBehindACompleteOneAddsNothing) {
  EXPECT_EQ(LogCodeItems("<LogCodes>1</LogCodes><LogCodes>2"), ItemList{"1"});
}

TEST(SectionItemsTest, AClosingTagBeforeTheOpeningTagEndsTheScan) {
  EXPECT_EQ(LogCodeItems("</LogCodes><LogCodes>1</LogCodes>"), ItemList{});
}

TEST(SectionItemsTest, AStrayClosingTagBehindACompleteSectionEndsTheScanThere) {
  EXPECT_EQ(LogCodeItems("<LogCodes>1</LogCodes> </LogCodes> <LogCodes>2</LogCodes>"),
            ItemList{"1"});
}

TEST(SectionItemsTest, SectionsDoNotNest) {
  EXPECT_EQ(LogCodeItems("<LogCodes>1,2<LogCodes>3,4</LogCodes>"),
            (ItemList{"1", "2<LogCodes>3", "4"}));
}

TEST(SectionItemsTest, ANestedSectionsClosingTagEndsTheOuterOneTheNextTheScan) {
  EXPECT_EQ(LogCodeItems("<LogCodes>1<LogCodes>2</LogCodes>3</LogCodes><LogCodes>4</LogCodes>"),
            ItemList{"1<LogCodes>2"});
}

TEST(SectionItemsTest, TheTagsOfOtherSectionsArePartOfAnItem) {
  EXPECT_EQ(LogCodeItems("<LogCodes>1<EventIDs>2</EventIDs></LogCodes>"),
            ItemList{"1<EventIDs>2</EventIDs>"});
}

TEST(SectionItemsTest, ANulEndsTheItemsOfItsBodyOnly) {
  using namespace std::string_view_literals;
  EXPECT_EQ(LogCodeItems("<LogCodes>1,2\0,3</LogCodes><LogCodes>4</LogCodes>"sv),
            (ItemList{"1", "2", "4"}));
  EXPECT_EQ(LogCodeItems("<LogCodes>\0001</LogCodes>"sv), ItemList{});
  EXPECT_EQ(LogCodeItems("\0<LogCodes>1</LogCodes>\0"sv), ItemList{"1"});
}

TEST(SectionItemsTest, AnAllocationFailurePassesThroughAndLosesNoMemory) {
  const std::string text =
      "<LogCodes>an item too long to be kept without memory of its own,2,3,4,5</LogCodes>";
  std::uint32_t failures = 0;
  for (bool reached = true; reached; ++failures) {
    const std::int64_t before = LiveNewAllocations();
    cAllocationFailure failure(eHeap::New, failures + 1);
    bool thrown = false;
    try {
      std::ignore = ExtractSectionItems(text, "LogCodes");
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
    reached = failure.Disarm();
    EXPECT_EQ(thrown, reached);
    EXPECT_EQ(LiveNewAllocations(), before);
  }
  EXPECT_GT(failures, 3U);
}

using PieceList = std::vector<std::string_view>;

TEST(TokensTest, PiecesStandBetweenTheSeparators) {
  EXPECT_EQ(SplitAtRuns("a,b,c", ','), (PieceList{"a", "b", "c"}));
}

TEST(TokensTest, ARunOfSeparatorsCountsAsOne) {
  EXPECT_EQ(SplitAtRuns("a,,,b", ','), (PieceList{"a", "b"}));
}

TEST(TokensTest, SeparatorsAtTheEndsMakeNoEmptyPieces) {
  EXPECT_EQ(SplitAtRuns(",,a,b,,", ','), (PieceList{"a", "b"}));
}

TEST(TokensTest, TextWithoutASeparatorIsOnePiece) {
  EXPECT_EQ(SplitAtRuns(" a b\n", ','), (PieceList{" a b\n"}));
}

TEST(TokensTest, NothingButSeparatorsOrNothingAtAllHasNoPieces) {
  EXPECT_TRUE(SplitAtRuns(",,,", ',').empty());
  EXPECT_TRUE(SplitAtRuns("", ',').empty());
}

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
