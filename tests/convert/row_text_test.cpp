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
  EXPECT_EQ(Json("\0\x01\x1F\x7F"sv), "\"\\u0000\\u0001\\u001f\x7F\"");
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
