#include "convert/log_lines.h"

#include <gtest/gtest.h>

#include "convert/unshown_messages.h"

namespace corvane {
namespace {

TEST(LogLinesTest, AnEventHasIdNameValueAndPayload) {
  EXPECT_EQ(EventLine({1606, "LTE RRC state", {}, {4, 0xAB}, "connected"}),
            "<14>event 1606 LTE RRC state: connected (04AB)");
  EXPECT_EQ(EventLine({7, {}, {}, {}, {}}), "<14>event 7");
}

TEST(LogLinesTest, TheGravestLevelIsThePriority) {
  sDebugMessage message;
  message.text = "x";
  const auto priority = [&message](std::uint32_t levels) {
    message.levels = levels;
    return MessageLine(message);
  };
  EXPECT_EQ(priority(1), "<15>x");
  EXPECT_EQ(priority(2), "<14>x");
  EXPECT_EQ(priority(4), "<13>x");
  EXPECT_EQ(priority(8), "<11>x");
  EXPECT_EQ(priority(16), "<10>x");
  EXPECT_EQ(priority(31), "<10>x");
  EXPECT_EQ(priority(3), "<14>x");
  EXPECT_EQ(priority(0x101), "<15>x");
  // Levels of a subsystem's own tell no gravity.
  EXPECT_EQ(priority(0x100), "<14>x");
  message.levels.reset();
  EXPECT_EQ(MessageLine(message), "<14>x");
}

TEST(LogLinesTest, AMessageTellsWhereItComesFrom) {
  sDebugMessage message;
  message.subsystem = "LTE RRC";
  message.ssid = 9501;
  message.line = 12;
  message.text = "a";
  EXPECT_EQ(MessageLine(message), "<14>LTE RRC  line 12  a");
  message.file = "x.c";
  message.subsystem = {};
  EXPECT_EQ(MessageLine(message), "<14>SSID 9501  x.c:12  a");
  message.line.reset();
  message.ssid.reset();
  message.dropped = 3;
  EXPECT_EQ(MessageLine(message), "<14>x.c  a  (3 lost before)");
}

TEST(LogLinesTest, AHashedMessageShowsHashAndArguments) {
  sDebugMessage message;
  message.hash = 0xABCD;
  EXPECT_EQ(MessageLine(message), "<14>hash 0x0000ABCD");
  message.arguments = {0, 255};
  EXPECT_EQ(MessageLine(message), "<14>hash 0x0000ABCD (0x0, 0xFF)");
}

TEST(LogLinesTest, ArgumentsFollowATextThatHasNotAllOfThem) {
  sDebugMessage message;
  message.text = "a 7";
  message.arguments = {7, 255};
  message.argumentsInText = 1;
  EXPECT_EQ(MessageLine(message), "<14>a 7 (0x7, 0xFF)");
  message.argumentsInText = 2;
  EXPECT_EQ(MessageLine(message), "<14>a 7");
}

TEST(LogLinesTest, ControlCharactersBecomeBlanks) {
  EXPECT_EQ(MarkerTextLine("a\nb"), "<14>marker  a b");
  EXPECT_EQ(MarkerTextLine(""), "<14>marker");
  EXPECT_EQ(TextLine("a\nb\r\x01\t\xC3\xBC"), "<14>a b   \xC3\xBC");
}

// A text of a modem's may hold anything but a zero.
TEST(LogLinesTest, AMessageIsOneLineWhateverItHolds) {
  sDebugMessage message;
  message.subsystem = "a";
  for (int byte = 1; byte < 0x100; ++byte) {
    message.text += static_cast<char>(byte);
  }
  message.file = message.text;
  const std::string line = MessageLine(message);
  for (const char character : line) {
    EXPECT_GE(static_cast<unsigned char>(character), 0x20);
    EXPECT_NE(character, '\x7F');
  }
  EXPECT_NE(line.find("!\"#$"), std::string::npos);
  EXPECT_NE(line.find("|}~ \x80\x81"), std::string::npos);
}

TEST(UnshownMessagesTest, ReasonsAreCountedByLogCodeAndVersion) {
  cUnshownMessages unshown;
  EXPECT_TRUE(unshown.Notes().empty());
  sDescription description;
  description.logCode = 0xB0C0;
  description.version = 40;
  unshown.Add(description, "");
  unshown.Add(description, "");
  unshown.Add(description, "cut off");
  description.logCode = 0xFFFF;  // has no name
  description.version.reset();
  unshown.Add(description, "cut off");
  EXPECT_EQ(unshown.Notes(),
            (std::vector<std::string>{
                "2 packets are not shown: 0xB0C0 LTE RRC OTA message, version 40",
                "1 packet is not shown: 0xB0C0 LTE RRC OTA message, version 40, cut off",
                "1 packet is not shown: 0xFFFF, cut off"}));
}

TEST(UnshownMessagesTest, ReasonsWithoutEndAreCountedTogether) {
  cUnshownMessages unshown;
  sDescription description;
  description.logCode = 0xB0C0;
  for (std::uint32_t version = 0; version < 1000; ++version) {
    description.version = version;
    unshown.Add(description, "");
  }
  description.version = 99;
  unshown.Add(description, "");
  const std::vector<std::string> notes = unshown.Notes();
  ASSERT_EQ(notes.size(), 201U);
  EXPECT_EQ(notes[99], "2 packets are not shown: 0xB0C0 LTE RRC OTA message, version 99");
  EXPECT_EQ(notes[200], "800 more packets are not shown, for other reasons");
}

TEST(UnshownMessagesTest, AVersionOfTwoNumbersIsToldAsOne) {
  cUnshownMessages unshown;
  sDescription description;
  description.logCode = 0xB823;
  description.version = 0x30009;
  unshown.Add(description, "");
  EXPECT_TRUE(unshown.Notes().at(0).ends_with(", version 3.9")) << unshown.Notes().at(0);
}

TEST(UnshownMessagesTest, BeyondTheMostReasonsAreAddedUp) {
  cUnshownMessages unshown;
  sDescription description;
  description.logCode = 0xFFFF;
  for (std::size_t reason = 0; reason < cUnshownMessages::kMostKept; ++reason) {
    unshown.Add(description, "channel " + std::to_string(reason));
  }
  // First by log code and version alone.
  description.version = 3;
  unshown.Add(description, "a");
  unshown.Add(description, "b");
  std::vector<std::string> notes = unshown.Notes();
  ASSERT_EQ(notes.size(), cUnshownMessages::kMostKept + 1);
  EXPECT_EQ(notes.back(), "2 packets are not shown: 0xFFFF, version 3");
  // Then in one sum.
  for (std::uint32_t version = 4; version < 3 + 2 * cUnshownMessages::kMostKept; ++version) {
    description.version = version;
    unshown.Add(description, "a");
  }
  notes = unshown.Notes();
  ASSERT_EQ(notes.size(), 2 * cUnshownMessages::kMostKept + 1);
  EXPECT_EQ(notes.back(), "100 more packets are not shown, for other reasons");
  // What is known is counted on.
  description.version.reset();
  unshown.Add(description, "channel 7");
  EXPECT_EQ(unshown.Notes().size(), notes.size());
}

}  // namespace
}  // namespace corvane
