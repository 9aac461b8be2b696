#include "corvane/capture/capture_start.h"
#include "corvane/capture/run_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <CLI/App.hpp>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "corvane/command/command_line.h"
#include "support/temp_directory.h"
#include "tools/scripted_host.h"

namespace corvane::tools {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Optional;

class CaptureStartTest : public testing::Test {
 protected:
  CaptureStartTest() {
    Write(folder.Path("capture.cfg"), "<LogCodes>412F</LogCodes>");
    request.device = "COM7";
    request.configuration = folder.Path("capture.cfg");
    request.output = folder.Path("drive.isf");
  }
  static void Write(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
  }
  [[nodiscard]] std::optional<int> Prepare() { return PrepareCapture(request, host, told); }
  [[nodiscard]] std::ptrdiff_t FileCount() const {
    return std::distance(std::filesystem::directory_iterator(folder.Path("")), {});
  }

  cTempDirectory folder;
  sCaptureRequest request;
  cScriptedHost host;
  cKeptLines told;
};

TEST_F(CaptureStartTest, AGoodRequestSaysNothingAndMakesNoFile) {
  EXPECT_EQ(Prepare(), std::nullopt);
  EXPECT_THAT(told.lines, IsEmpty());
  EXPECT_EQ(FileCount(), 1);
}

TEST_F(CaptureStartTest, NamesBecomeThoseThatTheLibraryTakes) {
  request.device = R"(\\.\com7)";
  request.output = folder.Path("{device}_{date}_{time}.isf");
  EXPECT_EQ(Prepare(), std::nullopt);
  EXPECT_EQ(request.device, "COM7");
  EXPECT_EQ(request.output, folder.Path("COM7_2024-05-17_14-30-05.isf"));
}

TEST_F(CaptureStartTest, APresentPortGivesItsOwnLetterCase) {
  request.device = "cnca0";
  host.ports = {{"CncA0", ""}};
  EXPECT_EQ(Prepare(), std::nullopt);
  EXPECT_EQ(request.device, "CncA0");
}

TEST_F(CaptureStartTest, AnExistingOutputIsRefusedAndStays) {
  Write(request.output, "old");
  EXPECT_THAT(Prepare(), Optional(kExitFailed));
  EXPECT_THAT(told.lines,
              ElementsAre("! " + request.output + " is there already; --overwrite replaces it"));
  EXPECT_EQ(std::filesystem::file_size(request.output), 3U);
  request.overwrite = true;
  EXPECT_EQ(Prepare(), std::nullopt);
  EXPECT_EQ(std::filesystem::file_size(request.output), 3U);
  EXPECT_EQ(FileCount(), 2);
}

TEST_F(CaptureStartTest, AFileThatAnotherCaptureWritesIsRefused) {
  request.overwrite = true;
  host.isInUse = true;
  EXPECT_THAT(Prepare(), Optional(kExitFailed));
  EXPECT_THAT(told.lines, ElementsAre("! the capture file " + request.output +
                                      " is in use by another program, perhaps a capture"));
}

TEST_F(CaptureStartTest, AConfigurationThatCannotBeReadIsRefused) {
  request.configuration = folder.Path("missing.cfg");
  EXPECT_THAT(Prepare(), Optional(kExitFailed));
  EXPECT_THAT(told.lines, ElementsAre("! the configuration file " + request.configuration +
                                      " cannot be read: No such file or directory"));
}

TEST_F(CaptureStartTest, WhatIsDoubtfulOfTheConfigurationIsWarnedOf) {
  Write(request.configuration, "<LogCodes>412F");
  EXPECT_EQ(Prepare(), std::nullopt);
  ASSERT_FALSE(told.lines.empty());
  EXPECT_EQ(told.lines[0].find("! warning: " + request.configuration + ": "), 0U) << told.lines[0];
}

TEST_F(CaptureStartTest, AProfileThatThereIsNotIsWrongUsage) {
  request.configuration.clear();
  request.profile = "signaling";
  EXPECT_THAT(Prepare(), Optional(kExitUsage));
  ASSERT_EQ(told.lines.size(), 1U);
  EXPECT_THAT(told.lines[0], HasSubstr("there is no profile \"signaling\"; the nearest: "));
}

TEST_F(CaptureStartTest, AnEmptyDeviceNameIsWrongUsage) {
  request.device.clear();
  EXPECT_THAT(Prepare(), Optional(kExitUsage));
  EXPECT_THAT(told.lines, testing::ElementsAre("! the device name is empty"));
}

TEST_F(CaptureStartTest, AProfileIsFoundByItsName) {
  request.configuration.clear();
  request.profile = "signalling";
  EXPECT_EQ(Prepare(), std::nullopt);
  EXPECT_EQ(std::filesystem::path(request.configuration).filename(), "signalling.cfg");
  EXPECT_TRUE(std::filesystem::exists(request.configuration));
}

TEST_F(CaptureStartTest, ADeviceNameThatIsTooLongIsRefused) {
  request.device = std::string(64, 'C');
  EXPECT_THAT(Prepare(), Optional(kExitFailed));
  EXPECT_THAT(told.lines,
              ElementsAre("! the device name has 64 characters; at most 63 are possible"));
}

TEST_F(CaptureStartTest, TheOneDiagPortIsTakenAndTold) {
  request.device = "AUTO";
  request.output = folder.Path("{device}.isf");
  host.ports = {{"COM3", "Acme AT port"}, {"COM4", "Acme Diagnostics"}};
  EXPECT_EQ(Prepare(), std::nullopt);
  EXPECT_EQ(request.device, "COM4");
  EXPECT_EQ(request.output, folder.Path("COM4-.isf"));
  EXPECT_THAT(told.lines, ElementsAre("The DIAG port is COM4 (Acme Diagnostics)"));
}

TEST_F(CaptureStartTest, OfSeveralDiagPortsNoneIsTaken) {
  request.device = "auto";
  host.ports = {{"COM3", "Acme DIAG"}, {"COM4", "Best diag"}};
  EXPECT_THAT(Prepare(), Optional(kExitUsage));
  EXPECT_THAT(told.lines, ElementsAre("! several ports may be the DIAG port: COM3 (Acme DIAG), "
                                      "COM4 (Best diag); name one of them"));
}

TEST_F(CaptureStartTest, ADiagPortIsWaitedFor) {
  request.device = "auto";
  request.duration = seconds(60);
  host.ports = {{"COM3", "Acme AT port"}};
  host.atEachSecond = [this] {
    if (host.now == seconds(3)) {
      host.ports.push_back({"COM4", "Acme DIAG"});
    }
  };
  EXPECT_EQ(Prepare(), std::nullopt);
  EXPECT_EQ(request.device, "COM4");
  // What was waited is not waited again.
  EXPECT_THAT(request.wait, Optional(milliseconds(57'000)));
  EXPECT_THAT(request.duration, Optional(milliseconds(60'000)));
  EXPECT_THAT(told.lines,
              ElementsAre("Of the present ports none has \"diag\" in its description, which is "
                          "waited for: COM3 (Acme AT port)",
                          "The DIAG port is COM4 (Acme DIAG)"));
}

TEST_F(CaptureStartTest, ADiagPortIsWaitedForNoLongerThanSaid) {
  request.device = "auto";
  request.wait = milliseconds(2'500);
  host.ports.clear();
  EXPECT_THAT(Prepare(), Optional(kExitNothing));
  EXPECT_THAT(host.waits, ElementsAre(seconds(1), seconds(1), milliseconds(500)));
  EXPECT_THAT(told.lines,
              ElementsAre("No COM port is present: waiting for one whose description contains "
                          "\"diag\"",
                          "! nothing was captured: no DIAG port has come"));
}

TEST_F(CaptureStartTest, AStopEndsTheWaitForADiagPort) {
  request.device = "auto";
  host.stopAt = milliseconds(1'500);
  EXPECT_THAT(Prepare(), Optional(kExitNothing));
  EXPECT_EQ(FileCount(), 1);
}

TEST_F(CaptureStartTest, WhatIsInTheWayIsToldBeforeTheDeviceIsWaitedFor) {
  request.device = "auto";
  Write(request.output, "old");
  EXPECT_THAT(Prepare(), Optional(kExitFailed));
  EXPECT_THAT(host.waits, IsEmpty());
}

TEST_F(CaptureStartTest, ANameWaitsForTheDeviceThatItTells) {
  request.device = "auto";
  request.output = folder.Path("{device}_x.isf");
  host.ports = {{"COM4", "Acme DIAG"}};
  Write(folder.Path("auto_x.isf"), "another one");
  EXPECT_EQ(Prepare(), std::nullopt);
  EXPECT_EQ(request.output, folder.Path("COM4_x.isf"));
  Write(request.output, "old");
  EXPECT_EQ(BeginOutput(request, host, told), nullptr);
  EXPECT_THAT(told.lines,
              Contains("! " + request.output + " is there already; --overwrite replaces it"));
}

TEST_F(CaptureStartTest, TheOutputIsMadeAndGoesWithItsObject) {
  ASSERT_EQ(Prepare(), std::nullopt);
  auto file = BeginOutput(request, host, told);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->WritePath(), request.output);
  EXPECT_EQ(FileCount(), 2);
  file.reset();
  EXPECT_EQ(FileCount(), 1);
  EXPECT_THAT(told.lines, IsEmpty());
}

TEST_F(CaptureStartTest, ADiskWithoutRoomIsRefused) {
  host.freeSpace = 199'999'999;
  EXPECT_EQ(BeginOutput(request, host, told), nullptr);
  EXPECT_THAT(told.lines, Contains(HasSubstr("the capture would end below 200.0 MB")));
  EXPECT_EQ(FileCount(), 1);
}

TEST_F(CaptureStartTest, ADiskThatTellsNothingIsWarnedOf) {
  host.freeSpace.reset();
  EXPECT_NE(BeginOutput(request, host, told), nullptr);
  EXPECT_THAT(told.lines, ElementsAre(HasSubstr("--stop-below has no effect")));
  told.lines.clear();
  request.stopBelow = 0;
  EXPECT_NE(BeginOutput(request, host, told), nullptr);
  EXPECT_THAT(told.lines, IsEmpty());
}

TEST_F(CaptureStartTest, AReplacementWithTooLongANameIsRefused) {
  // The folder's name, a separator, and what is left of 259 characters.
  const std::string start = folder.Path("");
  request.output = start + std::string(259 - start.size(), 'x');
  request.overwrite = true;
  ASSERT_TRUE(std::ofstream(request.output).is_open());
  EXPECT_EQ(BeginOutput(request, host, told), nullptr);
  ASSERT_EQ(told.lines.size(), 1U);
  EXPECT_THAT(told.lines[0], HasSubstr(".part"));
}

// The longest name that a replacement can have: until it is complete it has 259 characters.
TEST_F(CaptureStartTest, RoomIsLookedAtForTheLongestNameToo) {
  const std::string start = folder.Path("");
  request.output = start + std::string(254 - start.size(), 'x');
  request.overwrite = true;
  request.stopBelow = 1'000'000'000;
  Write(request.output, "old");
  host.freeSpace = 999'999'999;
  EXPECT_EQ(BeginOutput(request, host, told), nullptr);
  EXPECT_THAT(told.lines,
              ElementsAre("! only 1.0 GB are free for the capture file " + request.output +
                          ", and the capture would end below 1.0 GB: make room, or give a smaller "
                          "--stop-below (0 for no limit)"));
  EXPECT_EQ(FileCount(), 2);
  told.lines.clear();
  host.freeSpace = 1'000'000'000;
  const auto file = BeginOutput(request, host, told);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->WritePath(), request.output + ".part");
  EXPECT_EQ(file->WritePath().size(), 259U);
  EXPECT_THAT(told.lines, IsEmpty());
}

TEST(RunOptionsTest, ADurationOfNothingIsWrongUsage) {
  for (const char* const text : {"0s", "0", "-1s", "soon"}) {
    CLI::App app;
    int exitCode = 0;
    AddCaptureCommand(app, exitCode);
    std::string problem;
    try {
      app.parse(std::string("capture --device COM7 --config x -o y --duration=") + text);
    } catch (const CLI::ValidationError& error) {
      problem = error.what();
    }
    EXPECT_EQ(problem,
              std::string("--duration: \"") + text + "\" is no duration: write 10s, 5m or 2h");
  }
}

TEST(RunOptionsTest, ASizeHoldsMoreThanTheFirstBlock) {
  for (const char* const option : {"--size", "--rotate-size"}) {
    for (const auto& [size, isGood] : {std::pair("1", false), {"99999", false}, {"100k", true}}) {
      CLI::App command;
      sCaptureRequest asked;
      AddRunOptions(command, asked);
      const std::string line = std::string(option) + " " + size;
      if (isGood) {
        EXPECT_NO_THROW(command.parse(line)) << line;
      } else {
        EXPECT_THROW(command.parse(line), CLI::ValidationError) << line;
      }
    }
  }
}

}  // namespace
}  // namespace corvane::tools
