#include "corvane/capture/capture_course.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <sstream>

#include "corvane/command/command_line.h"
#include "reader/markers.h"
#include "tools/capture_course_fixture.h"

namespace corvane::tools {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using Json = nlohmann::json;

TEST_F(CaptureCourseTest, CtrlCEndsWithACompleteFileAndASummary) {
  SendALogEachLook();
  host.stopAt = seconds(3);
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_TRUE(IsComplete(request.output));
  EXPECT_EQ(StopReason(), "requested");
  EXPECT_THAT(errors, HasSubstr("Set-up complete: 13 requests sent, 13 answered, 0 refused, 0 "
                                "unanswered\n"));
  EXPECT_THAT(errors, HasSubstr("drive.isf is complete: "));
  EXPECT_THAT(errors, HasSubstr("1 connection, 1 bad frame, no gap\n"));
  const Json summary = Summary();
  EXPECT_EQ(summary["exit_code"], 0);
  EXPECT_EQ(summary["items_by_type"]["log"], 15);
  EXPECT_EQ(summary["items_by_type"]["information"], 3);
  EXPECT_EQ(summary["set_up"]["complete"], true);
  EXPECT_EQ(summary["files"][0]["path"], request.output);
}

TEST_F(CaptureCourseTest, ASupervisorIsWarnedBeforeTheStart) {
  std::ofstream(request.configuration) << "<LogCodes>412F";
  host.freeSpace.reset();
  host.busy = "another program has it";
  host.stopAt = seconds(2);
  EXPECT_EQ(Run(), kExitGood);
  std::vector<std::string> warnings;
  for (const Json& event : Events("warning")) {
    warnings.push_back(event["text"]);
  }
  EXPECT_THAT(warnings, ElementsAre(HasSubstr(request.configuration + ": "),
                                    HasSubstr("--stop-below has no effect"),
                                    HasSubstr("COM7 is present but cannot be opened: another")));
}

TEST_F(CaptureCourseTest, EventsComeInTheirOrder) {
  host.stopAt = milliseconds(1'500);
  EXPECT_EQ(Run(), kExitGood);
  std::vector<std::string> names;
  std::stringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    names.push_back(Json::parse(line)["event"]);
  }
  // The configuration asks for nothing, which is warned of first.
  EXPECT_THAT(names, ElementsAre("warning", "started", "connected", "set_up", "status", "status",
                                 "stopped", "summary"));
  EXPECT_EQ(Events("started")[0]["requests"], 13);
  EXPECT_EQ(Events("status")[0]["set_up"]["answered"], 13);
}

TEST_F(CaptureCourseTest, TheDurationCountsFromTheFirstConnection) {
  library.connects = false;
  request.duration = seconds(10);
  host.whileWaiting = [this] {
    if (host.now == seconds(8)) {
      library.Connect();
    }
  };
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_EQ(host.now, seconds(18));
  EXPECT_EQ(StopReason(), "duration");
}

TEST_F(CaptureCourseTest, WithoutAConnectionItEndsAfterItsDuration) {
  library.connects = false;
  request.duration = seconds(10);
  EXPECT_EQ(Run(), kExitNothing);
  EXPECT_EQ(host.now, seconds(10));
  EXPECT_EQ(StopReason(), "no_connection");
  EXPECT_THAT(Files(), ElementsAre("capture.cfg"));
}

TEST_F(CaptureCourseTest, AWaitBelowASecondIsToldAsItIs) {
  library.connects = false;
  request.duration = milliseconds(700);
  EXPECT_EQ(Run(), kExitNothing);
  EXPECT_THAT(errors, HasSubstr("warning: the device is waited for 0.7 s only"));
  EXPECT_THAT(errors, HasSubstr("COM7 was not connected within 0.7 s: the capture ends"));
}

TEST_F(CaptureCourseTest, WithoutAConnectionItEndsAfterItsWait) {
  library.connects = false;
  request.duration = seconds(10);
  request.wait = seconds(30);
  EXPECT_EQ(Run(), kExitNothing);
  EXPECT_EQ(host.now, seconds(30));
  EXPECT_THAT(errors, HasSubstr("COM7 was not connected within 30 s: the capture ends"));
}

TEST_F(CaptureCourseTest, AConnectionThatComesTooLateReplacesNothing) {
  const ByteVector old = {'o', 'l', 'd'};
  std::ignore = folder.Write("drive.isf", old);
  request.overwrite = true;
  library.connects = false;
  request.wait = seconds(1);
  library.whileStopping = [this] {
    library.Connect();
    library.SendLog();
  };
  EXPECT_EQ(Run(), kExitNothing);
  EXPECT_EQ(StopReason(), "no_connection");
  EXPECT_THAT(errors, HasSubstr("nothing was captured: the device was connected too late, and no "
                                "file is kept; "));
  EXPECT_THAT(errors, Not(HasSubstr("is complete")));
  EXPECT_THAT(Files(), ElementsAre("capture.cfg", "drive.isf"));
  std::ifstream file(request.output, std::ios::binary);
  EXPECT_EQ(ByteVector(std::istreambuf_iterator<char>(file), {}), old);
  EXPECT_EQ(Summary()["exit_code"], 4);
}

TEST_F(CaptureCourseTest, AModemThatSendsNothingIsToldAndGivesFour) {
  library.answers = 0;
  request.duration = seconds(12);
  EXPECT_EQ(Run(true), kExitNothing);
  EXPECT_EQ(Events("warning").size(), 2U);  // and that the configuration asks for nothing
  EXPECT_THAT(errors, HasSubstr("the set-up is stuck: request 1 of 13 ("));
  EXPECT_THAT(errors, HasSubstr("nothing was captured: the device was connected and sent nothing"));
  EXPECT_TRUE(IsComplete(request.output));
  EXPECT_EQ(Summary()["exit_code"], 4);
}

TEST_F(CaptureCourseTest, ASetUpThatIsStuckGivesFourThoughLogsCame) {
  library.answers = 5;
  SendALogEachLook();
  request.duration = seconds(12);
  EXPECT_EQ(Run(), kExitNothing);
  EXPECT_THAT(errors, HasSubstr("request 6 of 13 ("));
  EXPECT_THAT(
      errors,
      HasSubstr("Set-up stuck: 6 of 13 requests sent, 5 answered, 0 refused, 1 unanswered\n"));
  EXPECT_THAT(errors, HasSubstr("  unanswered: "));
  EXPECT_EQ(Summary()["set_up"]["stuck"], true);
}

TEST_F(CaptureCourseTest, ASetUpOfWhichNothingIsSentIsStuck) {
  library.connects = false;
  request.duration = seconds(12);
  host.whileWaiting = [this] {
    if (host.now == milliseconds(200)) {
      library.ConnectOnly();
    }
    library.SendLog();
  };
  EXPECT_EQ(Run(), kExitNothing);
  EXPECT_THAT(errors, HasSubstr("the set-up is stuck: 0 of 13 requests were sent, and for 5 s no "
                                "other was"));
  EXPECT_THAT(errors, HasSubstr("Set-up stuck: 0 of 13 requests sent, 0 answered"));
  EXPECT_EQ(Summary()["set_up"]["not_sent"], 13);
  EXPECT_EQ(Summary()["set_up"]["stuck"], true);
}

TEST_F(CaptureCourseTest, AnEndAmidTheSetUpIsNoFailure) {
  library.answers = 5;
  request.duration = seconds(2);
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_THAT(errors, HasSubstr("Set-up not complete: 6 of 13 requests sent, 5 answered"));
}

TEST_F(CaptureCourseTest, ItEndsWithEnoughItems) {
  SendALogEachLook();
  request.items = 40;
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_EQ(StopReason(), "items");
  EXPECT_EQ(Summary()["received"], 40);
  EXPECT_EQ(Summary()["items"], 56);  // with three texts and 13 requests
}

TEST_F(CaptureCourseTest, OnlyItemsOfTheDeviceAreEnough) {
  library.connects = false;
  request.items = 1;
  host.whileWaiting = [this] {
    if (host.now == seconds(3)) {
      library.ConnectOnly();
    } else if (host.now == seconds(4)) {
      library.SendLog();
    }
  };
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_EQ(host.now, seconds(4));
  EXPECT_THAT(errors, HasSubstr("1 item of the device is captured: the capture ends\n"));
}

TEST_F(CaptureCourseTest, ItEndsWithEnoughBytes) {
  SendALogEachLook();
  request.size = 60'000;
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_EQ(StopReason(), "size");
  EXPECT_GE(fs::file_size(request.output), 60'000U);
  EXPECT_LT(fs::file_size(request.output), 60'200U);
}

TEST_F(CaptureCourseTest, ItEndsBeforeTheDiskIsFull) {
  SendALogEachLook();
  host.freeSpace = request.stopBelow + 1;
  library.refuses = [this] {
    host.freeSpace = request.stopBelow - 1;
    return false;
  };
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_EQ(StopReason(), "disk");
  EXPECT_THAT(errors, HasSubstr("and --stop-below is 200.0 MB: the capture ends"));
}

TEST_F(CaptureCourseTest, AFileThatCannotBeCompletedGivesOne) {
  SendALogEachLook();
  request.duration = seconds(3);
  library.afterStop = [this] {
    fs::resize_file(request.output, fs::file_size(request.output) - 1);  // the disk took no more
  };
  EXPECT_EQ(Run(), kExitFailed);
  EXPECT_THAT(errors, HasSubstr("drive.isf is not complete: "));
  EXPECT_THAT(errors, HasSubstr("; corvane recover saves what it holds\n"));
  EXPECT_EQ(Summary()["files"][0]["complete"], false);
}

TEST_F(CaptureCourseTest, ARefusedStartLeavesNoFile) {
  library.refuses = [] { return true; };
  EXPECT_EQ(Run(), kExitFailed);
  EXPECT_THAT(Files(), ElementsAre("capture.cfg"));
  EXPECT_EQ(library.stops, 0);
}

TEST_F(CaptureCourseTest, AReplacedFileStaysUntilTheNewOneIsComplete) {
  std::ignore = folder.Write("drive.isf", {});
  request.overwrite = true;
  request.duration = seconds(1);
  library.afterStop = [this] { EXPECT_EQ(fs::file_size(request.output), 0U); };
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_TRUE(IsComplete(request.output));
  EXPECT_THAT(Files(), ElementsAre("capture.cfg", "drive.isf"));
}

TEST_F(CaptureCourseTest, ACaptureOfNothingReplacesNothing) {
  std::ignore = folder.Write("drive.isf", {});
  request.overwrite = true;
  request.duration = seconds(1);
  library.connects = false;
  EXPECT_EQ(Run(), kExitNothing);
  EXPECT_EQ(fs::file_size(request.output), 0U);
  EXPECT_THAT(Files(), ElementsAre("capture.cfg", "drive.isf"));
}

TEST_F(CaptureCourseTest, ASilentModemReplacesNothing) {
  std::ignore = folder.Write("drive.isf", {});
  request.overwrite = true;
  request.duration = seconds(2);
  library.answers = 0;
  EXPECT_EQ(Run(), kExitNothing);
  EXPECT_EQ(fs::file_size(request.output), 0U);
  EXPECT_THAT(Files(), ElementsAre("capture.cfg", "drive.isf"));
  EXPECT_THAT(errors, HasSubstr("the device was connected and sent nothing; " + request.output +
                                " stays as it was\n"));
  EXPECT_EQ(Summary()["file_count"], 0);
}

TEST_F(CaptureCourseTest, TenConnectionsAreCounted) {
  request.duration = seconds(12);
  int connections = 1;
  host.whileWaiting = [&] {
    if (host.now.count() % 1000 == 0 && connections < 10) {
      library.Disconnect();
      library.Connect();
      ++connections;
    }
  };
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_EQ(Summary()["connections"], 10);
  EXPECT_EQ(Summary()["set_up"]["answered"], 130);
  EXPECT_EQ(Summary()["set_up"]["complete"], true);
  EXPECT_EQ(Events("connected").size(), 10U);
  EXPECT_EQ(Events("set_up").size(), 10U);
}

TEST_F(CaptureCourseTest, ASilenceBetweenItemsIsAGap) {
  request.duration = seconds(20);
  host.whileWaiting = [this] {
    if (host.now == seconds(1) || host.now == seconds(9)) {
      library.SendLog();
    }
  };
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_THAT(errors, HasSubstr("nothing received for 5 s"));
  EXPECT_THAT(errors, HasSubstr("2 gaps, the longest 11.2 s"));
  EXPECT_EQ(Summary()["gaps"][0]["from"], "2026-03-01T10:00:01.000Z");
  EXPECT_EQ(Summary()["gaps"][0]["to"], "2026-03-01T10:00:09.000Z");
}

TEST_F(CaptureCourseTest, ASilenceUntilTheEndIsAGap) {
  request.duration = seconds(20);
  library.stopTakes = seconds(9);
  host.whileWaiting = [this] {
    if (host.now <= seconds(13)) {
      library.SendLog();
    }
  };
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_THAT(errors, HasSubstr("1 gap, the longest 7.2 s"));
  EXPECT_EQ(Summary()["gaps"][0]["from"], "2026-03-01T10:00:13.000Z");
  EXPECT_EQ(Summary()["gaps"][0]["to"], "2026-03-01T10:00:20.200Z");
}

TEST_F(CaptureCourseTest, TypedMarkersStandBesideTheCapture) {
  request.duration = seconds(3);
  host.whileWaiting = [this] {
    if (host.now == seconds(2)) {
      host.typed = {{kCourseStart + 1'900, "m tunnel entry"}, {kCourseStart + 1'950, "what?"}};
    }
  };
  EXPECT_EQ(Run(), kExitGood);
  cMarkerReader markers(request.output);
  const auto marker = markers.NextUntil(UINT64_MAX);
  ASSERT_TRUE(marker);
  EXPECT_EQ(marker->time, kCourseStart + 1'900);
  EXPECT_EQ(marker->text, "tunnel entry");
  EXPECT_FALSE(markers.NextUntil(UINT64_MAX));
  EXPECT_EQ(Events("marker")[0]["text"], "tunnel entry");
  EXPECT_THAT(errors, HasSubstr("Type m and a text to set a marker"));
}

// A library that stops only when it is let.
class cSlowLibrary final : public cCaptureLibrary {
 public:
  [[nodiscard]] bool Start(const std::string&, const std::string&, const std::string&) override {
    return true;
  }
  void Stop() override { letGo.get_future().wait(); }
  std::promise<void> letGo;
};

class cLetter final : public cCaptureReporter {
 public:
  explicit cLetter(cSlowLibrary& stopping) : library(stopping) {}
  void Tell(const std::string& line) override {
    told = line;
    library.letGo.set_value();
  }
  void Complain(const std::string&) override {}
  void Warn(std::uint64_t, const std::string&) override {}
  std::string told;

 private:
  cSlowLibrary& library;
};

TEST(StopLibraryTest, AStopThatTakesLongIsToldOf) {
  cSlowLibrary library;
  cLetter reporter(library);
  StopLibrary(library, reporter, milliseconds(1));
  EXPECT_THAT(reporter.told, HasSubstr("as soon as the device lets go of its port"));
}

}  // namespace
}  // namespace corvane::tools
