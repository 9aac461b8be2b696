#include "filters/section_items.h"

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

TEST(SectionItemsTest, TheClosingTagOfANestedSectionEndsTheOuterOneAndTheNextTheScan) {
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

}  // namespace
}  // namespace corvane
