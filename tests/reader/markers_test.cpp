#include "reader/markers.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "reader/utc_time.h"
#include "support/temp_directory.h"

namespace corvane {
namespace {

[[nodiscard]] std::vector<std::uint8_t> Bytes(const std::string& text) {
  return {text.begin(), text.end()};
}

[[nodiscard]] std::vector<std::string> TextsUntil(cMarkerReader& markers, const char* time) {
  std::vector<std::string> texts;
  while (const auto marker = markers.NextUntil(*ParseUtc(time))) {
    texts.push_back(marker->text);
  }
  return texts;
}

using Texts = std::vector<std::string>;

TEST(Markers, StandBesideTheCapture) { EXPECT_EQ(MarkerPath("a/drive.isf"), "a/drive.isf.marks"); }

TEST(Markers, AreLinesOfTimeAndText) {
  const std::uint64_t time = *ParseUtc("2026-03-01T10:00:00.250Z");
  EXPECT_EQ(MarkerLine({time, "tunnel"}), "2026-03-01T10:00:00.250Z tunnel\n");
  EXPECT_EQ(MarkerLine({time, ""}), "2026-03-01T10:00:00.250Z \n");
  EXPECT_EQ(MarkerLine({time, "a\nb\tc\x7F"}), "2026-03-01T10:00:00.250Z a b c \n");
}

TEST(Markers, ComeInFrontOfTheItemsBehindThem) {
  const cTempDirectory folder;
  const std::string capture = folder.Path("drive.isf");
  ASSERT_TRUE(AddMarker(capture, {*ParseUtc("2026-03-01T10:00:00.250Z"), "first"}));
  ASSERT_TRUE(AddMarker(capture, {*ParseUtc("2026-03-01T10:00:09"), "second"}));
  cMarkerReader markers(capture);
  EXPECT_EQ(TextsUntil(markers, "2026-03-01T10:00:00.249"), Texts());
  EXPECT_EQ(TextsUntil(markers, "2026-03-01T10:00:00.250"), Texts{"first"});
  EXPECT_EQ(TextsUntil(markers, "2026-03-01T10:00:00.250"), Texts());
  EXPECT_EQ(TextsUntil(markers, "2027-01-01"), Texts{"second"});
  EXPECT_EQ(TextsUntil(markers, "2028-01-01"), Texts());
}

TEST(Markers, ComeByTimeHoweverTheyWereSet) {
  const cTempDirectory folder;
  const std::string capture = folder.Path("drive.isf");
  ASSERT_TRUE(AddMarker(capture, {*ParseUtc("2026-03-01T10:00:09"), "third"}));
  ASSERT_TRUE(AddMarker(capture, {*ParseUtc("2026-03-01T10:00:00"), "first"}));
  ASSERT_TRUE(AddMarker(capture, {*ParseUtc("2026-03-01T10:00:09"), "fourth"}));
  ASSERT_TRUE(AddMarker(capture, {*ParseUtc("2026-03-01T10:00:05"), "second"}));
  cMarkerReader markers(capture);
  EXPECT_EQ(TextsUntil(markers, "2026-03-01T10:00:05"), (Texts{"first", "second"}));
  EXPECT_EQ(TextsUntil(markers, "2026-03-01T10:00:09"), (Texts{"third", "fourth"}));
}

TEST(Markers, OfAHugeFileAreSortedAsFarAsThereIsRoom) {
  const cTempDirectory folder;
  const std::uint64_t noon = *ParseUtc("2026-03-01T12:00:00");
  std::string lines;
  while (lines.size() < kMostWaitingMarkers) {
    lines += MarkerLine({noon, std::string(kLongestMarker, 'x')});
  }
  lines += MarkerLine({noon - 1, "late"});
  std::ignore = folder.Write("drive.isf.marks", Bytes(lines));
  cMarkerReader markers(folder.Path("drive.isf"));
  EXPECT_FALSE(markers.NextUntil(noon - 1));
  ASSERT_TRUE(markers.NextUntil(noon));
  std::size_t before = 1;
  auto marker = markers.NextUntil(noon);
  for (; marker && marker->text != "late"; marker = markers.NextUntil(noon)) {
    ++before;
  }
  ASSERT_TRUE(marker);
  EXPECT_EQ(marker->time, noon - 1);
  EXPECT_LT(before, lines.size() / kLongestMarker / 2);
}

TEST(Markers, LinesOfOthersArePassedOver) {
  const cTempDirectory folder;
  const auto path = folder.Write(
      "drive.isf.marks", Bytes("\n \nnot a time\n2026-03-01 no time\n2026-13-01T00:00:00Z month\n" +
                               std::string(100'000, 'x') + "\n2026-03-01T10:00:00Z good one\r\n" +
                               "2026-03-01T10:00:00Z\n2026-03-01T10:00:00Z unfinished"));
  cMarkerReader markers(folder.Path("drive.isf"));
  EXPECT_EQ(TextsUntil(markers, "2027-01-01"), (Texts{"good one", ""}));
}

TEST(Markers, AddedLaterAreFoundWhenLookedForAgain) {
  const cTempDirectory folder;
  const std::string capture = folder.Path("drive.isf");
  cMarkerReader markers(capture);
  EXPECT_EQ(TextsUntil(markers, "2027-01-01"), Texts());
  ASSERT_TRUE(AddMarker(capture, {*ParseUtc("2026-03-01"), "first"}));
  EXPECT_EQ(TextsUntil(markers, "2027-01-01"), Texts());
  markers.LookAgain();
  EXPECT_EQ(TextsUntil(markers, "2027-01-01"), Texts{"first"});
  ASSERT_TRUE(AddMarker(capture, {*ParseUtc("2026-03-02"), "second"}));
  ASSERT_TRUE(AddMarker(capture, {*ParseUtc("2026-02-01"), "late"}));
  markers.LookAgain();
  EXPECT_EQ(TextsUntil(markers, "2027-01-01"), (Texts{"late", "second"}));
}

TEST(Markers, BehindALineWithoutItsEndAMarkerBeginsALine) {
  const cTempDirectory folder;
  const std::string capture = folder.Path("drive.isf");
  std::ignore = folder.Write("drive.isf.marks", Bytes("2026-03-01T10:00:00Z first\n2026-03-01T1"));
  ASSERT_TRUE(AddMarker(capture, {*ParseUtc("2026-03-02"), "second"}));
  ASSERT_TRUE(AddMarker(capture, {*ParseUtc("2026-03-03"), "third"}));
  cMarkerReader markers(capture);
  EXPECT_EQ(TextsUntil(markers, "2027-01-01"), (Texts{"first", "second", "third"}));
}

TEST(Markers, AboveTheLongestAreCutBetweenCharacters) {
  const std::string time = "2026-03-01T10:00:00.250Z ";
  const auto lineOf = [](const std::string& text) {
    return MarkerLine({*ParseUtc("2026-03-01T10:00:00.250Z"), text});
  };
  EXPECT_EQ(lineOf(std::string(1000, 'x')), time + std::string(1000, 'x') + "\n");
  EXPECT_EQ(lineOf(std::string(1001, 'x')), time + std::string(1000, 'x') + "\n");
  EXPECT_EQ(lineOf(std::string(999, 'x') + "\u00E4"), time + std::string(999, 'x') + "\n");
  EXPECT_EQ(lineOf(std::string(998, 'x') + "\u4E2D"), time + std::string(998, 'x') + "\n");
  EXPECT_EQ(lineOf(std::string(997, 'x') + "\u4E2D"), time + std::string(997, 'x') + "\u4E2D\n");
}

TEST(Markers, ThatCannotBeWrittenAreTold) {
  const cTempDirectory folder;
  EXPECT_FALSE(AddMarker(folder.Path("no such folder/drive.isf"), {0, "lost"}));
}

TEST(Markers, OfStandardInputAreNone) { EXPECT_EQ(FindMarkerProblem(""), std::nullopt); }

}  // namespace
}  // namespace corvane
