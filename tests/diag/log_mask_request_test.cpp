#include <gtest/gtest.h>

#include <array>
#include <cstdint>

#include "diag/made_packets.h"
#include "diag/requests.h"
#include "support/failing_allocation.h"

namespace corvane {
namespace {

using MaskBytes = std::array<std::uint8_t, 512>;

MaskBytes MaskOf(std::uint32_t equipmentId, const LogCodeSet& logCodes) {
  MaskBytes mask;
  mask.fill(0xFF);
  FillLogMask(mask.data(), equipmentId, logCodes);
  return mask;
}

TEST(LogMaskTest, TheCodesOfTheEquipmentIdSetTheirItemsBits) {
  MaskBytes expected{};
  expected[0] = 0x81;    // items 0 and 7
  expected[1] = 0x01;    // item 8
  expected[511] = 0x80;  // item 0xFFF
  EXPECT_EQ(MaskOf(4, {0x4000, 0x4007, 0x4008, 0x4FFF}), expected);
}

TEST(LogMaskTest, CodesOfOtherEquipmentIdsSetNothing) {
  EXPECT_EQ(MaskOf(4, {0x3FFF, 0x5000}), MaskBytes{});
  EXPECT_EQ(MaskOf(4, {}), MaskBytes{});
}

TEST(LogMaskTest, LowerEquipmentIdsAreWalkedPast) {
  MaskBytes expected{};
  expected[0] = 0x02;
  EXPECT_EQ(MaskOf(15, {0x0001, 0x1234, 0xF001}), expected);
}

TEST(LogMaskTest, TheWalkStopsAtTheFirstGreaterEquipmentId) {
  MaskBytes expected{};
  expected[0] = 0x01;
  EXPECT_EQ(MaskOf(1, {0x11000}), expected);
  EXPECT_EQ(MaskOf(1, {0x2000, 0x11000}), MaskBytes{});
}

TEST(LogMaskTest, BitsAboveSixteenDoNotCount) {
  MaskBytes expected{};
  expected[0x46] = 0x10;
  EXPECT_EQ(MaskOf(1, {0xFFFF1234}), expected);
}

TEST(LogMaskTest, ANullMaskOrAnEquipmentIdAboveFifteenIsLeftAlone) {
  FillLogMask(nullptr, 1, {0x1000});
  MaskBytes untouched;
  untouched.fill(0xFF);
  EXPECT_EQ(MaskOf(16, {0x0000, 0x10000}), untouched);
}

TEST(LogMaskRequestTest, TheHeaderIsCommand73Operation3EquipmentIdAnd4096Bits) {
  const ByteVector request = ContentOf(BuildLogMaskRequest(11, {0xB001}));
  ASSERT_EQ(request.size(), 528U);
  EXPECT_EQ(ByteVector(request.begin(), request.begin() + 17),
            (ByteVector{0x73, 0, 0, 0, 3, 0, 0, 0, 11, 0, 0, 0, 0x00, 0x10, 0, 0, 0x02}));
  EXPECT_EQ(ByteVector(request.begin() + 17, request.end()), ByteVector(511));
}

TEST(LogMaskRequestTest, Codes1234And1235And4FFFGiveRequestsForEquipmentIds1And4) {
  const LogCodeSet logCodes = {0x1234, 0x1235, 0x4FFF};

  ByteVector first(528);
  first[0] = 0x73;
  first[4] = 3;
  first[8] = 1;
  first[13] = 0x10;
  first[16 + 0x46] = 0x30;
  EXPECT_EQ(ContentOf(BuildLogMaskRequest(1, logCodes)), first);

  ByteVector second(528);
  second[0] = 0x73;
  second[4] = 3;
  second[8] = 4;
  second[13] = 0x10;
  second[527] = 0x80;
  EXPECT_EQ(ContentOf(BuildLogMaskRequest(4, logCodes)), second);
}

TEST(LogMaskRequestTest, TheRequestIsTheLibrarysOwnAndBelongsToTheCaller) {
  const OwnedBuffer request = BuildLogMaskRequest(0, {});
  ASSERT_NE(request, nullptr);
  EXPECT_EQ(request->origin, kOriginLibrary);
  EXPECT_EQ(request->refCount, 0U);
}

TEST(LogMaskRequestTest, FifteenIsTheLastEquipmentId) {
  EXPECT_NE(BuildLogMaskRequest(15, {0xF000}), nullptr);
  EXPECT_EQ(BuildLogMaskRequest(16, {0xF000}), nullptr);
  EXPECT_EQ(BuildLogMaskRequest(0xFFFFFFFF, {0xF000}), nullptr);
}

TEST(LogMaskRequestTest, NoMemoryForTheRequestOrItsBufferGivesNull) {
  const LogCodeSet logCodes = {0x1234};
  for (const eHeap heap : {eHeap::Blocks, eHeap::New}) {
    cAllocationFailure failure(heap, 1);
    const OwnedBuffer request = BuildLogMaskRequest(1, logCodes);
    EXPECT_TRUE(failure.Disarm());
    EXPECT_EQ(request, nullptr);
  }
}

}  // namespace
}  // namespace corvane
