#include "convert/rebuilt_blocks.h"

#include <gtest/gtest.h>

#include "convert/item_description.h"
#include "reader/capture_builder.h"

namespace corvane {
namespace {

// 2020-09-13 12:26:40 UTC, in milliseconds since 1601, and as a DIAG timestamp: 1,284,035,200 s
// behind the GPS epoch, in units of 1.25 ms.
constexpr std::uint64_t kItemTime = 13'244'473'600'000;
constexpr std::uint64_t kStampUnits = 1'284'035'200ull * 800;

// `units` and `steps` of the DIAG stamp beside those of kItemTime.
[[nodiscard]] bool IsRebuiltWith(std::uint8_t channel, std::int64_t units, std::uint64_t steps,
                                 std::uint64_t itemTime = kItemTime, unsigned logCode = 0x412F,
                                 const sSource& source = {}) {
  sCaptureItem item;
  item.type = 8;
  item.time = itemTime;
  item.bytes = Hex("10 00 12 00 12 00 00 00 00 00 00 00 00 00 00 00 00 00 02 00 05 AA");
  Put(item.bytes, 6, logCode, 2);
  Put(item.bytes, 8, ((kStampUnits + static_cast<std::uint64_t>(units)) << 16) | steps, 8);
  item.bytes[16] = channel;
  return IsRebuilt(item, DescribeItem(item), source);
}

TEST(RebuiltBlocksTest, ABlockWithTheTimeOfItsItemIsTheRecorders) {
  EXPECT_TRUE(IsRebuiltWith(254, 0, 0));
  EXPECT_TRUE(IsRebuiltWith(255, 0, 0));
}

TEST(RebuiltBlocksTest, OnlyTheChannelsOfWholeBlocksAreRebuilt) {
  for (const std::uint8_t channel : ByteVector{0, 4, 5, 0x84, 0x89, 0xF0, 253}) {
    EXPECT_FALSE(IsRebuiltWith(channel, 0, 0)) << unsigned{channel};
  }
  EXPECT_FALSE(IsRebuiltWith(254, 0, 0, kItemTime, 0x4130));
}

TEST(RebuiltBlocksTest, AMillisecondOnEitherSideIsTheBound) {
  // 1 ms is 39,321.6 steps of 1/49,152 of 1.25 ms; the 9,830.4 others of a unit are 0.25 ms.
  EXPECT_TRUE(IsRebuiltWith(254, 0, 39'321));
  EXPECT_FALSE(IsRebuiltWith(254, 0, 39'322));
  EXPECT_TRUE(IsRebuiltWith(254, -1, 9'831));
  EXPECT_FALSE(IsRebuiltWith(254, -1, 9'830));
  // An item's time is cut down to the millisecond, the stamp is exact.
  EXPECT_TRUE(IsRebuiltWith(255, 0, 39'000));
  EXPECT_FALSE(IsRebuiltWith(255, 1, 0));
  EXPECT_FALSE(IsRebuiltWith(255, -1, 0));
}

TEST(RebuiltBlocksTest, NothingOfAnImportedCaptureIsRebuilt) {
  EXPECT_FALSE(IsRebuiltWith(254, 0, 0, kItemTime, 0x412F, {"drive.hdlc", {}, true}));
  EXPECT_TRUE(IsRebuiltWith(254, 0, 0, kItemTime, 0x412F, {"COM7", 2, false}));
}

TEST(RebuiltBlocksTest, TimesThatAreFarApartAreTheModemsOwn) {
  EXPECT_FALSE(IsRebuiltWith(254, -static_cast<std::int64_t>(kStampUnits), 0));
  EXPECT_FALSE(IsRebuiltWith(254, std::int64_t{1} << 47, 0));
  EXPECT_FALSE(IsRebuiltWith(254, 0, 0, 0));
  EXPECT_FALSE(IsRebuiltWith(254, 0, 0, UINT64_MAX / 10'000));
}

TEST(RebuiltBlocksTest, APacketWithoutAChannelOrInAWrapperIsNotRebuilt) {
  sCaptureItem item;
  item.type = 8;
  item.time = kItemTime;
  item.bytes = Hex("10 00 0C 00 0C 00 2F 41 00 00 00 00 00 00 00 00");
  Put(item.bytes, 8, kStampUnits << 16, 8);
  EXPECT_FALSE(IsRebuilt(item, DescribeItem(item), {}));
  item.bytes.push_back(254);
  EXPECT_TRUE(IsRebuilt(item, DescribeItem(item), {}));
  const ByteVector wrapper = Hex("98 01 00 00 01 00 00 00");
  item.bytes.insert(item.bytes.begin(), wrapper.begin(), wrapper.end());
  EXPECT_FALSE(IsRebuilt(item, DescribeItem(item), {}));
  item.bytes.resize(7);
  EXPECT_FALSE(IsRebuilt(item, DescribeItem(item), {}));
}

}  // namespace
}  // namespace corvane
