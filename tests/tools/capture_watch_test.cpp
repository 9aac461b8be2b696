#include "corvane/capture/capture_watch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "reader/capture_builder.h"
#include "support/temp_directory.h"
#include "tools/scripted_host.h"

namespace corvane::tools {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

TEST(CaptureStatusTest, OneLineTellsTimeItemsBytesAndRate) {
  const sProgress previous{milliseconds(6'000), 1'033, 100'000, {}};
  const sProgress now{milliseconds(7'000), 1'204, 118'400, {}};
  EXPECT_EQ(FormatStatus(now, previous), "0:00:07  1,204 items  118.4 kB  171 items/s");
}

TEST(CaptureStatusTest, TheRateIsThatSinceTheLineBefore) {
  EXPECT_EQ(FormatStatus({milliseconds(2'500), 20, 0, {}}, {milliseconds(500), 10, 0, {}}),
            "0:00:02  20 items  0 B  5 items/s");
}

TEST(CaptureStatusTest, NoTimePassedAndNoNewItemsGiveARateOfZero) {
  EXPECT_EQ(FormatStatus({milliseconds(0), 1, 5, {}}, {}), "0:00:00  1 item  5 B  0 items/s");
  EXPECT_EQ(FormatStatus({milliseconds(9), 1, 5, {}}, {milliseconds(0), 2, 5, {}}),
            "0:00:00  1 item  5 B  0 items/s");
}

TEST(CaptureStatusTest, ASilenceOfFiveSecondsIsTold) {
  EXPECT_EQ(FormatStatus({seconds(9), 1, 5, milliseconds(4'999)}, {}),
            "0:00:09  1 item  5 B  0 items/s");
  EXPECT_EQ(FormatStatus({seconds(9), 1, 5, milliseconds(5'000)}, {}),
            "0:00:09  1 item  5 B  0 items/s  nothing received for 5 s");
  EXPECT_EQ(FormatStatus({seconds(99), 1, 5, milliseconds(98'700)}, {}),
            "0:01:39  1 item  5 B  0 items/s  nothing received for 98 s");
}

// A capture file that grows as a test says.
class cGrowingFile {
 public:
  cGrowingFile() { Add(7, TextItem("Corvane version 1.0")); }

  void Add(unsigned type, const ByteVector& packet) {
    builder.Add({type, 13'360'420'800'000, packet, {}});
    std::ignore = folder.Write("drive.isf", builder.Unclosed());
  }
  void Connect() { Add(7, TextItem("Port COM7 connected")); }
  void Disconnect() { Add(7, TextItem("Port COM7 disconnected")); }
  void Request() { Add(2, Hex("1D")); }
  void Receive() { Add(1, Hex("1D 01 02 03 04 05 06 07 08")); }

  [[nodiscard]] std::string Path() const { return folder.Path("drive.isf"); }

 private:
  cTempDirectory folder;
  cCaptureBuilder builder;
};

class CaptureFollowerTest : public testing::Test {
 protected:
  [[nodiscard]] milliseconds SilenceAt(seconds elapsed) { return follower.Follow(elapsed).silence; }

  cGrowingFile file;
  cCaptureFollower follower{file.Path()};
};

TEST_F(CaptureFollowerTest, ItemsAndBytesAreThoseOfTheFile) {
  file.Connect();
  const sProgress progress = follower.Follow(seconds(3));
  EXPECT_EQ(progress.elapsed, seconds(3));
  EXPECT_EQ(progress.items, 2U);
  EXPECT_EQ(progress.bytes, std::filesystem::file_size(file.Path()));
}

TEST_F(CaptureFollowerTest, AFileThatCannotBeOpenedHasNoItems) {
  cCaptureFollower missing(file.Path() + ".missing");
  EXPECT_EQ(missing.Follow(seconds(3)).items, 0U);
  EXPECT_FALSE(missing.IsConnected());
}

TEST_F(CaptureFollowerTest, BeforeTheDeviceIsConnectedNobodyIsSilent) {
  EXPECT_EQ(SilenceAt(seconds(30)), seconds(0));
  EXPECT_FALSE(follower.IsConnected());
}

TEST_F(CaptureFollowerTest, TheSilenceBeginsWithTheConnection) {
  file.Connect();
  EXPECT_EQ(SilenceAt(seconds(2)), seconds(0));
  EXPECT_TRUE(follower.IsConnected());
  EXPECT_EQ(SilenceAt(seconds(9)), seconds(7));
}

TEST_F(CaptureFollowerTest, OurOwnRequestsDoNotEndTheSilence) {
  file.Connect();
  EXPECT_EQ(SilenceAt(seconds(2)), seconds(0));
  file.Request();
  file.Add(10, Hex("4B 0F 00 00"));
  EXPECT_EQ(SilenceAt(seconds(9)), seconds(7));
}

TEST_F(CaptureFollowerTest, APacketEndsTheSilence) {
  file.Connect();
  EXPECT_EQ(SilenceAt(seconds(2)), seconds(0));
  file.Receive();
  file.Request();
  EXPECT_EQ(SilenceAt(seconds(9)), seconds(0));
  EXPECT_EQ(SilenceAt(seconds(11)), seconds(2));
}

TEST_F(CaptureFollowerTest, WhoIsDisconnectedIsNotSilent) {
  file.Connect();
  file.Receive();
  file.Disconnect();
  EXPECT_EQ(SilenceAt(seconds(2)), seconds(0));
  EXPECT_EQ(SilenceAt(seconds(20)), seconds(0));
  EXPECT_FALSE(follower.IsConnected());
  file.Connect();
  EXPECT_EQ(SilenceAt(seconds(21)), seconds(0));
  EXPECT_EQ(SilenceAt(seconds(22)), seconds(1));
}

TEST_F(CaptureFollowerTest, OtherTextsSayNothingOfTheConnection) {
  file.Add(7, TextItem("Part of it is connected"));
  file.Add(7, TextItem("Port COM7 seen"));
  file.Add(7, Hex("00 00"));
  EXPECT_EQ(SilenceAt(seconds(9)), seconds(0));
  EXPECT_FALSE(follower.IsConnected());
}

class WatchCaptureTest : public testing::Test {
 protected:
  WatchCaptureTest() {
    request.device = "COM7";
    request.output = file.Path();
  }

  // The lines that the user sees.
  [[nodiscard]] std::vector<std::string> Watch(bool isTerminal = false) {
    std::stringstream status;
    cDevicePresence presence(request.device, host);
    WatchCapture(request, host, presence, status, isTerminal);
    std::vector<std::string> lines;
    for (std::string line; std::getline(status, line);) {
      lines.push_back(line);
    }
    return lines;
  }

  cGrowingFile file;
  sCaptureRequest request;
  cScriptedHost host;
};

TEST_F(WatchCaptureTest, AStatusLineIsWrittenEverySecondAndAtTheEnd) {
  host.stopAt = milliseconds(2'400);
  EXPECT_THAT(Watch(), ElementsAre("0:00:01  1 item  57.4 kB  1 items/s",
                                   "0:00:02  1 item  57.4 kB  0 items/s",
                                   "0:00:02  1 item  57.4 kB  0 items/s"));
}

TEST_F(WatchCaptureTest, ItEndsWhenItsDurationIsOver) {
  request.duration = milliseconds(2'500);
  EXPECT_EQ(Watch().size(), 3U);
  EXPECT_THAT(host.waits, ElementsAre(seconds(1), seconds(1), milliseconds(500)));
}

TEST_F(WatchCaptureTest, ADurationOfNothingEndsAtOnce) {
  request.duration = milliseconds(0);
  EXPECT_EQ(Watch().size(), 1U);
  EXPECT_THAT(host.waits, ElementsAre(milliseconds(0)));
}

TEST_F(WatchCaptureTest, ASilentDeviceIsToldOfInTheStatusLine) {
  file.Connect();
  host.stopAt = seconds(6);
  const auto lines = Watch();
  EXPECT_THAT(lines[4], Not(HasSubstr("nothing received")));
  EXPECT_THAT(lines[5], HasSubstr("nothing received for 5 s"));
}

TEST_F(WatchCaptureTest, ItEndsBeforeTheDiskIsFullAndSaysSo) {
  host.atEachSecond = [this] { *host.freeSpace -= 300'000'000; };
  const auto lines = Watch();
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[3], "corvane capture: only 100.0 MB are left on the disk of " + file.Path() +
                          ", and --stop-below is 200.0 MB: the capture ends");
  EXPECT_EQ(host.askedPath, file.Path());
}

TEST_F(WatchCaptureTest, AsMuchRoomAsItIsToLeaveIsEnough) {
  host.freeSpace = request.stopBelow;
  request.duration = seconds(3);
  EXPECT_EQ(Watch().size(), 3U);
}

TEST_F(WatchCaptureTest, WithoutALimitItGoesOnUntilTheDiskIsFull) {
  request.stopBelow = 0;
  host.freeSpace = 0;
  request.duration = seconds(3);
  EXPECT_EQ(Watch().size(), 3U);
  EXPECT_EQ(host.looksAtDisk, 0);
}

TEST_F(WatchCaptureTest, ADiskThatTellsNothingEndsNothing) {
  host.freeSpace.reset();
  request.duration = seconds(3);
  EXPECT_EQ(Watch().size(), 3U);
}

TEST_F(WatchCaptureTest, APortThatDoesNotExistIsToldOnceWithThoseThatDo) {
  request.device = "COM77";
  host.ports = {{"COM3", "Acme modem"}, {"COM12", ""}};
  request.duration = seconds(4);
  const auto lines = Watch();
  ASSERT_EQ(lines.size(), 5U);
  EXPECT_THAT(lines[0], HasSubstr("0:00:01"));
  EXPECT_EQ(lines[1], "COM77 is not among the present ports: COM3 (Acme modem), COM12");
}

TEST_F(WatchCaptureTest, APortThatNobodyLetsOpenIsTold) {
  host.busy = "another program has it";
  request.duration = seconds(8);
  const auto lines = Watch();
  ASSERT_EQ(lines.size(), 9U);
  EXPECT_THAT(lines[2], HasSubstr("0:00:03"));
  EXPECT_EQ(lines[3],
            "corvane capture: COM7 is present but cannot be opened: another program has it; "
            "waiting until it can");
}

TEST_F(WatchCaptureTest, AMobileBroadbandInterfaceIsNoPort) {
  request.device = "QMBE:{5A1B9A3C-61F0-4E0B-9D3E-0000000000AB}";
  request.duration = seconds(8);
  EXPECT_EQ(Watch().size(), 8U);
  EXPECT_EQ(host.looksAtPorts, 0);
}

TEST_F(WatchCaptureTest, InATerminalEachLineTakesThePlaceOfTheOneBefore) {
  file.Connect();
  host.atEachSecond = [this] {
    if (host.now == seconds(7)) {
      file.Receive();
    }
  };
  request.duration = seconds(7);
  const auto lines = Watch(true);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_THAT(lines[0], testing::StartsWith("\r0:00:01  2 items"));
  // The last line covers the longer one before it.
  EXPECT_THAT(lines[0],
              HasSubstr("\r0:00:06  2 items  57.5 kB  0 items/s  nothing received for 5 s  "));
  EXPECT_THAT(lines[0],
              testing::EndsWith("\r0:00:07  3 items  57.5 kB  1 items/s  " + std::string(26, ' ')));
}

TEST_F(WatchCaptureTest, InATerminalAMessageGetsALineOfItsOwn) {
  request.device = "COM77";
  request.duration = seconds(6);
  const auto lines = Watch(true);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[1], "COM77 is not among the present ports: COM7");
  EXPECT_THAT(lines[2], testing::StartsWith("\r0:00:02"));
}

}  // namespace
}  // namespace corvane::tools
