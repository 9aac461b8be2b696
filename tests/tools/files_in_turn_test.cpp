#include "corvane/capture/files_in_turn.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "corvane/capture/capture_course.h"
#include "corvane/command/command_line.h"
#include "tools/capture_course_fixture.h"

namespace corvane::tools {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Json = nlohmann::json;

class FilesInTurnTest : public CaptureCourseTest {};

TEST_F(FilesInTurnTest, AClockThatIsSetBackChangesNothingOfTheEnd) {
  request.duration = seconds(19);
  request.rotateTime = seconds(5);
  SendALogEachLook();
  const auto send = host.whileWaiting;
  host.whileWaiting = [&] {
    if (host.now == seconds(7)) {
      host.clockSet = -seconds(3600);
    }
    send();
  };
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_EQ(host.now, milliseconds(19'200));  // the connection was seen at the first look
  EXPECT_THAT(Files(), ElementsAre("capture.cfg", "drive_00001_2026-03-01_10-00-00.isf",
                                   "drive_00002_2026-03-01_10-00-05.isf",
                                   "drive_00003_2026-03-01_09-00-10.isf",
                                   "drive_00004_2026-03-01_09-00-15.isf"));
}

TEST_F(FilesInTurnTest, FilesInTurnAreCompleteCaptures) {
  request.duration = seconds(9);
  request.rotateTime = seconds(4);
  library.stopTakes = milliseconds(300);
  SendALogEachLook();
  EXPECT_EQ(Run(), kExitGood);
  ASSERT_EQ(library.outputs.size(), 3U);
  for (const std::string& path : library.outputs) {
    EXPECT_TRUE(IsComplete(path)) << path;
  }
  EXPECT_EQ(Events("rotated").size(), 2U);
  EXPECT_EQ(Events("rotated")[0]["closed"], library.outputs[0]);
  EXPECT_EQ(Events("rotated")[0]["output"], library.outputs[1]);
  EXPECT_DOUBLE_EQ(Events("rotated")[0]["change"], 0.3);
  EXPECT_EQ(Summary()["file_count"], 3);
  EXPECT_EQ(Summary()["connections"], 3);
  EXPECT_DOUBLE_EQ(Summary()["longest_change"], 0.3);
  EXPECT_DOUBLE_EQ(Summary()["longest_silence_of_change"], 0.3);
  EXPECT_THAT(errors, HasSubstr("3 files; each change took 300 ms, and nothing was received for "
                                "300 ms around it"));
  ASSERT_EQ(Events("resumed").size(), 2U);
  const std::size_t change = output.find("\"rotated\"");
  EXPECT_LT(output.find("\"connected\"", change), output.find("\"resumed\"", change));
  EXPECT_EQ(Events("resumed")[0]["output"], library.outputs[1]);
  EXPECT_DOUBLE_EQ(Events("resumed")[0]["silence"], 0.3);
  EXPECT_THAT(errors, HasSubstr("The device is heard again; around the change of files it was not "
                                "for 300 ms\n"));
}

TEST_F(FilesInTurnTest, ASilenceAcrossAClockThatIsSetBackIsUnknown) {
  request.duration = seconds(6);
  request.rotateTime = seconds(4);
  SendALogEachLook();
  library.afterStop = [this] { host.clockSet = -seconds(3600); };
  EXPECT_EQ(Run(), kExitGood);
  ASSERT_EQ(Events("resumed").size(), 1U);
  EXPECT_FALSE(Events("resumed")[0].contains("silence"));
  EXPECT_FALSE(Summary().contains("longest_silence_of_change"));
}

TEST_F(FilesInTurnTest, AFileIsFullAtItsSize) {
  request.duration = seconds(20);
  request.rotateSize = 60'000;
  SendALogEachLook();
  EXPECT_EQ(Run(), kExitGood);
  ASSERT_GE(library.outputs.size(), 3U);
  for (std::size_t number = 0; number + 1 < library.outputs.size(); ++number) {
    EXPECT_GE(fs::file_size(library.outputs[number]), 60'000U);
    EXPECT_LT(fs::file_size(library.outputs[number]), 60'300U);
  }
}

TEST_F(FilesInTurnTest, ASizeBelowOneItemStillRecordsSomethingInEachFile) {
  request.items = 100;
  request.rotateSize = 1;
  request.rotateTime = milliseconds(1);
  SendALogEachLook();
  EXPECT_EQ(Run(), kExitGood);
  for (const std::string& path : library.outputs) {
    EXPECT_TRUE(IsComplete(path)) << path;
  }
  const Json summary = Summary();
  for (const Json& file : summary["files"]) {
    EXPECT_GT(file["items"], 20);
  }
}

TEST_F(FilesInTurnTest, AFileWithoutItemsOfTheDeviceGoesOn) {
  library.connects = false;
  request.rotateTime = seconds(1);
  request.wait = seconds(30);
  EXPECT_EQ(Run(), kExitNothing);
  EXPECT_EQ(library.starts, 1);
  EXPECT_THAT(Files(), ElementsAre("capture.cfg"));
}

TEST_F(FilesInTurnTest, KeepRemovesOldFilesOfThisRunWithTheirMarkers) {
  std::ignore = folder.Write("drive_00000_2020-01-01_00-00-00.isf", {});  // of another run
  request.duration = seconds(9);
  request.rotateTime = seconds(4);
  request.keep = 1;
  SendALogEachLook();
  host.typed = {{kCourseStart, "m first file"}};
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_THAT(Files(), ElementsAre("capture.cfg", "drive_00000_2020-01-01_00-00-00.isf",
                                   "drive_00003_2026-03-01_10-00-08.isf"));
  EXPECT_EQ(Events("removed")[0]["files"], Json({library.outputs[0]}));
}

TEST_F(FilesInTurnTest, KeepRemovesNothingForAFileWithoutReceivedItems) {
  request.duration = milliseconds(4'700);
  request.rotateTime = seconds(4);
  request.keep = 1;
  SendALogEachLook();
  const auto send = host.whileWaiting;
  host.whileWaiting = [&] {
    if (library.isConnected) {
      send();
    }
  };
  library.afterStop = [this] { library.connects = false; };
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_EQ(library.starts, 2);
  EXPECT_THAT(Files(), ElementsAre("capture.cfg", "drive_00001_2026-03-01_10-00-00.isf"));
  EXPECT_THAT(Events("removed"), IsEmpty());
  EXPECT_EQ(Summary()["file_count"], 1);
  EXPECT_EQ(Summary()["items"], Summary()["files"][0]["items"]);
}

TEST_F(FilesInTurnTest, ASilenceFromOneFileToTheNextIsAGap) {
  request.duration = seconds(12);
  request.rotateTime = seconds(4);
  library.afterStop = [this] { library.connects = false; };
  host.whileWaiting = [this] {
    if (host.now <= seconds(3)) {
      library.SendLog();
    } else if (host.now == seconds(9)) {
      library.Connect();
    }
  };
  EXPECT_EQ(Run(), kExitGood);
  ASSERT_EQ(Summary()["gaps"].size(), 1U);
  EXPECT_EQ(Summary()["gaps"][0]["from"], "2026-03-01T10:00:03.000Z");
  EXPECT_EQ(Summary()["gaps"][0]["to"], "2026-03-01T10:00:09.000Z");
}

TEST_F(FilesInTurnTest, KeepRemovesAFileWhenTheNextOneHasAnItem) {
  request.duration = seconds(9);
  request.rotateTime = seconds(4);
  request.keep = 1;
  library.afterStop = [this] { library.connects = false; };
  host.whileWaiting = [this] {
    if (library.starts == 1) {
      library.SendLog();
    } else if (host.now == seconds(6)) {
      EXPECT_TRUE(fs::exists(library.outputs[0]));
      library.Connect();
    } else if (host.now > seconds(6)) {
      EXPECT_FALSE(fs::exists(library.outputs[0]));
    }
  };
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_THAT(Events("removed").size(), 1U);
}

TEST_F(FilesInTurnTest, AFailedStartOfTheNextFileIsTriedAgain) {
  request.duration = seconds(9);
  request.rotateTime = seconds(4);
  library.refuses = [this] { return library.starts == 2 || library.starts == 3; };
  SendALogEachLook();
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_EQ(library.starts, 4);
  EXPECT_EQ(Events("warning").size(), 2U);  // and that the configuration asks for nothing
  EXPECT_EQ(Events("error").size(), 2U);
  EXPECT_THAT(Files(), ElementsAre("capture.cfg", "drive_00001_2026-03-01_10-00-00.isf",
                                   "drive_00002_2026-03-01_10-00-06.isf"));
  EXPECT_DOUBLE_EQ(Summary()["longest_change"], 2.0);
}

TEST_F(FilesInTurnTest, ANextFileThatNeverStartsGivesOneAndKeepsTheOthers) {
  request.rotateTime = seconds(4);
  request.keep = 1;
  library.refuses = [this] { return library.starts > 1; };
  SendALogEachLook();
  EXPECT_EQ(Run(), kExitFailed);
  EXPECT_EQ(library.starts, 1 + cCaptureCourse::kMostStarts);
  EXPECT_EQ(StopReason(), "failed");
  EXPECT_THAT(Files(), ElementsAre("capture.cfg", "drive_00001_2026-03-01_10-00-00.isf"));
  EXPECT_TRUE(IsComplete(library.outputs[0]));
}

TEST_F(FilesInTurnTest, ADiskThatFillsBetweenTwoFilesEndsTheCapture) {
  request.rotateTime = seconds(4);
  SendALogEachLook();
  library.afterStop = [this] { host.freeSpace = request.stopBelow - 1; };
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_EQ(StopReason(), "disk");
  EXPECT_EQ(library.starts, 1);
  EXPECT_THAT(errors, HasSubstr("and --stop-below is 200.0 MB: the capture ends"));
  EXPECT_THAT(Files(), ElementsAre("capture.cfg", "drive_00001_2026-03-01_10-00-00.isf"));
}

TEST_F(FilesInTurnTest, CtrlCBetweenTwoFilesEndsTheCapture) {
  request.rotateTime = seconds(4);
  library.refuses = [this] { return library.starts > 1; };
  SendALogEachLook();
  host.stopAt = seconds(6);
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_EQ(StopReason(), "requested");
  EXPECT_EQ(library.stops, 1);
}

TEST(NameInTurnTest, StandsBeforeTheEnding) {
  EXPECT_EQ(NameInTurn("a.b/drive.isf", 12, kCourseStart),
            "a.b/drive_00012_2026-03-01_10-00-00.isf");
  EXPECT_EQ(NameInTurn("a.b/drive", 1, kCourseStart), "a.b/drive_00001_2026-03-01_10-00-00");
  EXPECT_EQ(NameInTurn("a.b\\.isf", 123456, kCourseStart), "a.b\\.isf_123456_2026-03-01_10-00-00");
}

TEST(KeptFilesTest, WhatCannotBeRemovedIsTriedAgain) {
  const cTempDirectory folder;
  const std::string stuck = folder.Path("stuck.isf");
  fs::create_directory(stuck);  // a folder that is not empty cannot be removed
  std::ignore = folder.Write("stuck.isf/file", {});
  cKeptFiles kept(1);
  kept.Add(stuck);
  kept.Add(folder.Write("second.isf", {}));
  auto removal = kept.RemoveOld();
  EXPECT_THAT(removal.removed, IsEmpty());
  EXPECT_THAT(removal.problems, ElementsAre(HasSubstr("stuck.isf cannot be removed: ")));
  fs::remove_all(stuck);
  std::ignore = folder.Write("stuck.isf", {});
  removal = kept.RemoveOld();
  EXPECT_THAT(removal.removed, ElementsAre(stuck));
  EXPECT_THAT(removal.problems, IsEmpty());
}

}  // namespace
}  // namespace corvane::tools
