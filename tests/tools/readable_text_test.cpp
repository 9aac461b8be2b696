#include "corvane/command/readable_text.h"

#include <gtest/gtest.h>

#include <iostream>
#include <streambuf>

#include "corvane/command/inert_messages.h"
#include "reader/capture_builder.h"

namespace corvane::tools {
namespace {

using std::chrono::milliseconds;

// Takes nothing.
class cFullBuffer : public std::streambuf {};

TEST(ReadableTextTest, QuotedTextStaysOnItsLineAndObeysNoTerminal) {
  EXPECT_EQ(Quote("a \"b\" \\ c"), R"("a \"b\" \\ c")");
  EXPECT_EQ(Quote("a\nb\x1B[2J\x7F"), R"("a\x0Ab\x1B[2J\x7F")");
  EXPECT_EQ(Quote("\xC2\x9B\xC2\xA0\xC3\xBC"), "\"\\x9B\xC2\xA0\xC3\xBC\"");
  EXPECT_EQ(Quote(""), "\"\"");
}

TEST(ReadableTextTest, TextThatTurnsTheDirectionOfWritingShowsIt) {
  EXPECT_EQ(Quote("a\u202Ecod.exe\u202C"), R"("a\u202Ecod.exe\u202C")");
  EXPECT_EQ(Readable("\u061C\u200E\u200F\u2028\u2029\u2066\u206F"),
            R"(\u061C\u200E\u200F\u2028\u2029\u2066\u206F)");
  // Letters that are written from the right, and joiners, are text.
  EXPECT_EQ(Readable("\u05D0\u0627\u200D"), "\u05D0\u0627\u200D");
}

TEST(ReadableTextTest, MessagesDoNothingToATerminal) {
  testing::internal::CaptureStderr();
  {
    const cInertMessages messages;
    std::cerr << "a\x1B[2J\rb\u202E" << '\x07' << "\tc\xFF\n" << std::flush;
  }
  std::cerr << "\x1B";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "a\\x1B[2J\\x0Db\\u202E\\x07\tc\\xFF\n\x1B");
}

TEST(ReadableTextTest, MessagesThatCannotBeWrittenFail) {
  std::streambuf* const before = std::cerr.rdbuf(nullptr);
  cFullBuffer full;
  std::cerr.rdbuf(&full);
  {
    const cInertMessages messages;
    std::cerr << "text";
    EXPECT_TRUE(std::cerr.bad());
    std::cerr.clear();
    std::cerr.put('a');
    EXPECT_TRUE(std::cerr.bad());
  }
  std::cerr.rdbuf(before);
  std::cerr.clear();
}

TEST(ReadableTextTest, BytesThatAreNoUtf8AreQuotedAsNumbers) {
  EXPECT_EQ(Quote("\xC2"), R"("\xC2")");
  EXPECT_EQ(Quote("\x9B\xE9 \xFF\xF5"), R"("\x9B\xE9 \xFF\xF5")");
  EXPECT_EQ(Quote("\xE2\x82"
                  "a"),
            R"("\xE2\x82a")");
  // Longer than needed, a surrogate, above U+10FFFF.
  EXPECT_EQ(Quote("\xC0\x8A\xE0\x82\x9B"), R"("\xC0\x8A\xE0\x82\x9B")");
  EXPECT_EQ(Quote("\xED\xA0\x80"), R"("\xED\xA0\x80")");
  EXPECT_EQ(Quote("\xF4\x90\x80\x80"), R"("\xF4\x90\x80\x80")");
  for (const char* const good : {"\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEF\xBF\xBD",
                                 "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_EQ(Quote(good), '"' + std::string(good) + '"');
  }
}

TEST(ReadableTextTest, WithoutQuotationMarksTheRestStaysAsItIs) {
  EXPECT_EQ(Readable("a \"b\" C:\\d\x07\xFF"), "a \"b\" C:\\d\\x07\\xFF");
}

TEST(ReadableTextTest, HexDumpsHave16BytesALine) {
  std::string text;
  ByteVector bytes;
  for (unsigned value = 0; value < 18; ++value) {
    bytes.push_back(static_cast<std::uint8_t>(value * 8 + 0x10));
  }
  AppendHexDump(text, bytes, "  ");
  EXPECT_EQ(text,
            "  0000  10 18 20 28 30 38 40 48 50 58 60 68 70 78 80 88  .. (08@HPX`hpx..\n"
            "  0010  90 98                                            ..\n");
}

TEST(ReadableTextTest, BytesAreShownInTheLargestFittingUnit) {
  EXPECT_EQ(FormatBytes(0), "0 B");
  EXPECT_EQ(FormatBytes(999), "999 B");
  EXPECT_EQ(FormatBytes(1'000), "1.0 kB");
  EXPECT_EQ(FormatBytes(999'949), "999.9 kB");
  EXPECT_EQ(FormatBytes(999'950), "1.0 MB");
  EXPECT_EQ(FormatBytes(1'500'000'000), "1.5 GB");
  EXPECT_EQ(FormatBytes(18'446'744'073'709'551'615ULL), "18.4 EB");
}

TEST(ReadableTextTest, ThousandsAreSeparated) {
  EXPECT_EQ(FormatCount(0), "0");
  EXPECT_EQ(FormatCount(999), "999");
  EXPECT_EQ(FormatCount(1'000), "1,000");
  EXPECT_EQ(FormatCount(1'234'567), "1,234,567");
}

TEST(ReadableTextTest, ElapsedTimeIsShownInWholeSeconds) {
  EXPECT_EQ(FormatElapsed(milliseconds(0)), "0:00:00");
  EXPECT_EQ(FormatElapsed(milliseconds(7'999)), "0:00:07");
  EXPECT_EQ(FormatElapsed(milliseconds(3'600'000 + 62'000)), "1:01:02");
  EXPECT_EQ(FormatElapsed(milliseconds(100ULL * 3'600'000)), "100:00:00");
}

}  // namespace
}  // namespace corvane::tools
