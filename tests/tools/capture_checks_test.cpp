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

TEST_F(CaptureChecksTest, AGoodRequestHasNoObstacleAndNoFileIsMade) {
  EXPECT_EQ(FindObstacle(request, kPlenty), std::nullopt);
  EXPECT_FALSE(std::filesystem::exists(request.output));
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

TEST_F(CaptureChecksTest, TheRoomOfAFileThatIsReplacedDoesNotCount) {
  request.stopBelow = 1'000;
  request.output = folder.Write("old.isf", AsBytes(std::string(400, 'x')));
  EXPECT_NE(FindObstacle(request, 600), std::nullopt);
  EXPECT_EQ(std::filesystem::file_size(request.output), 400U);
}

TEST_F(CaptureChecksTest, LongNamesAreToldByTheirBytes) {
  EXPECT_EQ(FindOutputLengthObstacle(std::string(259, 'o')), std::nullopt);
  EXPECT_EQ(FindOutputLengthObstacle(std::string(260, 'o')),
            "the path of the capture file has 260 characters; at most 259 are possible");
  std::string cyrillic;
  for (int count = 0; count < 130; ++count) {
    cyrillic += "\xD0\xB6";
  }
  EXPECT_EQ(FindOutputLengthObstacle(cyrillic),
            "the path of the capture file has 260 bytes in UTF-8; at most 259 are possible");
}

TEST_F(CaptureChecksTest, AWaitTooShortForAPresentPortIsToldOf) {
  EXPECT_EQ(FindShortWait(request), std::nullopt);
  request.duration = std::chrono::milliseconds(500);
  EXPECT_EQ(FindShortWait(request),
            "the device is waited for 0.5 s only, and one that is present may take longer to be "
            "connected: --wait 2s or more is safe");
  request.wait = std::chrono::seconds(2);
  EXPECT_EQ(FindShortWait(request), std::nullopt);
}

TEST_F(CaptureChecksTest, ADiskThatTellsNothingIsNoObstacle) {
  EXPECT_EQ(FindObstacle(request, std::nullopt), std::nullopt);
}

TEST_F(CaptureChecksTest, WhatIsDoubtfulOfAConfigurationIsToldWithItsName) {
  Configure("<LogCodes>412F</LogCodes>");
  EXPECT_EQ(FindDoubts(request.configuration).size(), 0U);
  Configure("<LogCodes>412F</LogCodes>\n<EventIDs>4096</EventIDs>");
  const auto doubts = FindDoubts(request.configuration);
  ASSERT_EQ(doubts.size(), 1U);
  EXPECT_EQ(doubts[0].find(request.configuration + ": line 2: "), 0U) << doubts[0];
}

}  // namespace
}  // namespace corvane::tools
