#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "convert/import_fixture.h"

namespace corvane {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

class ImportTimesTest : public cImportTest {};

TEST_F(ImportTimesTest, TimesAreThoseOfThePacketsAlsoBackwards) {
  const auto items = Import({Log(kNoon), Log(kNoon + 300'000), Log(kNoon - 5), Log(kNoon + 1)});
  ASSERT_THAT(items, SizeIs(4));
  EXPECT_EQ(items[1].time, kNoon + 300'000);
  EXPECT_EQ(items[2].time, kNoon - 5);
  EXPECT_EQ(items[3].time, kNoon + 1);
  EXPECT_EQ(report.firstTime, kNoon * 10'000);
  EXPECT_EQ(report.lastTime / 10'000, kNoon + 1);
}

TEST_F(ImportTimesTest, ANonsensicalStampTakesTheTimeBeforeIt) {
  const auto items = Import({Log(kNoon), Hex("00"), Log(kUnknown), Hex("1C"), Log(kNoon + 9)});
  ASSERT_THAT(items, SizeIs(5));
  EXPECT_EQ(items[2].time, kNoon);
  EXPECT_EQ(items[2].packet, Log(kUnknown));
  EXPECT_EQ(items[3].time, kNoon);
  EXPECT_EQ(items[4].time, kNoon + 9);
  EXPECT_EQ(report.nonsensicalTimes, 1U);
  EXPECT_EQ(report.unstamped, 2U);
  EXPECT_EQ(report.undated, 0U);
}

TEST_F(ImportTimesTest, PacketsBeforeTheFirstStampTakeItsTime) {
  EXPECT_THAT(Import({Hex("00"), Hex("7C 01"), Log(kNoon)}),
              ElementsAre(sExpected{1, kNoon, Hex("00")}, sExpected{1, kNoon, Hex("7C 01")},
                          sExpected{5, kNoon, Log(kNoon)}));
}

TEST_F(ImportTimesTest, AStreamWithoutStampsIsDatedWhereModemsBegin) {
  EXPECT_THAT(Import({Hex("00"), Hex("7C 01")}),
              ElementsAre(sExpected{1, kUnknown, Hex("00")}, sExpected{1, kUnknown, Hex("7C 01")}));
  EXPECT_EQ(report.undated, 2U);
}

TEST_F(ImportTimesTest, MessagesHaveStampsOfTheirOwn) {
  ByteVector extended = Hex("79 00 00 00 00 00 00 00 00 00 00 00 07 00 05 00 04 00 00 00 00 00");
  Put(extended, 4, StampAt(kNoon + 1), 8);
  ByteVector terse = Hex("92 00 00 00 00 00 00 00 00 00 00 00 07 00 05 00 04 00 00 00 11 22 33 44");
  Put(terse, 4, StampAt(kNoon + 2), 8);
  // Of another time type nothing is known, and eleven bytes hold no stamp.
  ByteVector otherType = terse;
  otherType[1] = 1;
  Put(otherType, 4, StampAt(kNoon + 99), 8);
  const ByteVector cut(terse.begin(), terse.begin() + 11);
  const auto items = Import({Log(kNoon), extended, terse, otherType, cut, Hex("79")});
  ASSERT_THAT(items, SizeIs(6));
  EXPECT_EQ(items[1].time, kNoon + 1);
  EXPECT_EQ(items[2].time, kNoon + 2);
  EXPECT_EQ(items[3].time, kNoon + 2);
  EXPECT_EQ(items[4].time, kNoon + 2);
  EXPECT_EQ(items[5].time, kNoon + 2);
  EXPECT_EQ(report.unstamped, 3U);
}

TEST_F(ImportTimesTest, OfPacketsThatWaitForATimeOnlySoManyAreKept) {
  ByteVector stream;
  for (int i = 0; i < 5000; ++i) {
    AppendFrame(stream, Hex("00 01"));
  }
  AppendFrame(stream, Log(kNoon));
  AppendFrame(stream, Log(kUnknown));
  for (int i = 0; i < 5000; ++i) {
    AppendFrame(stream, Hex("00 02"));
  }
  AppendFrame(stream, Log(kNoon + 1));
  const auto items = Import(stream);
  ASSERT_THAT(items, SizeIs(10'003));
  // More than 4,096 do not wait for the first stamp, and none after them.
  EXPECT_EQ(items[0].time, kUnknown);
  EXPECT_EQ(items[4999].time, kUnknown);
  EXPECT_EQ(items[5000].time, kNoon);
  // Nor for a second neighbour, and so the stamp is kept.
  EXPECT_EQ(items[5001].time, kUnknown);
  EXPECT_EQ(items[5002].time, kUnknown);
  EXPECT_EQ(items[10'001].time, kUnknown);
  EXPECT_EQ(items[10'002].time, kNoon + 1);
  EXPECT_EQ(report.undated, 5000U);
}

TEST_F(ImportTimesTest, SoManyBytesWait) {
  const ByteVector large(16'000, 0x00);
  ByteVector few;
  for (int i = 0; i < 65; ++i) {
    AppendFrame(few, large);
  }
  ByteVector more = few;
  AppendFrame(more, large);
  AppendFrame(few, Log(kNoon));
  AppendFrame(more, Log(kNoon));
  EXPECT_EQ(Import(few).at(0).time, kNoon);
  EXPECT_EQ(Import(more).at(0).time, kUnknown);
}

}  // namespace
}  // namespace corvane
