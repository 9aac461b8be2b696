#include <tuple>

#include "convert/memory_sink.h"
#include "corvane/command/command_line.h"
#include "corvane/reading/reading_commands.h"
#include "corvane/report/report_command.h"
#include "tools/rewriting_fixture.h"

namespace corvane::tools {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

// --- what they have in common

TEST_F(RewritingCommandsTest, AnExistingFileStaysUnlessItMayBeReplaced) {
  const std::string input = Make("in.isf", {Reply(kNoon, 1)});
  std::ignore = folder.Write("out.isf", ByteVector{1});
  EXPECT_EQ(Recover(input), kExitFailed);
  EXPECT_THAT(errors.str(), HasSubstr("is there already; --overwrite replaces it"));
  EXPECT_EQ(Cut(input, {}), kExitFailed);
  EXPECT_EQ(Merge({input}), kExitFailed);
  EXPECT_EQ(BytesOf(output), "\x01");
  EXPECT_EQ(Cut(input, {}, true), kExitGood);
  EXPECT_EQ(BytesOf(output), BytesOf(input));
}

TEST_F(RewritingCommandsTest, OldMarkersAreReplacedWithTheirCapture) {
  const std::string input = Make("in.isf", {Reply(kNoon, 1)});
  std::ignore = AddMarker(output, {kNoon, "old"});
  EXPECT_EQ(Recover(input), kExitFailed);
  EXPECT_THAT(errors.str(), HasSubstr("out.isf.marks is there already"));
  EXPECT_FALSE(std::filesystem::exists(output));
  EXPECT_EQ(Recover(input, true), kExitGood);
  EXPECT_FALSE(std::filesystem::exists(MarkerPath(output)));
  EXPECT_FALSE(HasLeftovers());
}

TEST_F(RewritingCommandsTest, TheCaptureItselfIsNeverReplaced) {
  const std::string input = Make("out.isf", {Reply(kNoon, 1)});
  const std::string bytes = BytesOf(input);
  EXPECT_EQ(Recover(input, true), kExitFailed);
  EXPECT_THAT(errors.str(), HasSubstr("would overwrite the capture"));
  EXPECT_EQ(Cut(input, {}, true), kExitFailed);
  EXPECT_EQ(Merge({input}, true), kExitFailed);
  // Nor by another name.
  const std::string link = folder.Path("link.isf");
  std::filesystem::create_hard_link(input, link);
  EXPECT_EQ(Cut(link, {}, true), kExitFailed);
  EXPECT_EQ(BytesOf(input), bytes);
}

TEST_F(RewritingCommandsTest, AFileThatIsNotThereIsTold) {
  EXPECT_EQ(Recover(folder.Path("none.isf")), kExitFailed);
  EXPECT_THAT(errors.str(), HasSubstr("none.isf: the file cannot be opened"));
  EXPECT_EQ(Cut(folder.Path("none.isf"), {}), kExitFailed);
  EXPECT_EQ(Merge({folder.Path("none.isf")}), kExitFailed);
  EXPECT_FALSE(std::filesystem::exists(output));
}

TEST_F(RewritingCommandsTest, ANameThatCanBeNoFileIsRefused) {
  const std::string input = Make("in.isf", {Reply(kNoon, 1)});
  for (const std::string& name : {std::string(), folder.Path("")}) {
    EXPECT_EQ(RecoverFile({input, name, true}, out, errors), kExitFailed) << name;
  }
  EXPECT_EQ(RecoverFile({input, folder.Path("no/such/out.isf"), true}, out, errors), kExitFailed);
  EXPECT_THAT(errors.str(), HasSubstr("out.isf cannot be written: "));
}

// --- cut

TEST_F(RewritingCommandsTest, ACutOfEverythingHasTheSameBytes) {
  const std::string input = folder.Write("in.isf", BuildNumbered(8200).Closed());
  std::ignore = AddMarker(input, {kNoon - 5, "early"});
  std::ignore = AddMarker(input, {kNoon + 99'999'999, "late"});
  EXPECT_EQ(Cut(input, {}), kExitGood) << errors.str();
  EXPECT_TRUE(BytesOf(output) == BytesOf(input));
  EXPECT_THAT(MarkersOf(output), ElementsAre("early", "late"));
}

TEST_F(RewritingCommandsTest, ACutOfAnUnclosedCaptureIsClosed) {
  const std::string input = folder.Write("in.isf", BuildNumbered(20).Unclosed());
  EXPECT_EQ(Cut(input, {}), kExitUnclosed);
  EXPECT_EQ(BytesOf(output), BytesOf(folder.Write("closed.isf", BuildNumbered(20).Closed())));
}

class CutTest : public RewritingCommandsTest {
 protected:
  const std::string input =
      Make("in.isf", {Text(kNoon, "Corvane version 1.0"), Text(kNoon + 1, "Port COM7 connected"),
                      Text(kNoon + 2, "Subscription 2"), Reply(kNoon + 3, 1), Reply(kNoon + 4, 2),
                      Text(kNoon + 5, "Subscription 1"), Reply(kNoon + 6, 3),
                      Text(kNoon + 7, "Port COM7 disconnected"),
                      Text(kNoon + 8, "Port COM8 connected"), Reply(kNoon + 9, 4)});
};

TEST_F(CutTest, TheTextsInForceStandInFront) {
  sSelection selection;
  selection.from.number = 4;
  EXPECT_EQ(Cut(input, selection), kExitGood) << errors.str();
  EXPECT_THAT(ItemsOf(output), ElementsAre("+4 Port COM7 connected", "+4 Subscription 2", "+4 2",
                                           "+5 Subscription 1", "+6 3", "+7 Port COM7 disconnected",
                                           "+8 Port COM8 connected", "+9 4"));
  EXPECT_THAT(out.str(), HasSubstr("Kept:   6 items"));
  EXPECT_THAT(out.str(), HasSubstr("Added:  2 texts"));
}

TEST_F(CutTest, TextsThatWereCutOutBetweenItemsAreToldAgain) {
  sSelection selection;
  selection.types = {1};
  EXPECT_EQ(Cut(input, selection), kExitGood);
  EXPECT_THAT(ItemsOf(output),
              ElementsAre("+3 Port COM7 connected", "+3 Subscription 2", "+3 1", "+4 2",
                          "+6 Subscription 1", "+6 3", "+9 Port COM8 connected", "+9 4"));
}

TEST_F(CutTest, TextsThatAreKeptThemselvesAreNotRepeated) {
  sSelection selection;
  selection.from.number = 1;
  EXPECT_EQ(Cut(input, selection), kExitGood);
  EXPECT_THAT(ItemsOf(output).front(), "+1 Port COM7 connected");
  selection.from.number = 2;
  EXPECT_EQ(Cut(input, selection, true), kExitGood);
  EXPECT_THAT(ItemsOf(output).at(0), "+2 Port COM7 connected");
  EXPECT_THAT(ItemsOf(output).at(1), "+2 Subscription 2");
  EXPECT_THAT(ItemsOf(output).at(2), "+3 1");
}

TEST_F(RewritingCommandsTest, TheSubscriptionIsToldThoughThePortWasReconnected) {
  const std::string input =
      Make("in.isf", {Text(kNoon, "Port COM7 connected"), Text(kNoon + 1, "Subscription 2"),
                      Reply(kNoon + 2, 1), Text(kNoon + 3, "Port COM7 disconnected"),
                      Text(kNoon + 4, "some text"), Text(kNoon + 5, "another"),
                      Text(kNoon + 6, "Port COM7 connected"), Reply(kNoon + 7, 2)});
  sSelection selection;
  selection.from.number = 7;
  EXPECT_EQ(Cut(input, selection), kExitGood) << errors.str();
  EXPECT_THAT(ItemsOf(output), ElementsAre("+7 Port COM7 connected", "+7 Subscription 2", "+7 2"));
  // Once, though no port is told while none is connected; the connection makes it untold again.
  selection.from.number = 4;
  EXPECT_EQ(Cut(input, selection, true), kExitGood) << errors.str();
  EXPECT_THAT(ItemsOf(output), ElementsAre("+4 Subscription 2", "+4 some text", "+5 another",
                                           "+6 Port COM7 connected", "+7 Subscription 2", "+7 2"));
  const std::string other = Make("other.isf", {Reply(kNoon + 6, 9)});
  EXPECT_EQ(Merge({input, other}, true), kExitGood) << errors.str();
  EXPECT_THAT(
      ItemsOf(output),
      ElementsAre("+0 Merged from in.isf", "+0 Port COM7 connected", "+1 Subscription 2", "+2 1",
                  "+3 Port COM7 disconnected", "+4 some text", "+5 another",
                  "+6 Port COM7 connected", "+6 Merged from other.isf", "+6 9",
                  "+7 Merged from in.isf", "+7 Port COM7 connected", "+7 Subscription 2", "+7 2"));
}

TEST_F(CutTest, MarkersFollowTheirItems) {
  for (const auto& [time, text] :
       {std::pair(3U, "before"), {4U, "first"}, {5U, "inside"}, {7U, "behind"}}) {
    std::ignore = AddMarker(input, {kNoon + time, text});
  }
  sSelection selection;
  selection.from.number = 4;
  selection.to.number = 6;
  EXPECT_EQ(Cut(input, selection), kExitGood);
  EXPECT_THAT(MarkersOf(output), ElementsAre("first", "inside"));
  // One that leaves items out between them keeps all.
  sSelection replies;
  replies.types = {1};
  EXPECT_EQ(Cut(input, replies, true), kExitGood);
  EXPECT_THAT(MarkersOf(output), ElementsAre("before", "first", "inside", "behind"));
  // Without any, there is no file of markers.
  selection.from.number = 9;
  selection.to.number.reset();
  EXPECT_EQ(Cut(input, selection, true), kExitGood);
  EXPECT_FALSE(std::filesystem::exists(MarkerPath(output)));
}

TEST_F(CutTest, ASelectionOfNothingMakesNoFile) {
  sSelection selection;
  selection.types = {9};
  EXPECT_EQ(Cut(input, selection), kExitFailed);
  EXPECT_THAT(errors.str(), HasSubstr("no item was kept, so no capture was made"));
  EXPECT_FALSE(std::filesystem::exists(output));
  EXPECT_FALSE(HasLeftovers());
}

TEST_F(CutTest, ExtraFieldsAreKept) {
  const std::string with = folder.Write("small.isf", SmallCapture().Closed());
  sSelection selection;
  selection.from.number = 2;
  EXPECT_EQ(Cut(with, selection), kExitGood);
  sCaptureError error;
  const auto file = cCaptureFile::Open(output, error);
  sCaptureItem item;
  ASSERT_FALSE(file->ReadItem(0, item).has_value());
  EXPECT_EQ(item.extra, 0x01020304U);
}

// --- merge

TEST_F(RewritingCommandsTest, ACaptureDamagedFromItsFirstBlockOnIsNamed) {
  ByteVector file = Hex("08 31 60 AB");
  file.resize(60'004, 0xFF);
  const std::string input = folder.Write("in.isf", file);
  const std::string damage =
      input + ": the block at offset 4 names a next block that runs past the end";
  EXPECT_EQ(Cut(input, {}), kExitFailed);
  EXPECT_THAT(errors.str(), HasSubstr("corvane cut: " + damage));
  EXPECT_THAT(errors.str(), HasSubstr("no item was kept, so no capture was made\n"));
  EXPECT_FALSE(std::filesystem::exists(output));
  EXPECT_EQ(Merge({input}), kExitFailed);
  EXPECT_THAT(errors.str(), HasSubstr("corvane merge: " + damage));
  EXPECT_FALSE(std::filesystem::exists(output));
}

TEST_F(RewritingCommandsTest, ItemsAreMergedInTheOrderOfTimeWithTheirSources) {
  const std::string one =
      Make("one.isf", {Text(kNoon, "Port COM7 connected"), Text(kNoon, "Subscription 2"),
                       Reply(kNoon + 10, 1), Reply(kNoon + 30, 2)});
  const std::string two =
      Make("two.isf", {Text(kNoon + 5, "Imported from drive.hdlc"), Reply(kNoon + 10, 3),
                       Reply(kNoon + 20, 4), Reply(kNoon + 40, 5)});
  EXPECT_EQ(Merge({one, two}), kExitGood) << errors.str();
  EXPECT_THAT(
      ItemsOf(output),
      ElementsAre("+0 Merged from one.isf", "+0 Port COM7 connected", "+0 Subscription 2",
                  "+5 Merged from two.isf", "+5 Imported from drive.hdlc",
                  "+10 Merged from one.isf", "+10 Port COM7 connected", "+10 Subscription 2",
                  "+10 1", "+10 Merged from two.isf", "+10 Imported from drive.hdlc", "+10 3",
                  "+20 4", "+30 Merged from one.isf", "+30 Port COM7 connected",
                  "+30 Subscription 2", "+30 2", "+40 Merged from two.isf",
                  "+40 Imported from drive.hdlc", "+40 5"));
  EXPECT_THAT(out.str(), HasSubstr("Merged: 8 items of 2 captures"));
}

TEST_F(RewritingCommandsTest, AConnectionThatHasEndedIsNotBegunAnew) {
  const std::string one =
      Make("one.isf", {Text(kNoon, "Port COM7 connected"),
                       Text(kNoon + 1, "Port COM7 disconnected"), Text(kNoon + 5, "waiting"),
                       Text(kNoon + 7, "Port COM7 connected"), Reply(kNoon + 8, 1)});
  const std::string two = Make("two.isf", {Reply(kNoon + 3, 2), Reply(kNoon + 6, 3)});
  EXPECT_EQ(Merge({one, two}), kExitGood);
  EXPECT_THAT(ItemsOf(output),
              ElementsAre("+0 Merged from one.isf", "+0 Port COM7 connected",
                          "+1 Port COM7 disconnected", "+3 Merged from two.isf", "+3 2",
                          "+5 Merged from one.isf", "+5 waiting", "+6 Merged from two.isf", "+6 3",
                          "+7 Merged from one.isf", "+7 Port COM7 connected", "+8 1"));
}

TEST_F(RewritingCommandsTest, ACaptureKeepsItsOrderWhereItsClockWasSetBack) {
  const std::string one = Make("one.isf", {Reply(kNoon + 100, 1), Reply(kNoon + 5, 2)});
  const std::string two = Make("two.isf", {Reply(kNoon + 50, 3), Reply(kNoon + 200, 4)});
  EXPECT_EQ(Merge({one, two}), kExitGood);
  EXPECT_THAT(ItemsOf(output),
              ElementsAre("+50 Merged from two.isf", "+50 3", "+100 Merged from one.isf", "+100 1",
                          "+5 2", "+200 Merged from two.isf", "+200 4"));
}

TEST_F(RewritingCommandsTest, MarkersOfAllAreMerged) {
  const std::string one = Make("one.isf", {Reply(kNoon, 1)});
  const std::string two = Make("two.isf", {Reply(kNoon + 1, 2)});
  std::ignore = AddMarker(one, {kNoon + 10, "one"});
  std::ignore = AddMarker(one, {kNoon + 30, "three"});
  std::ignore = AddMarker(two, {kNoon + 20, "two"});
  EXPECT_EQ(Merge({one, two}), kExitGood);
  EXPECT_THAT(MarkersOf(output), ElementsAre("one", "two", "three"));
}

TEST_F(RewritingCommandsTest, TheWorstOfTheCapturesIsTheResult) {
  const std::string good = Make("good.isf", {Reply(kNoon, 1)});
  const std::string unclosed = Make("unclosed.isf", {Reply(kNoon + 1, 2)}, false);
  EXPECT_EQ(Merge({good, unclosed}), kExitUnclosed);
  const std::string damaged = Make("damaged.isf", {Reply(kNoon + 2, 3), Reply(kNoon + 3, 4)});
  std::filesystem::resize_file(damaged, 57'364 + 5);
  EXPECT_EQ(Merge({good, damaged, unclosed}, true), kExitFailed);
  EXPECT_THAT(ItemsOf(output),
              ElementsAre("+0 Merged from good.isf", "+0 1", "+1 Merged from unclosed.isf", "+1 2",
                          "+2 Merged from damaged.isf", "+2 3"));
  EXPECT_THAT(errors.str(), HasSubstr("damaged.isf: "));
}

TEST_F(RewritingCommandsTest, AFileThatIsNoCaptureStopsTheMerge) {
  const std::string good = Make("good.isf", {Reply(kNoon, 1)});
  EXPECT_EQ(Merge({good, folder.Write("note.txt", ByteVector(100, 'x'))}), kExitFailed);
  EXPECT_THAT(errors.str(), HasSubstr("note.txt: the file does not begin as a capture file does"));
  EXPECT_FALSE(std::filesystem::exists(output));
}

TEST_F(RewritingCommandsTest, ACaptureNamedTwiceIsWrongUsage) {
  const std::string one = Make("one.isf", {Reply(kNoon, 1)});
  EXPECT_EQ(Merge({one, one}), kExitUsage);
  const std::string link = folder.Path("link.isf");
  std::filesystem::create_hard_link(one, link);
  EXPECT_EQ(Merge({one, link}), kExitUsage);
  EXPECT_THAT(errors.str(), HasSubstr("link.isf is named twice"));
}

TEST_F(RewritingCommandsTest, CapturesOfOneNameAreToldApart) {
  std::filesystem::create_directory(folder.Path("a"));
  std::filesystem::create_directory(folder.Path("b"));
  const std::string one = Make("a/drive.isf", {Reply(kNoon, 1)});
  const std::string two = Make("b/drive.isf", {Reply(kNoon + 1, 2)});
  EXPECT_EQ(Merge({one, two}), kExitGood);
  EXPECT_THAT(ItemsOf(output),
              ElementsAre("+0 Merged from " + one, "+0 1", "+1 Merged from " + two, "+1 2"));
}

TEST_F(RewritingCommandsTest, CapturesThatFollowEachOtherMayBeAnyNumber) {
  std::vector<std::string> inputs;
  for (std::uint8_t number = 0; number < 120; ++number) {
    inputs.push_back(
        Make("in" + std::to_string(number) + ".isf", {Reply(kNoon + number * 10U, number)}));
  }
  EXPECT_EQ(Merge(inputs), kExitGood) << errors.str();
  EXPECT_EQ(ItemsOf(output).size(), 240U);
}

TEST_F(RewritingCommandsTest, TooManyCapturesOfTheSameTimeAreRefused) {
  std::vector<std::string> inputs;
  for (std::uint8_t number = 0; number < 101; ++number) {
    inputs.push_back(Make("in" + std::to_string(number) + ".isf",
                          {Reply(kNoon + number, number), Reply(kNoon + 1000, number)}));
  }
  EXPECT_EQ(Merge(inputs), kExitFailed);
  EXPECT_THAT(errors.str(), HasSubstr("more than 100 captures of the same time"));
  EXPECT_FALSE(std::filesystem::exists(output));
  EXPECT_FALSE(HasLeftovers());
}

// Each command tells it alike, and shows or copies the markers that can be read.
TEST_F(CutTest, LinesThatAreNoMarkersAreTold) {
  const std::string marked = Make("in.isf", {Reply(kNoon, 1)});
  std::ignore = AddMarker(marked, {kNoon, "before"});
  std::ofstream(marked + ".marks", std::ios::app) << "yesterday\nno time\n\n";
  std::ignore = AddMarker(marked, {kNoon, "behind"});
  const std::string told = "2 lines of " + marked + ".marks are no markers; the first is line 2\n";
  std::ostringstream said;
  EXPECT_EQ(CutFile({marked, folder.Path("cut.isf"), false, {}}, out, said), kExitFailed);
  EXPECT_EQ(said.str(), "corvane cut: " + told);
  EXPECT_THAT(MarkersOf(folder.Path("cut.isf")), ElementsAre("before", "behind"));
  said.str("");
  EXPECT_EQ(MergeFiles({{marked}, folder.Path("merged.isf"), false}, out, said), kExitFailed);
  EXPECT_EQ(said.str(), "corvane merge: " + told);
  said.str("");
  EXPECT_EQ(RecoverFile({marked, folder.Path("saved.isf"), false}, out, said), kExitFailed);
  EXPECT_EQ(said.str(), "corvane recover: " + told);
  said.str("");
  EXPECT_EQ(MakeReport({marked, folder.Path("page.html"), false, {}, ""}, said), kExitFailed);
  EXPECT_EQ(said.str(), "corvane report: " + told);
  said.str("");
  sListRequest listed;
  listed.showing.path = marked;
  cMemorySink sink;
  EXPECT_EQ(ListItems(listed, sink, said), kExitFailed);
  EXPECT_EQ(said.str(), "corvane list: " + told);
  std::filesystem::remove(marked + ".marks");
  std::filesystem::create_directory(marked + ".marks");
  said.str("");
  EXPECT_EQ(ListItems(listed, sink, said), kExitFailed);
  EXPECT_EQ(said.str(), "corvane list: " + marked + ".marks is no file\n");
}

}  // namespace
}  // namespace corvane::tools
