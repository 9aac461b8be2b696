#include "corvane/capture/capture_follower.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "corvane/capture/capture_watch.h"
#include "reader/capture_builder.h"
#include "support/temp_directory.h"

namespace corvane::tools {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

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

TEST(CaptureStatusTest, ItTellsHowFarTheSetUpIs) {
  sProgress now{milliseconds(1'000), 20, 0, {}};
  now.setUp = {18, 5, 3, 1, milliseconds(10)};
  EXPECT_EQ(FormatStatus(now, {}), "0:00:01  20 items  0 B  20 items/s");
  now.isConnected = true;
  EXPECT_EQ(FormatStatus(now, {}), "0:00:01  20 items  0 B  20 items/s  set-up 4 of 18");
  now.setUp = {18, 18, 17, 1, std::nullopt};
  EXPECT_EQ(FormatStatus(now, {}), "0:00:01  20 items  0 B  20 items/s  set up");
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

  // An item that others can see before all of the next one is written.
  void AddHalfAnItem() {
    builder.Add({5, 13'360'420'800'000, Hex("10 00"), {}});
    builder.AddGap(3);
    std::ignore = folder.Write("drive.isf", builder.Unclosed());
  }

  [[nodiscard]] std::string Path() const { return folder.Path("drive.isf"); }

 private:
  cTempDirectory folder;
  cCaptureBuilder builder;
};

class CaptureFollowerTest : public testing::Test {
 protected:
  // What is known of requests once the file was looked at.
  [[nodiscard]] sSetUpProgress SetUpAt(seconds elapsed) { return follower.Follow(elapsed).setUp; }
  [[nodiscard]] milliseconds SilenceAt(seconds elapsed) { return follower.Follow(elapsed).silence; }

  cGrowingFile file;
  cCaptureFollower follower{file.Path(), 2};
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

TEST_F(CaptureFollowerTest, ItemsAreCountedByType) {
  file.Connect();
  file.Add(5, Hex("10 00"));
  file.Add(5, Hex("10 00"));
  std::ignore = follower.Follow(seconds(1));
  file.Add(4, Hex("60 00"));
  const sProgress now = follower.Follow(seconds(2));
  EXPECT_EQ(now.received, 3U);
  EXPECT_EQ(follower.ItemsByType()[5], 2U);
  EXPECT_EQ(follower.ItemsByType()[4], 1U);
  EXPECT_EQ(follower.ItemsByType()[7], 2U);
}

TEST_F(CaptureFollowerTest, ASetUpIsCompleteWhenTheLastRequestIsAnswered) {
  file.Connect();
  file.Request();
  EXPECT_FALSE(SetUpAt(seconds(1)).IsComplete());
  file.Receive();
  EXPECT_FALSE(SetUpAt(seconds(2)).IsComplete());
  file.Add(10, Hex("4B 0F 00 00"));
  EXPECT_EQ(SetUpAt(seconds(3)).sent, 2U);
  EXPECT_EQ(SetUpAt(seconds(4)).waiting, seconds(1));
  file.Add(9, Hex("4B 0F 00 00 01"));
  const sSetUpProgress setUp = SetUpAt(seconds(5));
  EXPECT_TRUE(setUp.IsComplete());
  EXPECT_FALSE(setUp.IsStuck());
  EXPECT_EQ(setUp.answered, 2U);
}

TEST_F(CaptureFollowerTest, ASetUpWithoutAReplyForFiveSecondsIsStuck) {
  file.Connect();
  file.Request();
  EXPECT_FALSE(SetUpAt(seconds(1)).IsStuck());
  file.Add(5, Hex("10 00"));  // a log is no reply
  EXPECT_FALSE(SetUpAt(seconds(5)).IsStuck());
  EXPECT_TRUE(SetUpAt(seconds(6)).IsStuck());
  file.Receive();
  EXPECT_FALSE(SetUpAt(seconds(7)).IsStuck());
}

TEST_F(CaptureFollowerTest, ASetUpThatSendsNothingForFiveSecondsIsStuck) {
  file.Connect();
  EXPECT_FALSE(SetUpAt(seconds(1)).IsStuck());
  file.Request();
  file.Receive();
  EXPECT_FALSE(SetUpAt(seconds(6)).IsStuck());
  EXPECT_FALSE(SetUpAt(seconds(10)).IsStuck());
  EXPECT_TRUE(SetUpAt(seconds(11)).IsStuck());
  file.Connect();  // a new connection is not stuck yet
  EXPECT_FALSE(SetUpAt(seconds(12)).IsStuck());
  file.Disconnect();
  EXPECT_FALSE(SetUpAt(seconds(30)).IsStuck());
}

TEST_F(CaptureFollowerTest, EachConnectionIsSetUpAnew) {
  file.Connect();
  file.Request();
  file.Receive();
  EXPECT_EQ(SetUpAt(seconds(1)).sent, 1U);
  file.Disconnect();
  EXPECT_EQ(SetUpAt(seconds(2)).sent, 0U);
  file.Connect();
  EXPECT_EQ(SetUpAt(seconds(3)).sent, 0U);
  file.Request();
  EXPECT_EQ(SetUpAt(seconds(4)).sent, 1U);
  EXPECT_EQ(follower.Connections(), 2U);
  EXPECT_EQ(follower.Requests().Totals().sent, 2U);
}

TEST_F(CaptureFollowerTest, PortChangesAreGivenOnce) {
  file.Connect();
  file.Disconnect();
  std::ignore = follower.Follow(seconds(1));
  const auto changes = follower.TakePortChanges();
  ASSERT_EQ(changes.size(), 2U);
  EXPECT_TRUE(changes[0].connected);
  EXPECT_FALSE(changes[1].connected);
  EXPECT_EQ(changes[0].time, 13'360'420'800'000U);
  EXPECT_TRUE(follower.TakePortChanges().empty());
}

TEST_F(CaptureFollowerTest, ARequestTellsOfAConnectionThatHasNoText) {
  file.Add(7, Hex("C0 FF FF FF"));  // the name of the device is too long for it
  file.Request();
  std::ignore = follower.Follow(seconds(1));
  EXPECT_TRUE(follower.IsConnected());
  EXPECT_EQ(follower.Connections(), 1U);
}

TEST_F(CaptureFollowerTest, TheNewestItemWaitsUntilItsRecordIsThere) {
  file.Connect();
  file.AddHalfAnItem();
  EXPECT_EQ(follower.Follow(seconds(1)).received, 0U);
  EXPECT_EQ(follower.FollowToEnd(seconds(2)).received, 1U);
}

}  // namespace
}  // namespace corvane::tools
