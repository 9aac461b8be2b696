#include "corvane/capture/capture_checks.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "support/temp_directory.h"

namespace corvane::tools {
namespace {

constexpr std::uint64_t kPlenty = 1'000'000'000'000;

[[nodiscard]] std::span<const std::uint8_t> AsBytes(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

class CaptureChecksTest : public testing::Test {
 protected:
  CaptureChecksTest() {
    request.device = "COM7";
    request.output = folder.Path("drive.isf");
    Configure("");
  }
  void Configure(std::string_view text) {
    request.configuration = folder.Write("capture.cfg", AsBytes(text));
  }

  cTempDirectory folder;
  sCaptureRequest request;
};

// MessageLevels for `count` subsystems.
[[nodiscard]] std::string Subsystems(unsigned count) {
  std::string text = "<MessageLevels>1/0";
  for (unsigned ssid = 2; ssid <= count; ++ssid) {
    text += fmt::format(",{}/0", ssid);
  }
  return text + "</MessageLevels>";
}

TEST_F(CaptureChecksTest, AGoodRequestHasNoObstacleAndItsFileIsMade) {
  EXPECT_EQ(FindObstacle(request, kPlenty), std::nullopt);
  EXPECT_EQ(std::filesystem::file_size(request.output), 0U);
}

TEST_F(CaptureChecksTest, ADiskWithoutRoomIsAnObstacleAndNoFileIsMade) {
  EXPECT_EQ(FindObstacle(request, 199'999'999),
            "only 200.0 MB are free for the capture file " + request.output +
                ", and the capture would end below 200.0 MB: make room, or give a smaller "
                "--stop-below (0 for no limit)");
  EXPECT_FALSE(std::filesystem::exists(request.output));
}

TEST_F(CaptureChecksTest, AsMuchRoomAsIsToBeLeftIsEnough) {
  EXPECT_EQ(FindObstacle(request, 200'000'000), std::nullopt);
  request.stopBelow = 0;
  EXPECT_EQ(FindObstacle(request, 0), std::nullopt);
}

TEST_F(CaptureChecksTest, TheRoomOfAFileThatIsOverwrittenCounts) {
  request.stopBelow = 1'000;
  request.output = folder.Write("old.isf", AsBytes(std::string(400, 'x')));
  EXPECT_EQ(FindObstacle(request, 600), std::nullopt);
  EXPECT_NE(FindObstacle(request, 599), std::nullopt);
  EXPECT_EQ(std::filesystem::file_size(request.output), 400U);
}

TEST_F(CaptureChecksTest, ADiskThatTellsNothingIsNoObstacle) {
  EXPECT_EQ(FindObstacle(request, std::nullopt), std::nullopt);
}

TEST_F(CaptureChecksTest, WithoutAConfigurationThirteenRequestsAreMade) {
  EXPECT_EQ(CountRequests(""), 13U);
}

TEST_F(CaptureChecksTest, AllEventIdsMakeOneRequest) {
  EXPECT_EQ(CountRequests("<EventIDs>1,2,4096</EventIDs>"), 14U);
}

TEST_F(CaptureChecksTest, AnEventIdTooLargeForARequestMakesNone) {
  EXPECT_EQ(CountRequests("<EventIDs>65607</EventIDs>"), 14U);
  EXPECT_EQ(CountRequests("<EventIDs>1,65608</EventIDs>"), 13U);
}

TEST_F(CaptureChecksTest, EachSubsystemMakesARequest) {
  EXPECT_EQ(CountRequests("<MessageLevels>5/1,5/2,7/0</MessageLevels>"), 15U);
  EXPECT_EQ(CountRequests("<MessageLevels>5/1,5</MessageLevels>"), 13U);
}

TEST_F(CaptureChecksTest, EachEquipmentIdMakesARequest) {
  EXPECT_EQ(CountRequests("<LogCodes>412F,4125,1234,0,B0C0,1B0C0</LogCodes>"), 17U);
  EXPECT_EQ(CountRequests("<OTATypes>412F</OTATypes>"), 13U);
}

TEST_F(CaptureChecksTest, AsManyRequestsAsTheQueueHoldsRaiseNoDoubt) {
  Configure(Subsystems(987));
  EXPECT_EQ(FindDoubt(request), std::nullopt);
}

TEST_F(CaptureChecksTest, OneRequestMoreIsToldWithWhatToDo) {
  Configure(Subsystems(987) + "<EventIDs>1</EventIDs>");
  EXPECT_EQ(FindDoubt(request),
            request.configuration +
                " makes 1,001 requests and the library keeps only the last 1,000: the first one is "
                "lost, so that a modem which sends nothing by itself is never asked anything; take "
                "1 subsystem out of MessageLevels");
}

TEST_F(CaptureChecksTest, ThirteenRequestsMoreAreToldAsThirteen) {
  Configure(Subsystems(1000));
  EXPECT_EQ(FindDoubt(request),
            request.configuration +
                " makes 1,013 requests and the library keeps only the last 1,000: the first 13 are "
                "lost, so that a modem which sends nothing by itself is never asked anything; take "
                "13 subsystems out of MessageLevels");
}

TEST_F(CaptureChecksTest, MobileBroadbandIsToldFromAComPort) {
  EXPECT_TRUE(IsMobileBroadband("QMBE:{5A1B9A3C-61F0-4E0B-9D3E-0000000000AB}"));
  EXPECT_FALSE(IsMobileBroadband("COM7"));
}

}  // namespace
}  // namespace corvane::tools
