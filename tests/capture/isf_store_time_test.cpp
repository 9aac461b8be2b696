#include <gtest/gtest.h>

#include "capture/store_fixture.h"
#include "platform/error_codes.h"
#include "support/controllable_clock.h"

namespace corvane {
namespace {

constexpr std::uint64_t kStartMilliseconds = 13'350'000'000'000;

class IsfStoreTimeTest : public cStoreTest {
 protected:
  // A first item at kClockStart, then one so many milliseconds later (or earlier).
  [[nodiscard]] sDecodedItem SecondItemAt(std::int64_t milliseconds) {
    SetClockFromStart(0);
    EXPECT_EQ(Add({0x0A, 1}), kErrorSuccess);
    SetClockFromStart(milliseconds);
    EXPECT_EQ(Add({0x0A, 2}), kErrorSuccess);
    const auto items = Items();
    EXPECT_EQ(items.size(), 2U);
    EXPECT_EQ(items.at(1).packet, (ByteVector{0x0A, 2}));
    return items.at(1);
  }

  void ExpectTime(const sDecodedItem& item, unsigned widthCode, std::uint64_t timeField) {
    EXPECT_EQ(item.widthCode, widthCode);
    EXPECT_EQ(item.timeField, timeField);
    const std::uint64_t width = std::uint64_t{1} << widthCode;
    EXPECT_EQ(item.end - item.position, width + item.packet.size());
  }
};

TEST_F(IsfStoreTimeTest, TheSameMillisecondTakesOneByte) { ExpectTime(SecondItemAt(0), 0, 0); }

TEST_F(IsfStoreTimeTest, ADistanceOf254TakesOneByte) { ExpectTime(SecondItemAt(254), 0, 254); }

TEST_F(IsfStoreTimeTest, ADistanceOf255TakesTwoBytes) { ExpectTime(SecondItemAt(255), 1, 255); }

TEST_F(IsfStoreTimeTest, ADistanceOf256TakesTwoBytes) { ExpectTime(SecondItemAt(256), 1, 256); }

TEST_F(IsfStoreTimeTest, ADistanceOf65534TakesTwoBytes) {
  ExpectTime(SecondItemAt(65534), 1, 65534);
}

TEST_F(IsfStoreTimeTest, ADistanceOf65535TakesFourBytes) {
  ExpectTime(SecondItemAt(65535), 2, 65535);
}

TEST_F(IsfStoreTimeTest, ADistanceOf65536TakesFourBytes) {
  ExpectTime(SecondItemAt(65536), 2, 65536);
}

TEST_F(IsfStoreTimeTest, ADistanceOfFFFFFFFETakesFourBytes) {
  ExpectTime(SecondItemAt(0xFFFFFFFE), 2, 0xFFFFFFFE);
}

TEST_F(IsfStoreTimeTest, ADistanceOfFFFFFFFFIsAnEightByteAbsoluteTime) {
  ExpectTime(SecondItemAt(0xFFFFFFFF), 3, kStartMilliseconds + 0xFFFFFFFF);
}

TEST_F(IsfStoreTimeTest, ADistanceBeyond32BitsIsAnEightByteAbsoluteTime) {
  ExpectTime(SecondItemAt(0x100000000), 3, kStartMilliseconds + 0x100000000);
}

TEST_F(IsfStoreTimeTest, AClockSetBackwardsBetweenItemsGivesAnEightByteAbsoluteTime) {
  ExpectTime(SecondItemAt(-1), 3, kStartMilliseconds - 1);
}

TEST_F(IsfStoreTimeTest, AClockSetBackwardsForHoursGivesAnEightByteAbsoluteTime) {
  ExpectTime(SecondItemAt(-36'000'000), 3, kStartMilliseconds - 36'000'000);
}

TEST_F(IsfStoreTimeTest, TimesCountFromTheFirstItemOfTheBlockNotFromTheItemBefore) {
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  SetClockFromStart(200);
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  SetClockFromStart(300);
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  SetClockFromStart(-5);
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  SetClockFromStart(10);
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  const auto items = Items();
  ExpectTime(items.at(1), 0, 200);
  ExpectTime(items.at(2), 1, 300);
  ExpectTime(items.at(3), 3, kStartMilliseconds - 5);
  ExpectTime(items.at(4), 0, 10);
}

TEST_F(IsfStoreTimeTest, ANewBlockHasTheTimeOfItsFirstItemAsItsBase) {
  for (std::uint32_t i = 0; i < 8192; ++i) {
    ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  }
  SetClockFromStart(-1000);
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  SetClockFromStart(-998);
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  const sDecodedCapture capture = DecodeCapture(Contents());
  ASSERT_EQ(capture.blocks.size(), 2U);
  EXPECT_EQ(capture.blocks[1].baseTime, kStartMilliseconds - 1000);
  ExpectTime(capture.blocks[1].items.at(0), 0, 0);
  ExpectTime(capture.blocks[1].items.at(1), 0, 2);
}

TEST_F(IsfStoreTimeTest, PartsOfAMillisecondAreCutOff) {
  SetFileTime(kClockStart + 9'999);
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  SetFileTime(kClockStart + 10'000);
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  SetFileTime(kClockStart + 29'999);
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  const auto items = Items();
  EXPECT_EQ(items.at(0).time, kStartMilliseconds);
  EXPECT_EQ(items.at(1).time, kStartMilliseconds + 1);
  EXPECT_EQ(items.at(2).time, kStartMilliseconds + 2);
}

TEST_F(IsfStoreTimeTest, EveryTimeWidthCanCarryAnExtraFieldBehindIt) {
  ASSERT_EQ(AddRequest({0x4B, 0x09, 0x00, 0x00, 0x11, 0x22, 0x33}), kErrorSuccess);
  for (const std::int64_t milliseconds : {1, 1000, 100'000, -1}) {
    SetClockFromStart(milliseconds);
    ASSERT_EQ(Add(LogPacket(0x412F, 20)), kErrorSuccess);
  }
  const auto items = Items();
  for (unsigned widthCode = 0; widthCode < 4; ++widthCode) {
    const sDecodedItem& item = items.at(widthCode + 1);
    EXPECT_EQ(item.widthCode, widthCode);
    EXPECT_EQ(item.extra, 0x332211U);
    EXPECT_EQ(item.packet, LogPacket(0x412F, 20));
    EXPECT_EQ(item.end - item.position, (std::uint64_t{1} << widthCode) + 4 + 20);
  }
}

}  // namespace
}  // namespace corvane
