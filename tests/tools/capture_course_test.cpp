#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "capture/isf/store.h"
#include "capture/text_item.h"
#include "corvane/capture/capture_course.h"
#include "corvane/capture/capture_run.h"
#include "corvane/command/command_line.h"
#include "diag/requests.h"
#include "platform/clock.h"
#include "reader/capture_builder.h"
#include "reader/markers.h"
#include "reader/utc_time.h"
#include "support/temp_directory.h"

namespace corvane::tools {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Json = nlohmann::json;

const std::uint64_t kStart = *ParseUtc("2026-03-01T10:00:00Z");

// A machine whose clock moves only while somebody waits.
class cScriptedHost final : public cCaptureHost {
 public:
  void CaptureStarts() override { began = now; }
  [[nodiscard]] milliseconds Elapsed() override { return now - began; }
  [[nodiscard]] bool WaitForStop(milliseconds time) override {
    const bool stopped = stopAt && now + time >= *stopAt;
    now = stopped ? std::max(now, *stopAt) : now + time;
    if (whileWaiting) {
      whileWaiting();
    }
    return stopped;
  }
  [[nodiscard]] std::optional<std::uint64_t> FreeSpace(const std::string&) override {
    return freeSpace;
  }
  [[nodiscard]] bool IsInUse(const std::string&) override { return false; }
  [[nodiscard]] std::vector<sPresentPort> PresentComPorts() override { return {{"COM7", "DIAG"}}; }
  [[nodiscard]] std::optional<std::string> TryToOpen(const std::string&) override {
    return std::nullopt;
  }
  [[nodiscard]] std::uint64_t Now() override {
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(kStart) + (now + clockSet).count());
  }
  [[nodiscard]] std::vector<sTypedLine> TypedLines() override { return std::exchange(typed, {}); }

  milliseconds now{0};
  milliseconds began{0};
  milliseconds clockSet{0};  // how far the wall clock was set on
  std::optional<milliseconds> stopAt;
  std::function<void()> whileWaiting;
  std::optional<std::uint64_t> freeSpace = 1'000'000'000'000;
  std::vector<sTypedLine> typed;
};

// A library whose modem answers so many requests, and then sends a log each time it is let. It
// writes its files by the real store.
class cScriptedLibrary final : public cCaptureLibrary {
 public:
  explicit cScriptedLibrary(cScriptedHost& machine) : host(machine) {}

  [[nodiscard]] bool Start(const std::string&, const std::string&,
                           const std::string& output) override {
    ++starts;
    if (refuses && refuses()) {
      return false;
    }
    store = std::make_unique<cISFStore>(
        sStoreSeams{[this] { return host.Now() * isf::kFileTimeUnitsPerMillisecond; }});
    store->Attach(std::make_unique<std::ofstream>(output, std::ios::binary | std::ios::trunc));
    outputs.push_back(output);
    Text("Corvane version 1.0");
    if (connects) {
      Connect();
    }
    return true;
  }
  void Stop() override {
    ++stops;
    host.now += stopTakes;
    if (isConnected) {
      Disconnect();
    }
    store->Close();
    store.reset();
    if (afterStop) {
      afterStop();
    }
  }

  void Connect() {
    isConnected = true;
    Text("Port COM7 connected");
    std::size_t number = 0;
    for (const auto request : StartUpRequests()) {
      if (number > answers) {
        return;
      }
      Add(request, kOriginLibrary);
      if (number++ < answers) {
        Reply(request);
      }
    }
  }
  void Disconnect() {
    isConnected = false;
    Text("Port COM7 disconnected");
  }
  // Log 0xB0C0 of 64 bytes.
  void SendLog() {
    ByteVector log(64, 0);
    log[0] = 0x10;
    log[6] = 0xC0;
    log[7] = 0xB0;
    Add(log, kOriginDevice);
  }

  std::function<bool()> refuses;
  std::function<void()> afterStop;
  bool connects = true;  // at the start
  bool isConnected = false;
  std::size_t answers = 1000;
  milliseconds stopTakes{0};
  int starts = 0;
  int stops = 0;
  std::vector<std::string> outputs;
  std::unique_ptr<cISFStore> store;  // while a capture runs

 private:
  void Text(const char* text) {
    const cBufferReference item(MakeTextItem(text));
    ASSERT_EQ(store->AddItem(item.Get(), isf::kInformationItem), 0U);
  }
  void Add(std::span<const std::uint8_t> bytes, std::uint32_t origin) {
    const cBufferReference item(MakeBuffer(bytes, origin));
    ASSERT_EQ(store->AddItem(item.Get(), kAutomaticType), 0U);
  }
  void Reply(std::span<const std::uint8_t> request) {
    ByteVector reply(request.begin(), request.end());
    if (reply[0] == 0x60) {
      reply = {0x60, 0, 0};
    } else {
      reply.resize(16, 1);
    }
    Add(reply, kOriginDevice);
  }

  cScriptedHost& host;
};

class CaptureCourseTest : public testing::Test {
 protected:
  CaptureCourseTest() {
    request.device = "COM7";
    request.configuration = folder.Write("capture.cfg", {});
    request.output = folder.Path("drive.isf");
  }

  int Run(bool quiet = false) {
    cCaptureConsole console(
        {false, quiet, true},
        [this](const std::string& text) {
          errors += text;
          return true;
        },
        [this](const std::string& text) {
          output += text;
          return true;
        });
    cPrintedLines printed(console);
    printed.Take("bad CRC");
    const int code = RunCapture(request, host, library, console, printed);
    console.Finish();
    return code;
  }

  // The events of this name.
  [[nodiscard]] std::vector<Json> Events(const std::string& name) const {
    std::vector<Json> events;
    std::stringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
      Json event = Json::parse(line);
      if (event["event"] == name) {
        events.push_back(std::move(event));
      }
    }
    return events;
  }
  [[nodiscard]] Json Summary() const { return Events("summary").at(0); }
  [[nodiscard]] std::string StopReason() const { return Events("stopped").at(0)["reason"]; }

  // A log arrives this often while the capture waits.
  void SendALogEachLook() {
    host.whileWaiting = [this] {
      if (library.store != nullptr) {
        library.SendLog();
      }
    };
  }

  [[nodiscard]] std::vector<std::string> Files() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(fs::path(request.output).parent_path())) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  [[nodiscard]] static bool IsComplete(const std::string& path) {
    sCaptureError error;
    const auto file = cCaptureFile::Open(path, error);
    return file != nullptr && file->IsComplete();
  }

  cTempDirectory folder;
  sCaptureRequest request;
  cScriptedHost host;
  cScriptedLibrary library{host};
  std::string errors;
  std::string output;
};

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

TEST_F(CaptureCourseTest, EventsComeInTheirOrder) {
  host.stopAt = milliseconds(1'500);
  EXPECT_EQ(Run(), kExitGood);
  std::vector<std::string> names;
  std::stringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    names.push_back(Json::parse(line)["event"]);
  }
  EXPECT_THAT(names, ElementsAre("started", "connected", "set_up", "status", "status", "stopped",
                                 "summary"));
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

TEST_F(CaptureCourseTest, WithoutAConnectionItEndsAfterItsWait) {
  library.connects = false;
  request.duration = seconds(10);
  request.wait = seconds(30);
  EXPECT_EQ(Run(), kExitNothing);
  EXPECT_EQ(host.now, seconds(30));
  EXPECT_THAT(errors, HasSubstr("COM7 was not connected within 30 s: the capture ends"));
}

TEST_F(CaptureCourseTest, AModemThatSendsNothingIsToldAndGivesFour) {
  library.answers = 0;
  request.duration = seconds(12);
  EXPECT_EQ(Run(true), kExitNothing);
  EXPECT_EQ(Events("warning").size(), 1U);
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
  EXPECT_THAT(errors,
              HasSubstr("Set-up stuck: 6 requests sent, 5 answered, 0 refused, 1 unanswered\n"));
  EXPECT_THAT(errors, HasSubstr("  unanswered: "));
  EXPECT_EQ(Summary()["set_up"]["stuck"], true);
}

TEST_F(CaptureCourseTest, AnEndAmidTheSetUpIsNoFailure) {
  library.answers = 5;
  request.duration = seconds(2);
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_THAT(errors, HasSubstr("Set-up not complete: 6 requests sent, 5 answered"));
}

TEST_F(CaptureCourseTest, ItEndsWithEnoughItems) {
  SendALogEachLook();
  request.items = 40;
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_EQ(StopReason(), "items");
  EXPECT_EQ(Summary()["items"], 41);  // the disconnection is one more
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
  EXPECT_THAT(errors, HasSubstr("1 gap, the longest 8.0 s"));
  EXPECT_EQ(Summary()["gaps"][0]["from"], "2026-03-01T10:00:01.000Z");
  EXPECT_EQ(Summary()["gaps"][0]["to"], "2026-03-01T10:00:09.000Z");
}

TEST_F(CaptureCourseTest, AClockThatIsSetBackChangesNothingOfTheEnd) {
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

TEST_F(CaptureCourseTest, TypedMarkersStandBesideTheCapture) {
  request.duration = seconds(3);
  host.whileWaiting = [this] {
    if (host.now == seconds(2)) {
      host.typed = {{kStart + 1'900, "m tunnel entry"}, {kStart + 1'950, "what?"}};
    }
  };
  EXPECT_EQ(Run(), kExitGood);
  cMarkerReader markers(request.output);
  const auto marker = markers.NextUntil(UINT64_MAX);
  ASSERT_TRUE(marker);
  EXPECT_EQ(marker->time, kStart + 1'900);
  EXPECT_EQ(marker->text, "tunnel entry");
  EXPECT_FALSE(markers.NextUntil(UINT64_MAX));
  EXPECT_EQ(Events("marker")[0]["text"], "tunnel entry");
  EXPECT_THAT(errors, HasSubstr("Type m and a text to set a marker"));
}

// --- Files in turn

TEST_F(CaptureCourseTest, FilesInTurnAreCompleteCaptures) {
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
  EXPECT_THAT(errors, HasSubstr("3 files; each change took 0.3 s, and nothing was received for "
                                "0.3 s around it"));
}

TEST_F(CaptureCourseTest, AFileIsFullAtItsSize) {
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

TEST_F(CaptureCourseTest, ASizeBelowOneItemStillRecordsSomethingInEachFile) {
  request.items = 100;
  request.rotateSize = 1;
  request.rotateTime = milliseconds(1);
  SendALogEachLook();
  EXPECT_EQ(Run(), kExitGood);
  for (const std::string& path : library.outputs) {
    EXPECT_TRUE(IsComplete(path)) << path;
  }
  for (const Json& file : Summary()["files"]) {
    EXPECT_GT(file["items"], 20);
  }
}

TEST_F(CaptureCourseTest, AFileWithoutItemsOfTheDeviceGoesOn) {
  library.connects = false;
  request.rotateTime = seconds(1);
  request.wait = seconds(30);
  EXPECT_EQ(Run(), kExitNothing);
  EXPECT_EQ(library.starts, 1);
  EXPECT_THAT(Files(), ElementsAre("capture.cfg"));
}

TEST_F(CaptureCourseTest, KeepRemovesOldFilesOfThisRunWithTheirMarkers) {
  std::ignore = folder.Write("drive_00000_2020-01-01_00-00-00.isf", {});  // of another run
  request.duration = seconds(9);
  request.rotateTime = seconds(4);
  request.keep = 1;
  SendALogEachLook();
  host.typed = {{kStart, "m first file"}};
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_THAT(Files(), ElementsAre("capture.cfg", "drive_00000_2020-01-01_00-00-00.isf",
                                   "drive_00003_2026-03-01_10-00-08.isf"));
  EXPECT_EQ(Events("rotated")[0]["removed"][0], library.outputs[0]);
}

TEST_F(CaptureCourseTest, AFailedStartOfTheNextFileIsTriedAgain) {
  request.duration = seconds(9);
  request.rotateTime = seconds(4);
  library.refuses = [this] { return library.starts == 2 || library.starts == 3; };
  SendALogEachLook();
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_EQ(library.starts, 4);
  EXPECT_EQ(Events("warning").size(), 1U);
  EXPECT_EQ(Events("error").size(), 2U);
  EXPECT_THAT(Files(), ElementsAre("capture.cfg", "drive_00001_2026-03-01_10-00-00.isf",
                                   "drive_00002_2026-03-01_10-00-06.isf"));
  EXPECT_DOUBLE_EQ(Summary()["longest_change"], 2.0);
}

TEST_F(CaptureCourseTest, ANextFileThatNeverStartsGivesOneAndKeepsTheOthers) {
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

TEST_F(CaptureCourseTest, CtrlCBetweenTwoFilesEndsTheCapture) {
  request.rotateTime = seconds(4);
  library.refuses = [this] { return library.starts > 1; };
  SendALogEachLook();
  host.stopAt = seconds(6);
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_EQ(StopReason(), "requested");
  EXPECT_EQ(library.stops, 1);
}

TEST(NameInTurnTest, StandsBeforeTheEnding) {
  EXPECT_EQ(NameInTurn("a.b/drive.isf", 12, kStart), "a.b/drive_00012_2026-03-01_10-00-00.isf");
  EXPECT_EQ(NameInTurn("a.b/drive", 1, kStart), "a.b/drive_00001_2026-03-01_10-00-00");
  EXPECT_EQ(NameInTurn("a.b\\.isf", 123456, kStart), "a.b\\.isf_123456_2026-03-01_10-00-00");
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
