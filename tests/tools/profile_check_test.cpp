#include "corvane/profile/profile_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace corvane::tools {
namespace {

using std::string_literals::operator""s;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using testing::SizeIs;
using testing::StartsWith;

std::vector<std::string> Warnings(std::string_view text) {
  std::vector<std::string> texts;
  for (const sProfileWarning& warning : CheckProfile(text).warnings) {
    texts.push_back(warning.Text());
  }
  return texts;
}

// The one warning about a text.
std::string Warning(std::string_view text) {
  const std::vector<std::string> texts = Warnings(text);
  EXPECT_THAT(texts, SizeIs(1)) << text;
  return texts.empty() ? "" : texts.front();
}

std::string Explanation(std::string_view text) {
  std::string all;
  for (const std::string& line : CheckProfile(text).explanation) {
    all += line + '\n';
  }
  return all;
}

TEST(ProfileExplanationTest, WhatIsSwitchedOnIsToldInNames) {
  const std::string text =
      "logs <LogCodes>0xB0C0, 412F</LogCodes> events <EventIDs>1606,256</EventIDs>\n"
      "messages <MessageLevels>5000/3, 5/2, 5/7</MessageLevels>\n";
  EXPECT_EQ(Explanation(text),
            "18 requests: 13 that open every connection, 1 for events, 2 for messages, 2 for log "
            "codes\n"
            "Log codes: 2\n"
            "  0x412F  WCDMA RRC OTA message\n"
            "  0xB0C0  LTE RRC OTA message\n"
            "Events: 2\n"
            "  256  Band class change\n"
            "  1606  LTE RRC state change\n"
            "Messages of subsystems: 2\n"
            "  5  call manager: high, 7\n"
            "  5000  data services, general: error\n");
  EXPECT_THAT(Warnings(text), IsEmpty());
}

TEST(ProfileExplanationTest, NumbersWithoutANameAreGathered) {
  EXPECT_THAT(Explanation("<LogCodes>1234,1235,1236,4001</LogCodes><EventIDs>1,3</EventIDs>"),
              AllOf(HasSubstr("  without a name here: 0x1234 to 0x1236, 0x4001\n"),
                    HasSubstr("  without a name here: 1, 3\n")));
}

TEST(ProfileExplanationTest, SubsystemsOfOneNameShareALine) {
  EXPECT_THAT(Explanation("<MessageLevels>9500/0,9500/1,9501/0,9501/1,9503/0</MessageLevels>"),
              HasSubstr("subsystems: 3\n  9500 to 9501  LTE: low, medium\n  9503  LTE: low\n"));
}

TEST(ProfileExplanationTest, AConfigurationWithoutSectionsSwitchesNothingOn) {
  EXPECT_EQ(Explanation("only words"),
            "13 requests: 13 that open every connection\nNothing is switched on\n");
  EXPECT_THAT(Warnings("only words"), IsEmpty());
  EXPECT_THAT(Warning("Log codes: 0x412F"),
              StartsWith("there is no section in the text, and it switches nothing on"));
}

TEST(ProfileExplanationTest, UnwrappingIsTold) {
  const std::string text = "<MultiSim>\n unwrap\r\n</MultiSim>";
  EXPECT_TRUE(CheckProfile(text).requests.unwraps);
  EXPECT_THAT(Explanation(text), HasSubstr("Logs of several SIMs"));
  EXPECT_THAT(Warnings(text), IsEmpty());
}

TEST(ProfileRequestsTest, WhatDoesNotReachTheModemIsNotSwitchedOn) {
  const sProfileRequests requests =
      CheckProfile(
          "<EventIDs>5,4096</EventIDs><MessageLevels>7/32, 65541/1, 5/0</MessageLevels>"
          "<OTATypes>412F</OTATypes><LogCodes>14123</LogCodes>")
          .requests;
  EXPECT_THAT(requests.eventIds, IsEmpty());
  EXPECT_EQ(requests.forEvents, 1U);
  // 65541 is sent as 5, after the request for 5 itself.
  EXPECT_THAT(requests.messageLevels, ElementsAre(Pair(5, 2U)));
  EXPECT_EQ(requests.forMessages, 3U);
  EXPECT_THAT(requests.logCodes, ElementsAre(0x4123));
}

TEST(ProfileNumberTest, WhatIsNoNumberBecomes0) {
  EXPECT_EQ(Warning("\n\n<LogCodes>412F, xyz</LogCodes>"),
            "line 3: \"xyz\" in LogCodes is no number, and is read as 0: write a hexadecimal "
            "number");
  EXPECT_THAT(Warning("<EventIDs>LTE</EventIDs>"), HasSubstr("is read as 0: write a decimal"));
  EXPECT_THAT(Warning("<MessageLevels>5/high</MessageLevels>"),
              HasSubstr("\"high\" in MessageLevels is no number, and is read as 0"));
}

TEST(ProfileNumberTest, ABlankItemIsRead0) {
  EXPECT_EQ(
      Warning("<LogCodes>412F,\n</LogCodes>"),
      "line 1: an item of LogCodes is blank, and is read as 0: take out the comma next to it");
  EXPECT_THAT(Warning("<EventIDs>256, ,257</EventIDs>"), HasSubstr("EventIDs is blank"));
}

TEST(ProfileNumberTest, TextBehindANumberIsLeftOut) {
  EXPECT_EQ(Warning("<LogCodes>0x412Fxyz</LogCodes>"),
            "line 1: \"0x412Fxyz\" in LogCodes is read as 0x412F, without \"xyz\": write 0x412F");
  EXPECT_THAT(Warning("<LogCodes>412F 4127</LogCodes>"), EndsWith("comma between two numbers"));
  EXPECT_THAT(Warning("<LogCodes>412F;4127</LogCodes>"), EndsWith("comma between two numbers"));
  EXPECT_THAT(Warning("<EventIDs>256-260</EventIDs>"), HasSubstr("a range is not known"));
  EXPECT_THAT(Warning("<EventIDs>256 (band)</EventIDs>"), EndsWith("write 256"));
}

TEST(ProfileNumberTest, HexadecimalInADecimalSectionIsTold) {
  EXPECT_EQ(Warning("<EventIDs>0x10</EventIDs>"),
            "line 1: \"0x10\" in EventIDs is read as 0, without \"x10\": this section is decimal: "
            "write 16");
}

TEST(ProfileNumberTest, SignsAndLargeNumbersAreTold) {
  EXPECT_EQ(Warning("<EventIDs>-1</EventIDs>"),
            "line 1: \"-1\" in EventIDs is read as 4294967295: write it without its minus sign");
  EXPECT_EQ(Warning("<EventIDs>4294967296</EventIDs>"),
            "line 1: \"4294967296\" in EventIDs is too large, and is read as 4294967295");
  EXPECT_THAT(Warning("<LogCodes>1FFFFFFFF</LogCodes>"), HasSubstr("read as 0xFFFFFFFF"));
  EXPECT_THAT(Warnings("<EventIDs>+5</EventIDs>"), IsEmpty());
  // As large as can be, and not larger.
  EXPECT_THAT(Warning("<EventIDs>4294967295</EventIDs>"), HasSubstr("event ID 4294967295"));
}

TEST(ProfileValueTest, LogCodesHave16Bits) {
  EXPECT_EQ(Warning("<LogCodes>1412F</LogCodes>"),
            "line 1: \"1412F\" in LogCodes has more than 16 bits, and asks for 0x412F: write four "
            "digits");
  // The modem is asked for equipment ID 2 first, and what follows 0x2000 is not looked at.
  EXPECT_THAT(Warning("<LogCodes>2000,11007</LogCodes>"), HasSubstr("and asks for nothing"));
}

TEST(ProfileValueTest, ALogCodeThatLooksDecimalIsTold) {
  EXPECT_EQ(Warning("<LogCodes>16687</LogCodes>"),
            "line 1: \"16687\" in LogCodes has more than 16 bits, and asks for 0x6687: for WCDMA "
            "RRC OTA message write 0x412F");
  // 0x4103 has no name, and decimal 4103 has one.
  EXPECT_EQ(Warning("<LogCodes>4103</LogCodes>"),
            "line 1: \"4103\" in LogCodes is hexadecimal, and asks for 0x4103: for CDMA paging "
            "channel message write 0x1007, or 0x4103 if that is meant");
  EXPECT_THAT(Warnings("<LogCodes>4127,0x4103</LogCodes>"), IsEmpty());
}

TEST(ProfileValueTest, ALogCodeThatLostADigitIsTold) {
  EXPECT_THAT(Warning("<LogCodes>B0C</LogCodes>"), EndsWith("write 0x0B0C if that is meant"));
  EXPECT_THAT(Warnings("<LogCodes>0x0B0C</LogCodes>"), IsEmpty());
}

TEST(ProfileValueTest, AnEventIdAbove4095SwitchesAllOff) {
  EXPECT_THAT(Warnings("<EventIDs>4095</EventIDs>"), IsEmpty());
  EXPECT_EQ(Warning("<EventIDs>256,\n4096</EventIDs>"),
            "line 2: event ID 4096 switches every event off: take it out, the largest is 4095");
  EXPECT_THAT(Warning("<EventIDs>65607</EventIDs>"), HasSubstr("switches every event off"));
  EXPECT_THAT(Warning("<EventIDs>65608</EventIDs>"), HasSubstr("no event is asked for at all"));
  EXPECT_EQ(CheckProfile("<EventIDs>65608</EventIDs>").requests.forEvents, 0U);
}

TEST(ProfileValueTest, AMalformedMessageItemEmptiesTheList) {
  EXPECT_EQ(Warning("<MessageLevels>5000/3,\n18</MessageLevels>"),
            "line 2: \"18\" in MessageLevels is not SSID/level, and switches every message off");
  EXPECT_THAT(Warning("<MessageLevels>1/2/3</MessageLevels>"), HasSubstr("every message off"));
  EXPECT_THAT(Warning("<MessageLevels>5000/3,\n</MessageLevels>"),
              HasSubstr("a blank item of MessageLevels switches every message off"));
  EXPECT_THAT(Warning("<MessageLevels> </MessageLevels>"), HasSubstr("every message off"));
}

TEST(ProfileValueTest, ASlashWithNothingBehindItIsTold) {
  EXPECT_EQ(Warning("<MessageLevels>5/ </MessageLevels>"),
            "line 1: \"5/\" in MessageLevels is read as 5/0: write a number on both sides of the "
            "slash");
  EXPECT_THAT(Warning("<MessageLevels> /5</MessageLevels>"), HasSubstr("is read as 0/5"));
}

TEST(ProfileValueTest, ADoubledSlashIsTold) {
  EXPECT_THAT(Warning("<MessageLevels>5000//3</MessageLevels>"), HasSubstr("read as 5000/3"));
}

TEST(ProfileValueTest, LevelsFrom32AreLeftOut) {
  EXPECT_THAT(Warnings("<MessageLevels>5/31</MessageLevels>"), IsEmpty());
  EXPECT_EQ(Warning("<MessageLevels>5/32</MessageLevels>"),
            "line 1: level 32 of subsystem 5 is left out: levels are 0 to 31");
}

TEST(ProfileValueTest, SubsystemsHave16Bits) {
  EXPECT_THAT(Warnings("<MessageLevels>65535/1</MessageLevels>"), IsEmpty());
  EXPECT_THAT(Warning("<MessageLevels>65541/1</MessageLevels>"), HasSubstr("is asked for as 5"));
}

TEST(ProfileValueTest, OtaTypesSwitchNothingOn) {
  EXPECT_EQ(Warning("<OTATypes>412F</OTATypes>"),
            "line 1: OTATypes switches nothing on: write its log codes into LogCodes");
}

TEST(ProfileValueTest, MultiSimHasOneItem) {
  EXPECT_EQ(Warning("<MultiSim>Unwrap</MultiSim>"),
            "line 1: \"Unwrap\" in MultiSim means nothing: the only item is \"unwrap\"");
  EXPECT_THAT(Warning("<MultiSim></MultiSim>"), HasSubstr("MultiSim has no items"));
}

TEST(ProfileValueTest, DuplicatesAreTold) {
  EXPECT_EQ(Warning("<LogCodes>412F</LogCodes>\n<LogCodes>0x412f</LogCodes>"),
            "line 2: \"0x412f\" is in LogCodes on line 1 already");
  EXPECT_THAT(Warning("<MessageLevels>5/1,5/2,5/1</MessageLevels>"), HasSubstr("already"));
}

TEST(ProfileTagTest, AnUnclosedSectionIsTold) {
  EXPECT_EQ(Warning("<LogCodes>412F"),
            "line 1: <LogCodes> is never closed, and its items are ignored: write </LogCodes> "
            "behind them");
}

TEST(ProfileTagTest, AStrayClosingTagEndsTheScan) {
  EXPECT_THAT(Warnings("</LogCodes>\n<LogCodes>412F</LogCodes>"),
              ElementsAre("line 1: </LogCodes> has no opening tag in front of it, and no "
                          "<LogCodes> behind it is read: take it out",
                          "line 2: this section is not read: the </LogCodes> on line 1 ends the "
                          "reading"));
  EXPECT_THAT(Warnings("</LogCodes><LogCodes>412F</LogCodes></LogCodes>"), SizeIs(3));
}

TEST(ProfileTagTest, AClosingTagTooManyIsTold) {
  EXPECT_THAT(Warning("<LogCodes>412F</LogCodes></LogCodes>"), EndsWith("of it: take it out"));
}

TEST(ProfileTagTest, MisspeltTagsAreToldWithTheRightOnes) {
  EXPECT_THAT(Warnings("<logcodes>412F</logcodes>"),
              ElementsAre("line 1: \"<logcodes>\" is not recognised, for tags are matched letter "
                          "by letter: write <LogCodes>",
                          "line 1: \"</logcodes>\" is not recognised, for tags are matched letter "
                          "by letter: write </LogCodes>"));
  EXPECT_THAT(Warnings("<EventID>5</EventIDs>"), Contains(HasSubstr("write <EventIDs>")));
  EXPECT_THAT(Warnings("<Multi-SIM>unwrap</Multi-SIM>"), Contains(HasSubstr("write <MultiSim>")));
}

TEST(ProfileTagTest, BlanksInTagsAreTold) {
  EXPECT_THAT(Warnings("< LogCodes >412F</LogCodes>"),
              Contains("line 1: \"< LogCodes >\" is not recognised, for it has blanks in it: write "
                       "<LogCodes>"));
  EXPECT_THAT(Warnings("<LogCodes>412F< / LogCodes>"), Contains(HasSubstr("write </LogCodes>")));
}

TEST(ProfileTagTest, ATagWithoutItsEndIsTold) {
  EXPECT_THAT(Warnings("<LogCodes 412F</LogCodes>"),
              Contains(AllOf(HasSubstr("lacks its \">\""), HasSubstr("write <LogCodes>"))));
}

TEST(ProfileTagTest, SectionsOfOtherNamesAreTold) {
  EXPECT_EQ(Warning("<SSIDs>5/1</SSIDs>"),
            "line 1: there is no section \"SSIDs\", and it is ignored: did you mean "
            "<MessageLevels>?");
  EXPECT_EQ(Warning("<Notes>5</Notes>"),
            "line 1: there is no section \"Notes\", and it is ignored");
}

TEST(ProfileTagTest, CommentaryIsNoTag) {
  EXPECT_THAT(Warnings("a < b, c > d, <me@example.org>, <5 ms, <b>"), IsEmpty());
}

TEST(ProfileTagTest, NestedSectionsAreTold) {
  EXPECT_THAT(Warnings("<LogCodes>412F\n<EventIDs>5</EventIDs></LogCodes>"),
              Contains("line 2: <EventIDs> stands within the LogCodes section that begins on line "
                       "1: close that one first"));
  EXPECT_THAT(Warnings("<LogCodes>412F,\n<LogCodes>4127</LogCodes>"),
              Contains("line 2: <LogCodes> stands within the LogCodes section that begins on line "
                       "1, and is part of an item: write </LogCodes> in front of it"));
}

TEST(ProfileTextTest, WideTextIsTold) {
  const std::string narrow = "<LogCodes>412F</LogCodes>";
  std::string wide;
  for (const char character : narrow) {
    wide += {character, '\0'};
  }
  EXPECT_THAT(Warning("\xFF\xFE" + wide), StartsWith("the text is UTF-16"));
  EXPECT_THAT(Warning(wide), StartsWith("the text is UTF-16"));
  EXPECT_THAT(Warning("\xFE\xFF\0"s + wide), StartsWith("the text is UTF-16"));
}

TEST(ProfileTextTest, AByteOrderMarkIsTold) {
  EXPECT_EQ(Warning("\xEF\xBB\xBF<LogCodes>412F</LogCodes>"),
            "the file begins with a byte-order mark: save it as UTF-8 without one");
}

TEST(ProfileTextTest, AControlZEndsTheText) {
  const std::string text = "<EventIDs>5</EventIDs>\n\x1A<EventIDs>6</EventIDs>";
  EXPECT_EQ(Warning(text),
            "line 2: a control-Z (0x1A) ends the text here, and what follows is not read");
  EXPECT_THAT(CheckProfile(text).requests.eventIds, ElementsAre(5));
}

TEST(ProfileTextTest, NulBytesAreTold) {
  EXPECT_THAT(Warnings("<EventIDs>5,\0006</EventIDs>"s),
              ElementsAre("line 1: the file has 1 NUL byte, and is hardly text",
                          "line 1: a NUL byte ends the items of this EventIDs section: take it "
                          "out"));
}

TEST(ProfileTextTest, AnEmptyFileIsTold) {
  EXPECT_EQ(Warning(""), "the file is empty, and switches nothing on");
  EXPECT_EQ(Warning(" \r\n"), "the file is empty, and switches nothing on");
}

TEST(ProfileTextTest, LinesMayEndInAnyWay) {
  EXPECT_THAT(Warnings("<LogCodes>412F,\r\n4127\r\n</LogCodes>\r\n"), IsEmpty());
  EXPECT_THAT(Warning("a\rb\r\nc\n<LogCodes>x</LogCodes>"), StartsWith("line 4: "));
}

TEST(ProfileTextTest, MoreRequestsThanFitAreTold) {
  const auto withSsids = [](int count) {
    std::string text = "<MessageLevels>0/1";
    for (int ssid = 1; ssid < count; ++ssid) {
      text += "," + std::to_string(ssid) + "/1";
    }
    return text + "</MessageLevels>";
  };
  EXPECT_THAT(Warnings(withSsids(987)), IsEmpty());
  EXPECT_THAT(Warning(withSsids(989)),
              AllOf(StartsWith("it makes 1,002 requests, and the library keeps only the last "
                               "1,000: the first 2 are lost"),
                    EndsWith("take 2 subsystems out of MessageLevels")));
  // 13 requests open a connection, and another one is for events: two subsystems are lost.
  const std::string text = "<EventIDs>7</EventIDs>" + withSsids(1002);
  EXPECT_THAT(Explanation(text),
              AllOf(HasSubstr("Lost, and not switched on: 1 event\n"),
                    HasSubstr("Lost, and not switched on: messages of subsystems 0, 1\n"),
                    HasSubstr("Messages of subsystems: 1,000\n"), Not(HasSubstr("Events:"))));
  EXPECT_TRUE(CheckProfile(withSsids(1000)).requests.lostSsids.empty());
}

TEST(ProfileTagTest, ASectionInACommentIsReadAndTold) {
  EXPECT_EQ(
      Warning("\n<!-- <LogCodes>412F</LogCodes> -->"),
      "line 2: comments are not known, and the LogCodes section in this one is read: take its "
      "tags out");
  EXPECT_THAT(Warnings("<!-- rates --><LogCodes>412F</LogCodes><!-- more"), IsEmpty());
}

TEST(ProfileTextTest, OfManyWarningsTheFirstAreTold) {
  std::string text = "<LogCodes>";
  for (int item = 0; item < 500; ++item) {
    text += "zz,";
  }
  const std::vector<std::string> texts = Warnings(text + "</LogCodes>");
  EXPECT_THAT(texts, SizeIs(11));
  EXPECT_EQ(texts.back(), "there are 490 more items that are not read as they are written");
}

TEST(ProfileTextTest, WhatIsShownIsFitForATerminal) {
  EXPECT_THAT(Warning("<LogCodes>\x1B[31mred</LogCodes>"), HasSubstr("\"\\x1B[31mred\""));
  EXPECT_THAT(Warning("<LogCodes>" + std::string(1000, 'x') + "</LogCodes>"),
              StartsWith("line 1: \"" + std::string(40, 'x') + "\"... in LogCodes is"));
}

// Any bytes will do: pieces of configurations in any order, with any bytes among them.
TEST(ProfileTextTest, AnyTextIsChecked) {
  constexpr std::string_view kPieces[] = {"<LogCodes>",
                                          "</LogCodes>",
                                          "<EventIDs>",
                                          "</EventIDs>",
                                          "<MessageLevels>",
                                          "</MessageLevels>",
                                          "<OTATypes>",
                                          "</OTATypes>",
                                          "<MultiSim>",
                                          "</MultiSim>",
                                          "unwrap",
                                          "< logcodes",
                                          "</",
                                          "<",
                                          ">",
                                          "/",
                                          ",",
                                          ",,",
                                          "\n",
                                          "\r\n",
                                          " ",
                                          "412F",
                                          "0x",
                                          "-1",
                                          "+",
                                          "4294967296",
                                          "65541",
                                          "5/3",
                                          "5000/33",
                                          "0",
                                          "B0C0",
                                          "\xEF\xBB\xBF",
                                          "\xFF",
                                          "\x1B",
                                          "-",
                                          ";"};
  std::mt19937 random(7);
  for (int round = 0; round < 3000; ++round) {
    std::string text;
    for (auto pieces = random() % 40; pieces != 0; --pieces) {
      text += random() % 20 == 0 ? std::string(1, static_cast<char>(random()))
                                 : std::string(kPieces[random() % std::size(kPieces)]);
    }
    const sProfileCheck check = CheckProfile(text);
    EXPECT_LE(check.warnings.size(), 60U);
    for (const sProfileWarning& warning : check.warnings) {
      const std::string told = warning.Text();
      EXPECT_TRUE(std::none_of(told.begin(), told.end(), [](char character) {
        return static_cast<unsigned char>(character) < 0x20;
      })) << told;
      EXPECT_LE(warning.line,
                1U + static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) +
                    static_cast<std::size_t>(std::count(text.begin(), text.end(), '\r')));
    }
  }
}

}  // namespace
}  // namespace corvane::tools
