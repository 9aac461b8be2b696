#include <gtest/gtest.h>

#include <cstdint>
#include <tuple>

#include "diag/hdlc.h"
#include "diag/made_packets.h"
#include "support/failing_allocation.h"

namespace corvane {
namespace {

ByteVector FrameOf(const ByteVector& payload) {
  return ContentOf(FramePacket(MakePacket(payload, kOriginLibrary).get()));
}

TEST(FramingTest, TheOneByte1DGives1D1C3B7E) {
  EXPECT_EQ(FrameOf({0x1D}), (ByteVector{0x1D, 0x1C, 0x3B, 0x7E}));
}

TEST(FramingTest, TheOneByte00Gives0078F07E) {
  EXPECT_EQ(FrameOf({0x00}), (ByteVector{0x00, 0x78, 0xF0, 0x7E}));
}

TEST(FramingTest, ASubsystemRequestGivesItselfItsCrcAndAFlag) {
  EXPECT_EQ(FrameOf({0x4B, 0x0F, 0x00, 0x00}),
            (ByteVector{0x4B, 0x0F, 0x00, 0x00, 0xBB, 0x60, 0x7E}));
}

TEST(FramingTest, TheCheckValuesDigitsAreFollowedByTheCheckValueLowByteFirst) {
  EXPECT_EQ(FrameOf({'1', '2', '3', '4', '5', '6', '7', '8', '9'}),
            (ByteVector{'1', '2', '3', '4', '5', '6', '7', '8', '9', 0x6E, 0x90, 0x7E}));
}

TEST(FramingTest, AFlagAndAnEscapeInThePayloadAreStuffed) {
  EXPECT_EQ(FrameOf({0x7E, 0x7D}), (ByteVector{0x7D, 0x5E, 0x7D, 0x5D, 0xF1, 0xCD, 0x7E}));
}

TEST(FramingTest, TheBytesBesideFlagAndEscapeAreNotStuffed) {
  ByteVector payload;
  for (int byte = 0; byte < 256; ++byte) {
    if (byte != 0x7D && byte != 0x7E) {
      payload.push_back(static_cast<std::uint8_t>(byte));
    }
  }
  const ByteVector frame = FrameOf(payload);
  ASSERT_GE(frame.size(), payload.size());
  EXPECT_EQ(ByteVector(frame.begin(), frame.begin() + 254), payload);
}

TEST(FramingTest, TheLowCrcByteIsStuffed) {
  EXPECT_EQ(FrameOf({0x60}), (ByteVector{0x60, 0x7D, 0x5E, 0x93, 0x7E}));
  EXPECT_EQ(FrameOf({0x00, 0x57}), (ByteVector{0x00, 0x57, 0x7D, 0x5D, 0x29, 0x7E}));
}

TEST(FramingTest, TheHighCrcByteIsStuffed) {
  EXPECT_EQ(FrameOf({0x2A}), (ByteVector{0x2A, 0x20, 0x7D, 0x5E, 0x7E}));
  EXPECT_EQ(FrameOf({0x19}), (ByteVector{0x19, 0x38, 0x7D, 0x5D, 0x7E}));
}

TEST(FramingTest, BothCrcBytesAreStuffed) {
  EXPECT_EQ(FrameOf({0x83, 0xF2}), (ByteVector{0x83, 0xF2, 0x7D, 0x5E, 0x7D, 0x5D, 0x7E}));
}

TEST(FramingTest, TheFrameCarriesTheOriginOfThePacket) {
  EXPECT_EQ(FramePacket(MakePacket({0x1D}, kOriginLibrary).get())->origin, kOriginLibrary);
  EXPECT_EQ(FramePacket(MakePacket({0x1D}, kOriginDevice).get())->origin, kOriginDevice);
}

TEST(FramingTest, ThePacketIsLeftUntouched) {
  const ByteVector payload = {0x7E, 0x7D, 0x00};
  const OwnedBuffer packet = MakePacket(payload);
  std::ignore = FramePacket(packet.get());
  EXPECT_EQ(ContentOf(packet), payload);
  EXPECT_EQ(packet->refCount, 0U);
}

TEST(FramingTest, NoPacketOrAnUnusableOneGivesNull) {
  EXPECT_EQ(FramePacket(nullptr), nullptr);
  EXPECT_EQ(FramePacket(MakePacket({}).get()), nullptr);
}

TEST(FramingTest, AFrameOfExactlyTheSizeBoundIsMade) {
  const OwnedBuffer frame = FramePacket(MakePacket(ByteVector(16637, 0x00)).get());
  ASSERT_NE(frame, nullptr);
  EXPECT_EQ(frame->size, 16640U);
  EXPECT_EQ(frame->data[16639], 0x7E);
}

TEST(FramingTest, AFrameBeyondTheSizeBoundComesBackAsAnEmptyBuffer) {
  const OwnedBuffer frame = FramePacket(MakePacket(ByteVector(16638, 0x00)).get());
  ASSERT_NE(frame, nullptr);
  EXPECT_FALSE(frame->IsUsable());
  EXPECT_EQ(frame->size, 0U);
}

TEST(FramingTest, StuffingCountsTowardsTheSizeBound) {
  const OwnedBuffer fits = FramePacket(MakePacket(ByteVector(8318, 0x7E)).get());
  ASSERT_NE(fits, nullptr);
  EXPECT_EQ(fits->size, 16639U);

  const OwnedBuffer tooLong = FramePacket(MakePacket(ByteVector(8319, 0x7E)).get());
  ASSERT_NE(tooLong, nullptr);
  EXPECT_FALSE(tooLong->IsUsable());
}

TEST(FramingTest, AFrameMayBeStuffedThroughout) {
  // Of this payload both CRC bytes are to be stuffed too: 0x7D7D.
  EXPECT_EQ(FrameOf({0x7E, 0x7E, 0x7E, 0x7D, 0x7D, 0x7E, 0x7E, 0x7E, 0x7D, 0x7E, 0x7E}),
            (ByteVector{0x7D, 0x5E, 0x7D, 0x5E, 0x7D, 0x5E, 0x7D, 0x5D, 0x7D,
                        0x5D, 0x7D, 0x5E, 0x7D, 0x5E, 0x7D, 0x5E, 0x7D, 0x5D,
                        0x7D, 0x5E, 0x7D, 0x5E, 0x7D, 0x5D, 0x7D, 0x5D, 0x7E}));
}

TEST(FramingTest, ThereIsRoomWhereEveryByteOfTheLongestPacketIsStuffed) {
  const OwnedBuffer frame = FramePacket(MakePacket(ByteVector(kMaxBufferSize, 0x7D)).get());
  ASSERT_NE(frame, nullptr);
  EXPECT_FALSE(frame->IsUsable());
}

TEST(FramingTest, NoMemoryForTheFrameOrItsBufferGivesNull) {
  const OwnedBuffer packet = MakePacket({0x1D});
  for (const eHeap heap : {eHeap::Blocks, eHeap::New}) {
    cAllocationFailure failure(heap, 1);
    const OwnedBuffer frame = FramePacket(packet.get());
    EXPECT_TRUE(failure.Disarm());
    EXPECT_EQ(frame, nullptr);
  }
}

}  // namespace
}  // namespace corvane
