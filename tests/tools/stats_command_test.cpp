#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "corvane/reading/capture_statistics.h"
#include "reader/capture_builder.h"
#include "support/temp_directory.h"

namespace corvane::tools {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// Two log packets of 16 bytes and the answer to a request, within four seconds.
[[nodiscard]] cCaptureBuilder SmallDrive() {
  const ByteVector log = Hex("10 00 0C 00 0C 00 C0 B0 00 00 00 00 00 00 00 00");
  cCaptureBuilder builder;
  builder.Add({7, kNoon, TextItem("Port COM7 connected"), {}});
  builder.Add({2, kNoon + 500, Hex("00"), {}});
  builder.Add({1, kNoon + 520, Hex("00 01 02"), {}});
  builder.Add({5, kNoon + 1000, log, {}});
  builder.Add({5, kNoon + 4000, log, {}});
  return builder;
}

class StatsCommandTest : public ::testing::Test {
 protected:
  // The exit code; the output is in `out`.
  int Show(const ByteVector& capture, sStatisticsRequest request = {}) {
    request.path = directory.Write("drive.isf", capture);
    out.str("");
    errors.str("");
    return ShowStatistics(request, out, errors);
  }

  cTempDirectory directory;
  std::ostringstream out;
  std::ostringstream errors;
};

TEST_F(StatsCommandTest, TablesTellItemsBytesAndRates) {
  EXPECT_EQ(Show(SmallDrive().Closed()), 0);
  EXPECT_EQ(errors.str(), "");
  // 80 bytes: a text of 44 (header, 19 characters and the end), 1 and 3, and twice 16.
  EXPECT_THAT(out.str(), HasSubstr("Items:        5\nBytes:        80\n"));
  EXPECT_THAT(out.str(), HasSubstr("Span:         0:00:04.000\n"
                                   "Rate:         1.2 items/s, 20.0 bytes/s\n"));
  EXPECT_THAT(out.str(),
              HasSubstr("0xB0C0 LTE RRC OTA message                               2            32"
                        "       0.5         8.0  2024-05-17T12:00:01.000Z  "
                        "2024-05-17T12:00:04.000Z\n"));
  EXPECT_THAT(out.str(), HasSubstr("Requests: 1 sent, 1 answered, 0 refused, 0 without a reply\n"));
}

TEST_F(StatsCommandTest, NumbersAndCommandsAreEasyToCompare) {
  cCaptureBuilder builder;
  for (std::uint64_t number = 0; number < 1000; ++number) {
    builder.Add({2, kNoon + number, Hex("1D"), {}});
  }
  builder.Add({10, kNoon + 1000, Hex("4B 0F 00 00"), {}});
  EXPECT_EQ(Show(builder.Closed()), 0);
  EXPECT_THAT(out.str(), HasSubstr("Items:        1,001\nBytes:        1,004\n"));
  // The names stand below each other, and so do the codes.
  EXPECT_THAT(out.str(), HasSubstr("\n0x1D             "));
  EXPECT_THAT(out.str(), HasSubstr("\n0x4B 0x0F 0x0000 "));
  EXPECT_THAT(out.str(), HasSubstr(" 1,000         1,000 "));
  EXPECT_THAT(out.str(), HasSubstr("Requests: 1,001 sent, 0 answered, 0 refused, 1,001 without"));
  EXPECT_THAT(out.str(), HasSubstr("  and 981 more\n"));
}

TEST_F(StatsCommandTest, AnIntervalMakesATableOverTime) {
  sStatisticsRequest request;
  request.interval = 2000;
  EXPECT_EQ(Show(SmallDrive().Closed(), request), 0);
  EXPECT_THAT(out.str(), HasSubstr("\n2024-05-17T12:00:00.000Z         4           64       2.0"
                                   "        32.0"));
  EXPECT_THAT(out.str(), HasSubstr("\n2024-05-17T12:00:02.000Z         0            0       0.0"
                                   "         0.0"));
  EXPECT_THAT(out.str(), HasSubstr("\n2024-05-17T12:00:04.000Z         1           16       0.5"
                                   "         8.0"));
  EXPECT_THAT(out.str(), Not(HasSubstr("Log codes")));
  EXPECT_THAT(out.str(), Not(HasSubstr("not kept")));
}

TEST_F(StatsCommandTest, LowRatesHaveDigitsThatTell) {
  cCaptureBuilder builder;
  builder.Add({2, kNoon, Hex("00"), {}});
  builder.Add({2, kNoon + 4'000'000, Hex("00 01"), {}});  // 0.0005 items and 0.00075 bytes a second
  EXPECT_EQ(Show(builder.Closed()), 0);
  EXPECT_THAT(out.str(), HasSubstr("Rate:         0.00050 items/s, 0.00075 bytes/s\n"));
  sStatisticsRequest request;
  request.format = eStatisticsFormat::Csv;
  EXPECT_EQ(Show(builder.Closed(), request), 0);
  EXPECT_THAT(out.str(), HasSubstr("\nall,,,2,3,0.000500,0.000750,"));
  request.format = eStatisticsFormat::Json;
  EXPECT_EQ(Show(builder.Closed(), request), 0);
  EXPECT_THAT(out.str(), HasSubstr("\"items_per_second\": 0.0005"));
  EXPECT_THAT(out.str(), HasSubstr("\"bytes_per_second\": 0.00075"));
}

TEST_F(StatsCommandTest, NamesThatAreNoTextDoNotSpoilJson) {
  cCaptureBuilder builder;
  ByteVector text = TextItem("Imported from X");
  text[text.size() - 3] = 0xD8;  // half a surrogate pair
  builder.Add({7, kNoon, text, {}});
  sStatisticsRequest request;
  request.format = eStatisticsFormat::Json;
  EXPECT_EQ(Show(builder.Closed(), request), 0);
  EXPECT_THAT(out.str(), HasSubstr("\"imported_from\":\"\xEF\xBF\xBD\""));
}

TEST_F(StatsCommandTest, AnOutputThatCannotBeWrittenIsAFailure) {
  out.setstate(std::ios::badbit);
  sStatisticsRequest request;
  request.path = directory.Write("drive.isf", SmallDrive().Closed());
  EXPECT_EQ(ShowStatistics(request, out, errors), 1);
  EXPECT_THAT(errors.str(), HasSubstr("the output cannot be written"));
}

TEST_F(StatsCommandTest, AnItemThatCannotBeReadIsToldAtTheEnd) {
  cCaptureBuilder builder = SmallDrive();
  builder.AddRaw(0xFF, 2, {1, 2});
  EXPECT_EQ(Show(builder.Closed()), 1);
  EXPECT_THAT(out.str(), HasSubstr("State:        damaged\n"));
  EXPECT_THAT(out.str(), HasSubstr("Items:        5\n"));
  EXPECT_NE(errors.str(), "");
}

}  // namespace
}  // namespace corvane::tools
