#include "convert/row_text.h"

#include <gtest/gtest.h>

namespace corvane {
namespace {

using namespace std::string_view_literals;

[[nodiscard]] std::string Json(std::string_view text) {
  std::string row;
  AppendJsonString(row, text);
  return row;
}

[[nodiscard]] std::string Csv(std::string_view text) {
  std::string row;
  AppendCsvField(row, text);
  return row;
}

// --- RFC 8259

TEST(RowTextTest, JsonHasQuotationMarksAroundText) {
  EXPECT_EQ(Json(""), R"("")");
  EXPECT_EQ(Json("DL-DCCH, 12"), R"("DL-DCCH, 12")");
}

TEST(RowTextTest, JsonEscapesWhatCannotStandInAString) {
  EXPECT_EQ(Json(R"(a"b\c)"), R"("a\"b\\c")");
  EXPECT_EQ(Json("a\nb\rc\td"), R"("a\nb\rc\td")");
  EXPECT_EQ(Json("\0\x01\x1F"sv), R"("\u0000\u0001\u001f")");
}

// Their numbers are those of the Unicode standard's charts.
TEST(RowTextTest, JsonEscapesWhatActsOnTextAroundIt) {
  EXPECT_EQ(Json("\x7F\u0080\u009F\u00A0"), "\"\\u007f\\u0080\\u009f\u00A0\"");
  EXPECT_EQ(Json("\u061B\u061C\u061D"), "\"\u061B\\u061c\u061D\"");
  EXPECT_EQ(Json("\u200D\u200E\u200F\u2010"), "\"\u200D\\u200e\\u200f\u2010\"");
  EXPECT_EQ(Json("\u2027\u2028\u202E\u202F"), "\"\u2027\\u2028\\u202e\u202F\"");
  EXPECT_EQ(Json("\u2065\u2066\u206F\u2070"), "\"\u2065\\u2066\\u206f\u2070\"");
}

TEST(RowTextTest, WholeJsonIsMadeInertInItsStrings) {
  EXPECT_EQ(InertJson("{\"\u202E\":[\"\xC2\x9B\",1]}"), R"({"\u202e":["\u009b",1]})");
  EXPECT_EQ(InertJson(""), "");
}

TEST(RowTextTest, TextIsAppended) {
  std::string row = "{";
  AppendJsonString(row, "a");
  AppendCsvField(row, "b");
  EXPECT_EQ(row, R"({"a"b)");
}

// --- RFC 4180

TEST(RowTextTest, PlainCsvHasNoQuotationMarks) {
  EXPECT_EQ(Csv(""), "");
  EXPECT_EQ(Csv("a; b\tc\\"), "a; b\tc\\");
}

TEST(RowTextTest, CsvQuotesWhatWouldEndAField) {
  EXPECT_EQ(Csv("a,b"), R"("a,b")");
  EXPECT_EQ(Csv(R"(say "no")"), R"("say ""no""")");
  EXPECT_EQ(Csv("a\nb"), "\"a\nb\"");
  EXPECT_EQ(Csv("a\rb"), "\"a\rb\"");
}

TEST(RowTextTest, CsvTextsThatSpreadsheetsTakeForFormulasGetAnApostrophe) {
  EXPECT_EQ(Csv("=1+1"), "'=1+1");
  EXPECT_EQ(Csv("+49"), "'+49");
  EXPECT_EQ(Csv("-5"), "'-5");
  EXPECT_EQ(Csv("@SUM(1)"), "'@SUM(1)");
  EXPECT_EQ(Csv("\t=1"), "'\t=1");
  EXPECT_EQ(Csv("\r=1"), "\"'\r=1\"");
  EXPECT_EQ(Csv("=A1,\"x\""), R"("'=A1,""x""")");
  EXPECT_EQ(Csv("=\xFF"), "'=\uFFFD");
  EXPECT_EQ(Csv(" =1"), " =1");
  EXPECT_EQ(Csv("a=1"), "a=1");
}

TEST(RowTextTest, CsvShowsWhatActsOnTextAroundIt) {
  EXPECT_EQ(Csv("\x1B[2J\x7F\u009B\u202E\0"sv), "\\x1B[2J\\x7F\\x9B\\u202E\\x00");
  EXPECT_EQ(Csv("\x1B=1"), "\\x1B=1");
}

// --- Fields with separators

TEST(RowTextTest, FieldsWithSeparatorsShowLineEndsToo) {
  std::string row;
  AppendSeparatedField(row, "a\tb\r\n\x1B\u009B\u202E");
  EXPECT_EQ(row, "a\\x09b\\x0D\\x0A\\x1B\\x9B\\u202E");
}

// --- UTF-8: the examples of the Unicode standard, chapter 3.9

TEST(RowTextTest, WellFormedTextStaysAsItIs) {
  const std::string_view text = "\u00A2 \u20AC \U0001F600 \uD7FF \uE000 \U0010FFFF";
  EXPECT_EQ(Csv(text), text);
  EXPECT_EQ(Json(text), "\"" + std::string(text) + "\"");
}

TEST(RowTextTest, BytesThatBeginNothingAreReplacedOneByOne) {
  EXPECT_EQ(Csv("\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41"),
            "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\x41");
  EXPECT_EQ(Csv("\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41"),
            "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\x41");
  EXPECT_EQ(Csv("\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42"),
            "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\x41\uFFFD\uFFFD\x42");
}

TEST(RowTextTest, ABrokenSequenceIsReplacedOnce) {
  EXPECT_EQ(Csv("\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41"), "\uFFFD\uFFFD\uFFFD\uFFFD\x41");
  EXPECT_EQ(Json("a\xE2\x82"), "\"a\uFFFD\"");
  EXPECT_EQ(Csv("a\xF0\x9F\x98,\""), "\"a\uFFFD,\"\"\"");
}

}  // namespace
}  // namespace corvane
