#include "describe/message_text.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <vector>

namespace corvane {
namespace {

[[nodiscard]] std::string Format(std::string_view format, std::vector<std::uint32_t> arguments) {
  return FormatMessageText(format, arguments).text;
}

// Where systems differ: C leaves open what a blank does to a number without a sign, and Windows
// shows an octal zero without digits as nothing, against "#".
[[nodiscard]] bool IsTheSameEverywhere(std::string_view flags, std::string_view precision,
                                       char letter, std::uint32_t argument) {
  const bool hasSign = letter == 'd' || letter == 'i';
  const bool isOctalZero = letter == 'o' && argument == 0;
  const bool hasNoDigits = precision == "." || precision == ".0";
  return (hasSign || flags != " ") &&
         !(isOctalZero && hasNoDigits && flags.find('#') != flags.npos);
}

TEST(MessageTextTest, ArgumentsArePutInAsPrintfDoes) {
  // Every combination of flags, width and precision; the system's printf has the golden value.
  for (const char* flags : {"", "-", "0", "+", " ", "#", "#0", "-+", "+0", "#-"}) {
    for (const char* width : {"", "1", "8", "12"}) {
      for (const char* precision : {"", ".", ".0", ".1", ".5", ".11"}) {
        for (const char letter : {'d', 'i', 'u', 'x', 'X', 'o'}) {
          for (const std::uint32_t argument :
               {0u, 1u, 8u, 0xABCDu, 0x7FFFFFFFu, 0x80000000u, ~0u}) {
            if (!IsTheSameEverywhere(flags, precision, letter, argument)) {
              continue;
            }
            const std::string format = std::string("%") + flags + width + precision + letter;
            std::array<char, 64> expected{};
            std::snprintf(expected.data(), expected.size(), format.c_str(), argument);
            EXPECT_EQ(Format(format, {argument}), expected.data()) << format << " of " << argument;
          }
        }
      }
    }
  }
}

TEST(MessageTextTest, AnOctalZeroKeepsItsMark) {
  EXPECT_EQ(Format("%#.0o|%#.o|%-#4.0o|", {0, 0, 0}), "0|0|0   |");
}

TEST(MessageTextTest, LengthsChangeNothing) {
  EXPECT_EQ(Format("%hd %hhu %ld %lu %lld %llx", {70'000, 70'000, ~0u, ~0u, ~0u, ~0u}),
            "70000 70000 -1 4294967295 -1 ffffffff");
}

TEST(MessageTextTest, StringsAndPointersAreShownAsAddresses) {
  EXPECT_EQ(Format("%s|%12s|%-10p|%.3s", {0xABC, 0x1234ABCD, 1, 0xFFFFFFFF}),
            "0xABC|  0x1234ABCD|0x1       |0xFFFFFFFF");
}

TEST(MessageTextTest, CharactersThatCannotBePrintedAreSpelled) {
  EXPECT_EQ(Format("%c%c%3c%-3c|%c%c%c", {'a', 0x17A, 'b', 'c', 7, 0x7F, 0}),
            "az  bc  |\\x07\\x7F\\x00");
}

TEST(MessageTextTest, APercentSignIsOne) {
  EXPECT_EQ(Format("100%% of %d%%", {7}), "100% of 7%");
  EXPECT_EQ(Format("plain", {1, 2}), "plain");
  EXPECT_EQ(Format("", {}), "");
}

TEST(MessageTextTest, ATextThatWantsMoreArgumentsStaysAsItIs) {
  EXPECT_EQ(Format("%d and %d", {1}), "%d and %d");
  EXPECT_EQ(Format("50% done", {}), "50% done");
  EXPECT_EQ(Format("50%", {1}), "50%");
}

TEST(MessageTextTest, HostileTextsStayAsTheyAre) {
  for (const char* format : {"%99999999d", "%100d", "%.100x", "%.99999999999999999999999d",
                             "%n",         "%hhn",  "%*d",    "%.*d",
                             "%1$d",       "%f",    "%Lf",    "%zn",
                             "%-",         "%0",    "%.",     "%l",
                             "%",          "%5%",   "%\n",    "%ls%n"}) {
    EXPECT_EQ(Format(format, {1, 2, 3}), format);
  }
}

TEST(MessageTextTest, TheResultIsBounded) {
  std::string format;
  for (int number = 0; number < 255; ++number) {
    format += "%99d%.99X";
  }
  const std::string text = Format(format, std::vector<std::uint32_t>(510, ~0u));
  EXPECT_EQ(text.size(), 510u * 99);
}

TEST(MessageTextTest, EveryLengthIs32Bits) {
  for (const char* const length : {"h", "hh", "l", "ll", "z", "j", "t", "q", "L", "I64", "I32"}) {
    const std::string format = std::string("%") + length;
    EXPECT_EQ(Format(format + "u|%d", {4'294'967'295, 5}), "4294967295|5") << length;
    EXPECT_EQ(Format("%08" + std::string(length) + "X", {0xABC}), "00000ABC") << length;
    EXPECT_EQ(Format(format, {1}), format);
  }
  // What only begins like one.
  for (const char* const none : {"%I", "%I6d", "%I32", "%I8d", "%w"}) {
    EXPECT_EQ(Format(none, {1}), none);
  }
}

TEST(MessageTextTest, ItIsToldHowManyArgumentsWerePutIn) {
  const auto putIn = [](std::string_view format, std::vector<std::uint32_t> arguments) {
    return FormatMessageText(format, arguments).argumentsPutIn;
  };
  EXPECT_EQ(putIn("%d %x", {1, 2}), 2u);
  EXPECT_EQ(putIn("%d %%", {1, 2}), 1u);
  EXPECT_EQ(putIn("none", {1}), 0u);
  // The text stays as it is.
  EXPECT_EQ(putIn("%d %x", {1}), 0u);
  EXPECT_EQ(putIn("%d %f", {1, 2}), 0u);
}

}  // namespace
}  // namespace corvane
