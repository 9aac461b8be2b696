#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "corvane/capture/typed_marker.h"
#include "corvane/command/command_line.h"
#include "platform/clock.h"
#include "reader/capture_builder.h"
#include "reader/markers.h"
#include "reader/utc_time.h"
#include "support/temp_directory.h"

namespace corvane::tools {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

[[nodiscard]] std::uint64_t Now() { return SystemFileTime() / isf::kFileTimeUnitsPerMillisecond; }

class MarkCommandTest : public testing::Test {
 protected:
  MarkCommandTest() { builder.Add({7, 13'360'420'800'000, TextItem("Corvane version 1.0"), {}}); }

  // The exit code of corvane with these arguments; `output` and `errors` are what it wrote.
  int Run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"corvane", "mark"});
    std::vector<const char*> argv;
    for (const std::string& argument : arguments) {
      argv.push_back(argument.c_str());
    }
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int code = RunCommandLine(static_cast<int>(argv.size()), argv.data());
    output = testing::internal::GetCapturedStdout();
    errors = testing::internal::GetCapturedStderr();
    return code;
  }
  [[nodiscard]] std::vector<sMarker> Markers(const std::string& capture) const {
    std::vector<sMarker> markers;
    cMarkerReader reader(capture);
    while (auto marker = reader.NextUntil(UINT64_MAX)) {
      markers.push_back(std::move(*marker));
    }
    return markers;
  }

  cTempDirectory folder;
  cCaptureBuilder builder;
  std::string output;
  std::string errors;
};

TEST_F(MarkCommandTest, ItSetsAMarkerOfNow) {
  const std::string capture = folder.Write("drive.isf", builder.Unclosed());
  const std::uint64_t before = Now();
  EXPECT_EQ(Run({capture, "tunnel", "entry"}), kExitGood);
  EXPECT_EQ(Run({capture}), kExitGood);
  const auto markers = Markers(capture);
  ASSERT_THAT(markers, SizeIs(2));
  EXPECT_EQ(markers[0].text, "tunnel entry");
  EXPECT_EQ(markers[1].text, "");
  EXPECT_GE(markers[0].time, before);
  EXPECT_LE(markers[1].time, Now());
  EXPECT_EQ(errors, "");
}

TEST_F(MarkCommandTest, ItPrintsTheMarkerAsOneLine) {
  const std::string capture = folder.Write("drive.isf", builder.Unclosed());
  EXPECT_EQ(Run({"--at", "2026-03-01T10:00:00.250Z", capture, "two\nlines\t"}), kExitGood);
  EXPECT_EQ(output, "2026-03-01T10:00:00.250Z two lines \n");
  EXPECT_EQ(Markers(capture).at(0).text, "two lines ");
}

TEST_F(MarkCommandTest, ACompleteCaptureTakesOnlyMarkersWithATime) {
  const std::string capture = folder.Write("drive.isf", builder.Closed());
  EXPECT_EQ(Run({capture, "late"}), kExitFailed);
  EXPECT_THAT(errors, HasSubstr("drive.isf is complete, and a marker of now"));
  EXPECT_THAT(Markers(capture), SizeIs(0));
  EXPECT_EQ(Run({"--at", "2026-03-01T10:00:00Z", capture, "in time"}), kExitGood);
  EXPECT_EQ(Markers(capture).at(0).time, *ParseUtc("2026-03-01T10:00:00Z"));
}

TEST_F(MarkCommandTest, ATimeMayBeOfTheFirstItemsDay) {
  // The first item is of 2024-05-17 12:00:00 UTC.
  const std::string capture = folder.Write("drive.isf", builder.Closed());
  const std::pair<const char*, const char*> times[] = {
      {"13:30", "2024-05-17T13:30:00.000Z"},
      {"15:30:00.5+02:00", "2024-05-17T13:30:00.500Z"},
      {"+1.5m", "2024-05-17T12:01:30.000Z"}};
  for (const auto& [typed, written] : times) {
    EXPECT_EQ(Run({"--at", typed, capture, "x"}), kExitGood) << errors;
    EXPECT_EQ(output, std::string(written) + " x\n");
  }
}

TEST_F(MarkCommandTest, ACaptureThatIsNotThereIsRefused) {
  const std::string capture = folder.Path("missing.isf");
  EXPECT_EQ(Run({capture, "lost"}), kExitFailed);
  EXPECT_THAT(errors, HasSubstr("corvane mark: " + capture));
  EXPECT_FALSE(std::filesystem::exists(MarkerPath(capture)));
}

TEST_F(MarkCommandTest, AFileThatIsNoCaptureIsRefused) {
  const std::string file = folder.Write("notes.txt", Hex("01 02 03 04 05 06 07 08"));
  EXPECT_EQ(Run({file, "lost"}), kExitFailed);
  EXPECT_FALSE(std::filesystem::exists(MarkerPath(file)));
}

TEST_F(MarkCommandTest, AMarkerThatCannotBeWrittenIsTold) {
  const std::string capture = folder.Write("drive.isf", builder.Unclosed());
  std::filesystem::create_directory(MarkerPath(capture));
  EXPECT_EQ(Run({capture, "lost"}), kExitFailed);
  EXPECT_THAT(errors, HasSubstr("drive.isf.marks cannot be written"));
}

TEST_F(MarkCommandTest, ATimeThatIsNoneIsWrongUsage) {
  const std::string capture = folder.Write("drive.isf", builder.Unclosed());
  EXPECT_EQ(Run({"--at", "noon", capture}), kExitUsage);
  EXPECT_THAT(errors, HasSubstr("\"noon\" is no time"));
}

TEST(MarkerTypedTest, AnMAloneOrWithATextAsksForOne) {
  EXPECT_EQ(MarkerTyped("m"), "");
  EXPECT_EQ(MarkerTyped(" M \t"), "");
  EXPECT_EQ(MarkerTyped("m tunnel entry "), "tunnel entry");
  EXPECT_EQ(MarkerTyped("m\ttunnel  entry"), "tunnel  entry");
  EXPECT_EQ(MarkerTyped("m m"), "m");
}

TEST(MarkerTypedTest, OtherLinesAskForNone) {
  for (const char* const line : {"", "  ", "mark", "x", "tunnel m", "m1"}) {
    EXPECT_EQ(MarkerTyped(line), std::nullopt) << line;
  }
}

TEST(TypedLinesTest, LinesHaveTheTimeOfTheirEnd) {
  std::uint64_t now = 5;
  cTypedLines lines([&] { return now; });
  lines.Add("m tun");
  EXPECT_THAT(lines.Take(), SizeIs(0));
  now = 7;
  lines.Add("nel\r\n\nm");
  const auto typed = lines.Take();
  ASSERT_THAT(typed, SizeIs(2));
  EXPECT_EQ(typed[0].text, "m tunnel");
  EXPECT_EQ(typed[0].time, 7U);
  EXPECT_EQ(typed[1].text, "");
  EXPECT_THAT(lines.Take(), SizeIs(0));
}

TEST(TypedLinesTest, InputWithoutEndFillsNoMemory) {
  cTypedLines lines([] { return 0; });
  lines.Add(std::string(100'000, 'x') + '\n');
  lines.Add(std::string(5'000, '\n'));
  const auto typed = lines.Take();
  EXPECT_THAT(typed, SizeIs(cTypedLines::kMostWaiting));
  EXPECT_THAT(typed[0].text, SizeIs(cTypedLines::kLongestLine));
}

}  // namespace
}  // namespace corvane::tools
