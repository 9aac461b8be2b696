// What the device sends and the capture does not get.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "corvane/capture/disk_room.h"
#include "corvane/command/command_line.h"
#include "tools/capture_course_fixture.h"

namespace corvane::tools {
namespace {

namespace fs = std::filesystem;
using std::chrono::seconds;
using testing::HasSubstr;
using testing::Not;

using CaptureLossesTest = CaptureCourseTest;

TEST_F(CaptureLossesTest, AFullDiskIsToldWhileItIsFullAndInTheEnd) {
  request.stopBelow = 0;
  request.duration = seconds(8);
  host.freeSpace = 1'000'000;
  host.whileWaiting = [this] {
    if (host.now < seconds(2)) {
      library.SendLog();
    } else {
      host.freeSpace = 0;
      print("error 9 writing item");
    }
  };
  library.afterStop = [this] {
    fs::resize_file(request.output, fs::file_size(request.output) - 1);
  };
  EXPECT_EQ(Run(true), kExitFailed);
  const auto warnings = Events("warning");
  ASSERT_EQ(warnings.size(), 2U);  // and that the configuration asks for nothing
  EXPECT_EQ(warnings[1]["text"],
            "the disk of " + request.output + " is full: what the device sends is lost");
  EXPECT_EQ(warnings[1]["time"], "2026-03-01T10:00:02.000Z");
  EXPECT_THAT(errors, HasSubstr("drive.isf is not complete: "));
  EXPECT_THAT(errors, HasSubstr("the disk of " + request.output +
                                " took nothing more: what the "
                                "device sent then is lost (32 packets)\n"));
  EXPECT_EQ(StopReason(), "duration");
  EXPECT_EQ(Summary()["unwritten_packets"], 32);
}

TEST_F(CaptureLossesTest, ADiskThatStillTakesItemsIsNearlyFull) {
  request.stopBelow = 0;
  request.duration = seconds(8);
  host.freeSpace = 57'359;  // less than a block of the capture
  SendALogEachLook();
  EXPECT_EQ(Run(), kExitGood);
  const auto warnings = Events("warning");
  ASSERT_EQ(warnings.size(), 2U);  // and that the configuration asks for nothing
  EXPECT_EQ(warnings[1]["text"], "the disk of " + request.output +
                                     " is nearly full: soon what the device sends will be lost");
  EXPECT_THAT(errors, HasSubstr("items/s  set up  the disk is nearly full\n"));
  EXPECT_THAT(errors, Not(HasSubstr("is full")));
  EXPECT_TRUE(IsComplete(request.output));
}

// On a COM port the library says of no packet that it could not be written.
TEST_F(CaptureLossesTest, ADiskThatTakesNothingMoreIsFull) {
  request.stopBelow = 0;
  request.duration = seconds(9);
  host.whileWaiting = [this] {
    host.freeSpace = host.now < seconds(2) ? 1'000'000 : 0;
    if (host.freeSpace != 0U) {
      library.SendLog();
    }
  };
  EXPECT_EQ(Run(), kExitFailed);
  const auto warnings = Events("warning");
  ASSERT_EQ(warnings.size(), 3U);
  EXPECT_EQ(warnings[2]["text"],
            "the disk of " + request.output + " is full: what the device sends is lost");
  EXPECT_EQ(warnings[2]["time"], "2026-03-01T10:00:06.800Z");  // it grew until second 1.8
  EXPECT_THAT(errors, HasSubstr("items/s  set up  the disk is full\n"));
}

TEST_F(CaptureLossesTest, ADiskThatHasRoomAgainIsToldOf) {
  request.stopBelow = 0;
  request.duration = seconds(4);
  host.whileWaiting = [this] {
    host.freeSpace = host.now >= seconds(1) && host.now < seconds(2) ? 0 : 1'000'000;
    if (host.freeSpace != 0U) {
      library.SendLog();
    } else {
      print("error 9 writing item");
    }
  };
  EXPECT_EQ(Run(), kExitFailed);
  EXPECT_THAT(errors, HasSubstr(request.output + " is written again\n"));
  EXPECT_EQ(Events("warning").size(), 2U);
  EXPECT_TRUE(IsComplete(request.output));
}

// What is left of 50 kB, when the capture has not grown for ten seconds.
[[nodiscard]] eDiskRoom RoomAfterASilence(std::uint64_t fileItems, bool isConnected = true) {
  cDiskRoom disk;
  sDiskLook look{"drive.isf", seconds(1), fileItems, 400'000, isConnected, 50'000, 0};
  std::ignore = disk.Look(look);
  look.elapsed = seconds(11);
  std::ignore = disk.Look(look);
  return disk.Room();
}

TEST(DiskRoomTest, IsNotGoneWhileTheNextItemHasRoom) {
  EXPECT_EQ(RoomAfterASilence(8191), eDiskRoom::Scarce);
  EXPECT_EQ(RoomAfterASilence(8193), eDiskRoom::Scarce);
}

TEST(DiskRoomTest, IsGoneWhereTheNextItemBeginsABlock) {
  EXPECT_EQ(RoomAfterASilence(8192), eDiskRoom::None);
  // Nothing is sent.
  EXPECT_EQ(RoomAfterASilence(8192, false), eDiskRoom::Scarce);
}

TEST_F(CaptureLossesTest, AFileThatCannotBeWrittenForAnotherReasonIsToldOf) {
  request.duration = seconds(3);
  host.freeSpace = 1'000'000'000;
  host.whileWaiting = [this] {
    if (host.now == seconds(1)) {
      print("error 9 writing item");
    }
  };
  EXPECT_EQ(Run(), kExitFailed);
  EXPECT_THAT(errors, HasSubstr(request.output + " can no longer be written: what the device "
                                                 "sends is lost\n"));
  EXPECT_THAT(errors, HasSubstr("is lost (1 packet)\n"));
}

TEST_F(CaptureLossesTest, WrappedLogsAreHintedAt) {
  request.duration = seconds(2);
  host.whileWaiting = [this] { print("error 160 writing item"); };
  EXPECT_EQ(Run(), kExitGood);
  const std::string hint = "<MultiSim>unwrap</MultiSim> in the configuration records them";
  EXPECT_THAT(errors, HasSubstr("warning: 11 packets were refused, and 0 logs recorded: "));
  EXPECT_THAT(errors, HasSubstr(hint));
  EXPECT_THAT(errors, HasSubstr("11 packets of the device refused: no item can be made of them\n"));
  EXPECT_EQ(Events("warning").size(), 2U);
  EXPECT_EQ(Summary()["refused_packets"], 11);
}

TEST_F(CaptureLossesTest, WhereLogsComeOrAreUnwrappedNothingIsHinted) {
  request.duration = seconds(2);
  host.whileWaiting = [this] {
    library.SendLog();
    print("error 160 writing item");
  };
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_THAT(errors, Not(HasSubstr("MultiSim")));
  EXPECT_THAT(errors, HasSubstr("packets of the device refused"));

  std::ofstream(request.configuration) << "<MultiSim>unwrap</MultiSim>";
  request.output = folder.Path("unwrapped.isf");
  host.whileWaiting = [this] { print("error 160 writing item"); };
  errors.clear();
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_THAT(errors, Not(HasSubstr("several SIMs wraps")));
}

// On a COM port the library says nothing of the packets that it refuses.
class MissingLogsTest : public CaptureCourseTest {
 protected:
  MissingLogsTest() {
    std::ofstream(request.configuration) << "<LogCodes>B0C0</LogCodes>";
    library.logMaskReply = kAccepted;
    request.duration = seconds(45);
  }

  // The texts of the warnings.
  [[nodiscard]] std::vector<std::string> Warnings() const {
    std::vector<std::string> texts;
    for (const auto& event : Events("warning")) {
      texts.push_back(event["text"]);
    }
    return texts;
  }

  // Operation 3 for equipment ID 11, with status 0 and 1.
  const ByteVector kAccepted = {0x73, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 11, 0, 0, 0};
  const ByteVector kRefused = {0x73, 0, 0, 0, 3, 0, 0, 0, 1, 0, 0, 0, 11, 0, 0, 0};
  const std::string kPerhaps =
      ", though the modem accepted the log masks: perhaps it has several SIMs and wraps its logs "
      "in packets that are refused; <MultiSim>unwrap</MultiSim> in the configuration records them";
};

TEST_F(MissingLogsTest, AreToldAfterAWhileAndInTheEnd) {
  EXPECT_EQ(Run(true), kExitGood);
  EXPECT_THAT(Warnings(), testing::ElementsAre("no log has come for 30 s" + kPerhaps,
                                               "no log was recorded" + kPerhaps));
  EXPECT_EQ(Events("warning")[0]["time"], "2026-03-01T10:00:30.200Z");
  EXPECT_THAT(errors, HasSubstr("warning: no log was recorded" + kPerhaps + "\n"));
}

TEST_F(MissingLogsTest, AreToldInTheEndOfAShortCapture) {
  request.duration = seconds(3);
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_THAT(Warnings(), testing::ElementsAre("no log was recorded" + kPerhaps));
}

TEST_F(MissingLogsTest, AreNotMissedWhereOneCame) {
  host.whileWaiting = [this] {
    if (host.now == seconds(20)) {
      library.SendLog();
    }
  };
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_THAT(Warnings(), testing::IsEmpty());
}

TEST_F(MissingLogsTest, AreNotMissedWhereNoneCanCome) {
  library.logMaskReply = kRefused;
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_THAT(errors, Not(HasSubstr("several SIMs")));

  library.logMaskReply = kAccepted;
  std::ofstream(request.configuration) << "<LogCodes>B0C0</LogCodes><MultiSim>unwrap</MultiSim>";
  request.output = folder.Path("unwrapped.isf");
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_THAT(errors, Not(HasSubstr("several SIMs")));
}

TEST_F(MissingLogsTest, AreWaitedForFromTheConnectionOn) {
  host.whileWaiting = [this] {
    if (host.now == seconds(20)) {
      library.Disconnect();
    } else if (host.now == seconds(25)) {
      library.Connect();
    }
  };
  EXPECT_EQ(Run(), kExitGood);
  EXPECT_THAT(Warnings(), testing::ElementsAre("no log was recorded" + kPerhaps));
}

}  // namespace
}  // namespace corvane::tools
