#include "filters/mask_lists.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <string>
#include <string_view>
#include <tuple>

#include "support/failing_allocation.h"

namespace corvane {
namespace {

EventIdSet EventIDs(const std::string& body) {
  return ParseEventIDs("<EventIDs>" + body + "</EventIDs>");
}
LogCodeSet LogCodes(const std::string& body) {
  return ParseLogCodes("<LogCodes>" + body + "</LogCodes>");
}
OtaTypeSet OTATypes(const std::string& body) {
  return ParseOTATypes("<OTATypes>" + body + "</OTATypes>");
}
MessageLevelMap MessageLevels(const std::string& body) {
  return ParseMessageLevels("<MessageLevels>" + body + "</MessageLevels>");
}

TEST(LogCodesTest, BaseSixteenAcceptsThePrefixOrNone) {
  EXPECT_EQ(LogCodes("412F,0x4130"), (LogCodeSet{0x412F, 0x4130}));
}

TEST(LogCodesTest, AnItemThatHoldsOnlyALineBreakConvertsToZeroAndIsKept) {
  EXPECT_EQ(LogCodes("0x412F,\n"), (LogCodeSet{0, 0x412F}));
}

TEST(LogCodesTest, EmptyItemsDoNotExist) { EXPECT_EQ(LogCodes("1,,2,"), (LogCodeSet{1, 2})); }

TEST(LogCodesTest, WhiteSpaceBeforeANumberIsSkipped) {
  EXPECT_EQ(LogCodes(" 0x412F,\r\n\t0x1234 "), (LogCodeSet{0x1234, 0x412F}));
}

TEST(LogCodesTest, AClosingTagBeforeTheFirstOpeningTagEndsTheScan) {
  EXPECT_EQ(ParseLogCodes("</LogCodes><LogCodes>1</LogCodes>"), LogCodeSet{});
}

TEST(LogCodesTest, TwoCompleteSectionsContributeBoth) {
  EXPECT_EQ(ParseLogCodes("<LogCodes>1</LogCodes><LogCodes>2</LogCodes>"), (LogCodeSet{1, 2}));
}

TEST(LogCodesTest, AnOpeningTagWithNoClosingTagGivesAnEmptySet) {
  EXPECT_EQ(ParseLogCodes("<LogCodes>1,2"), LogCodeSet{});
}

TEST(LogCodesTest, ASectionNameInOtherLetterCasesIsNotRecognised) {
  EXPECT_EQ(ParseLogCodes("<logcodes>1</logcodes>"), LogCodeSet{});
  EXPECT_EQ(ParseLogCodes("<LOGCODES>1</LOGCODES>"), LogCodeSet{});
}

TEST(LogCodesTest, AnInnerOpeningTagIsPartOfAnItemReadToItsLastDigit) {
  EXPECT_EQ(ParseLogCodes("<LogCodes>1,2<LogCodes>3,4</LogCodes>"), (LogCodeSet{1, 2, 4}));
}

TEST(EventIDsTest, BaseTenStopsAtTheX) { EXPECT_EQ(EventIDs("0x10"), EventIdSet{0}); }

TEST(EventIDsTest, DuplicatesCollapseAndTheSetAscends) {
  EXPECT_EQ(EventIDs("5,5,3"), (EventIdSet{3, 5}));
}

TEST(EventIDsTest, MinusOneIsTheLargestNumber) {
  EXPECT_EQ(EventIDs("-1"), EventIdSet{0xFFFFFFFF});
}

TEST(EventIDsTest, ANumberTooLargeIsSaturated) {
  EXPECT_EQ(EventIDs("4294967296"), EventIdSet{0xFFFFFFFF});
}

TEST(EventIDsTest, ItemsThatDoNotParseCountAsZero) {
  EXPECT_EQ(EventIDs("abc,7, "), (EventIdSet{0, 7}));
}

TEST(EventIDsTest, AMissingSectionGivesAnEmptySet) {
  EXPECT_EQ(ParseEventIDs(""), EventIdSet{});
  EXPECT_EQ(ParseEventIDs("<LogCodes>1</LogCodes>"), EventIdSet{});
}

TEST(MessageLevelsTest, LevelsAreCollectedBySubsystem) {
  EXPECT_EQ(MessageLevels("5000/3, 5000/4, 18/2"), (MessageLevelMap{{18, {2}}, {5000, {3, 4}}}));
}

TEST(MessageLevelsTest, AnItemOfOnePieceEmptiesTheMap) {
  EXPECT_EQ(MessageLevels("5000/3,18"), MessageLevelMap{});
}

TEST(MessageLevelsTest, ABareLineBreakIsAnItemOfOnePieceAndEmptiesTheMap) {
  EXPECT_EQ(MessageLevels("5000/3,\n"), MessageLevelMap{});
}

TEST(MessageLevelsTest, AnItemOfThreePiecesEmptiesTheMap) {
  EXPECT_EQ(MessageLevels("1/2/3"), MessageLevelMap{});
}

TEST(MessageLevelsTest, AnItemOfNoPiecesEmptiesTheMap) {
  EXPECT_EQ(MessageLevels("5000/3,/"), MessageLevelMap{});
}

TEST(MessageLevelsTest, ADoubledSeparatorCountsOnce) {
  EXPECT_EQ(MessageLevels("5000//3"), (MessageLevelMap{{5000, {3}}}));
}

TEST(MessageLevelsTest, SeparatorsAtTheEndsOfAnItemDoNotCount) {
  EXPECT_EQ(MessageLevels("/5000/3/"), (MessageLevelMap{{5000, {3}}}));
}

TEST(MessageLevelsTest, NothingBehindAMalformedItemIsTakenEither) {
  EXPECT_EQ(MessageLevels("1/2,3,4/5"), MessageLevelMap{});
  EXPECT_EQ(
      ParseMessageLevels("<MessageLevels>1</MessageLevels><MessageLevels>1/2</MessageLevels>"),
      MessageLevelMap{});
}

TEST(MessageLevelsTest, BothNumbersAreDecimalAndZeroWhereTheyDoNotParse) {
  EXPECT_EQ(MessageLevels("0x10/3,a/b,10/ 7"), (MessageLevelMap{{0, {0, 3}}, {10, {7}}}));
  EXPECT_EQ(MessageLevels(" /\n"), (MessageLevelMap{{0, {0}}}));
}

TEST(MessageLevelsTest, LevelsOfAnySizeAreKept) {
  EXPECT_EQ(MessageLevels("5/40,5/4294967296"), (MessageLevelMap{{5, {40, 0xFFFFFFFF}}}));
}

TEST(MessageLevelsTest, AMissingSectionGivesAnEmptyMap) {
  EXPECT_EQ(ParseMessageLevels("<LogCodes>1</LogCodes>"), MessageLevelMap{});
}

TEST(OTATypesTest, AnItemMadeOnlyOfASlashContributesNothing) {
  EXPECT_EQ(OTATypes("412F/7, /"), OtaTypeSet{0x412F});
  EXPECT_EQ(OTATypes("/"), OtaTypeSet{});
  EXPECT_EQ(OTATypes("//,///"), OtaTypeSet{});
}

TEST(OTATypesTest, AnItemOfWhiteSpaceAndSlashesContributesNothing) {
  EXPECT_EQ(OTATypes(" /"), OtaTypeSet{});
  EXPECT_EQ(OTATypes("/ "), OtaTypeSet{});
  EXPECT_EQ(OTATypes(" / / ,\r\n/\t"), OtaTypeSet{});
}

TEST(OTATypesTest, AnItemOfWhiteSpaceAloneConvertsToZero) {
  EXPECT_EQ(OTATypes(" "), OtaTypeSet{0});
  EXPECT_EQ(OTATypes("412F,\n"), (OtaTypeSet{0, 0x412F}));
}

TEST(OTATypesTest, OnlyTheFirstPieceOfAnItemCounts) {
  EXPECT_EQ(OTATypes("412F/7/8,0x10"), (OtaTypeSet{0x10, 0x412F}));
  EXPECT_EQ(OTATypes("/5/6"), OtaTypeSet{5});
}

TEST(OTATypesTest, AFirstPieceWithoutDigitsCountsAsZero) {
  EXPECT_EQ(OTATypes(" /5"), OtaTypeSet{0});
  EXPECT_EQ(OTATypes("x/5"), OtaTypeSet{0});
}

TEST(MaskListsTest, EachParserReadsItsOwnSectionOfOneText) {
  const std::string text =
      "capture profile for a data call\n"
      "log codes: <LogCodes>0x412F, 0x1234,\n"
      "0xABCD</LogCodes>\n"
      "events: <EventIDs>256,257</EventIDs>\n"
      "message levels: <MessageLevels>5000/3, 5000/4, 18/2</MessageLevels>\n"
      "over the air: <OTATypes>412F</OTATypes>\n";
  EXPECT_EQ(ParseEventIDs(text), (EventIdSet{256, 257}));
  EXPECT_EQ(ParseLogCodes(text), (LogCodeSet{0x1234, 0x412F, 0xABCD}));
  EXPECT_EQ(ParseOTATypes(text), OtaTypeSet{0x412F});
  EXPECT_EQ(ParseMessageLevels(text), (MessageLevelMap{{18, {2}}, {5000, {3, 4}}}));
}

TEST(MaskListsTest, MultiSimIsUnwrappedWhereAnItemSaysSo) {
  EXPECT_TRUE(ParseMultiSim("<MultiSim>unwrap</MultiSim>"));
  EXPECT_TRUE(ParseMultiSim("<MultiSim> \r\n\tunwrap\v\f </MultiSim>"));
  EXPECT_TRUE(ParseMultiSim("<MultiSim>0,other, unwrap ,x</MultiSim>"));
  EXPECT_TRUE(ParseMultiSim("<MultiSim>x</MultiSim><MultiSim>unwrap</MultiSim>"));
}

TEST(MaskListsTest, MultiSimIsLeftAloneByEverythingElse) {
  for (const char* text :
       {"", "unwrap", "<MultiSim></MultiSim>", "<MultiSim>,</MultiSim>", "<MultiSim> </MultiSim>",
        "<MultiSim>Unwrap</MultiSim>", "<MultiSim>unwrap all</MultiSim>",
        "<MultiSim>un wrap</MultiSim>", "<MultiSim>unwrap/1</MultiSim>", "<MultiSim>unwrap",
        "<multisim>unwrap</multisim>", "</MultiSim><MultiSim>unwrap</MultiSim>"}) {
    EXPECT_FALSE(ParseMultiSim(text)) << text;
  }
}

TEST(MaskListsTest, ThousandsOfItemsAreRead) {
  std::string body;
  LogCodeSet expected;
  for (std::uint32_t code = 0; code < 20000; ++code) {
    body += std::to_string(code) + ",";
    expected.insert(code);
  }
  EXPECT_EQ(EventIDs(body), expected);
}

TEST(MaskListsTest, AnAllocationFailurePassesThroughEachParserAndLosesNoMemory) {
  const std::string text =
      "<EventIDs>1,2</EventIDs><LogCodes>1,2</LogCodes><OTATypes>1/2,3</OTATypes>"
      "<MessageLevels>1/2,1/3,2/1</MessageLevels><MultiSim>a word of some length</MultiSim>";
  std::uint32_t failures = 0;
  for (bool reached = true; reached; ++failures) {
    const std::int64_t before = LiveNewAllocations();
    cAllocationFailure failure(eHeap::New, failures + 1);
    bool thrown = false;
    try {
      std::ignore = ParseEventIDs(text);
      std::ignore = ParseLogCodes(text);
      std::ignore = ParseOTATypes(text);
      std::ignore = ParseMessageLevels(text);
      std::ignore = ParseMultiSim(text);
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
    reached = failure.Disarm();
    EXPECT_EQ(thrown, reached);
    EXPECT_EQ(LiveNewAllocations(), before);
  }
  EXPECT_GT(failures, 12U);
}

}  // namespace
}  // namespace corvane
