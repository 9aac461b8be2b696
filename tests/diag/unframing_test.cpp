#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "diag/hdlc.h"
#include "diag/made_packets.h"
#include "support/failing_allocation.h"

namespace corvane {
namespace {

constexpr std::uint32_t kUntouched = 12345;

struct sUnframed {
  OwnedBuffer packet;
  std::uint32_t consumed = kUntouched;
};

sUnframed Unframe(const ByteVector& received, std::uint32_t origin = kOriginDevice) {
  sUnframed result;
  result.packet = UnframePacket(MakePacket(received, origin).get(), &result.consumed);
  return result;
}

// Frames of 1D, of 4B 0F 00 00 and of 123456789, as worked out apart from this code.
const ByteVector kFrame1D = {0x1D, 0x1C, 0x3B, 0x7E};
const ByteVector kFrame4B = {0x4B, 0x0F, 0x00, 0x00, 0xBB, 0x60, 0x7E};
const ByteVector kFrameDigits = {'1', '2', '3', '4', '5', '6', '7', '8', '9', 0x6E, 0x90, 0x7E};

TEST(UnframingTest, AFrameGivesItsPayloadOriginAndLength) {
  for (const std::uint32_t origin : {kOriginDevice, kOriginLibrary}) {
    const sUnframed result = Unframe(kFrame4B, origin);
    EXPECT_EQ(ContentOf(result.packet), (ByteVector{0x4B, 0x0F, 0x00, 0x00}));
    EXPECT_EQ(result.consumed, 7U);
    ASSERT_NE(result.packet, nullptr);
    EXPECT_EQ(result.packet->origin, origin);
    EXPECT_EQ(result.packet->refCount, 0U);
  }
}

TEST(UnframingTest, TheOutputOfFramePacketGivesThePacketBack) {
  const ByteVector payload = {0x7D, 0x00, 0x7E, 0x7E, 0x7D, 0xFF, 0x5E, 0x5D, 0x20};
  const OwnedBuffer frame = FramePacket(MakePacket(payload, kOriginLibrary).get());
  ASSERT_NE(frame, nullptr);
  std::uint32_t consumed = kUntouched;
  const OwnedBuffer packet = UnframePacket(frame.get(), &consumed);
  EXPECT_EQ(ContentOf(packet), payload);
  EXPECT_EQ(consumed, frame->size);
  ASSERT_NE(packet, nullptr);
  EXPECT_EQ(packet->origin, kOriginLibrary);
}

TEST(UnframingTest, ALeadingFlagIsNotCountedAsConsumed) {
  const sUnframed result = Unframe(ByteVector{0x7E} + kFrame4B);
  EXPECT_EQ(ContentOf(result.packet), (ByteVector{0x4B, 0x0F, 0x00, 0x00}));
  EXPECT_EQ(result.consumed, 7U);  // of 8 bytes
}

TEST(UnframingTest, OnlyOneLeadingFlagIsSkipped) {
  // The second flag is the first byte of the body, which makes the check fail.
  const sUnframed result = Unframe(ByteVector{0x7E, 0x7E} + kFrame4B);
  EXPECT_EQ(result.packet, nullptr);
  EXPECT_EQ(result.consumed, 8U);
}

TEST(UnframingTest, ALoneFlagIsIncomplete) {
  const sUnframed result = Unframe({0x7E});
  EXPECT_EQ(result.packet, nullptr);
  EXPECT_EQ(result.consumed, 0U);
}

TEST(UnframingTest, TwoFlagsInARowAreABadFrameOfOneByte) {
  const sUnframed result = Unframe({0x7E, 0x7E});
  EXPECT_EQ(result.packet, nullptr);
  EXPECT_EQ(result.consumed, 1U);
}

TEST(UnframingTest, AStretchWithNoFlagIsIncomplete) {
  for (const ByteVector& received :
       {ByteVector{0x4B}, ByteVector{0x4B, 0x0F, 0x00, 0x00, 0xBB, 0x60},
        ByteVector{0x7E, 0x4B, 0x0F, 0x00, 0x00, 0xBB, 0x60}}) {
    const sUnframed result = Unframe(received);
    EXPECT_EQ(result.packet, nullptr);
    EXPECT_EQ(result.consumed, 0U);
  }
}

TEST(UnframingTest, AStretchWithNoFlagBehindTheFirstThreePositionsIsIncomplete) {
  for (const ByteVector& received :
       {ByteVector{0x00, 0x7E, 0x00, 0x00}, ByteVector{0x00, 0x00, 0x7E, 0x00, 0x00},
        ByteVector{0x7E, 0x7E, 0x00, 0x00, 0x00}, ByteVector{0x7E, 0x00, 0x7E, 0x7E, 0x00}}) {
    const sUnframed result = Unframe(received);
    EXPECT_EQ(result.packet, nullptr);
    EXPECT_EQ(result.consumed, 0U);
  }
}

TEST(UnframingTest, AFlagAtTheFourthPositionEndsTheFrame) {
  const sUnframed result = Unframe(kFrame1D + ByteVector{0x00, 0x00});
  EXPECT_EQ(ContentOf(result.packet), ByteVector{0x1D});
  EXPECT_EQ(result.consumed, 4U);
}

TEST(UnframingTest, AFlagAmongTheFirstThreePositionsBelongsToTheFrame) {
  const sUnframed result = Unframe({0x00, 0x00, 0x7E, 0x7E, 0x00});
  EXPECT_EQ(result.packet, nullptr);
  EXPECT_EQ(result.consumed, 4U);
}

TEST(UnframingTest, AStretchOfUpToThreeBytesThatEndsInAFlagIsAFrame) {
  EXPECT_EQ(Unframe({0x00, 0x7E}).consumed, 2U);
  EXPECT_EQ(Unframe({0x00, 0x01, 0x7E}).consumed, 3U);
  EXPECT_EQ(Unframe({0x7E, 0x00, 0x7E}).consumed, 2U);
  EXPECT_EQ(Unframe({0x00, 0x7E}).packet, nullptr);
  EXPECT_EQ(Unframe({0x00, 0x01, 0x7E}).packet, nullptr);
  EXPECT_EQ(Unframe({0x7E, 0x00, 0x7E}).packet, nullptr);
}

TEST(UnframingTest, AFrameOfNothingButAGoodCrcGivesAnEmptyBuffer) {
  // The CRC of no bytes is 0x0000.
  const sUnframed result = Unframe({0x00, 0x00, 0x7E});
  ASSERT_NE(result.packet, nullptr);
  EXPECT_FALSE(result.packet->IsUsable());
  EXPECT_EQ(result.packet->size, 0U);
  EXPECT_EQ(result.packet->origin, kOriginDevice);
  EXPECT_EQ(result.consumed, 3U);
}

TEST(UnframingTest, ABadCrcGivesNullAndTheLengthOfTheFrame) {
  ByteVector frame = kFrame4B;
  frame[1] ^= 0x01;
  const sUnframed result = Unframe(frame + kFrame1D);
  EXPECT_EQ(result.packet, nullptr);
  EXPECT_EQ(result.consumed, 7U);
}

TEST(UnframingTest, WhatFollowsTheFrameIsNotRead) {
  const sUnframed result = Unframe(kFrame4B + kFrame1D);
  EXPECT_EQ(ContentOf(result.packet), (ByteVector{0x4B, 0x0F, 0x00, 0x00}));
  EXPECT_EQ(result.consumed, 7U);
}

TEST(UnframingTest, AFlagDirectlyBehindAnEscapeDoesNotEndTheFrame) {
  // 7D 7E stands for 5E: the payload is 4B 0F 00 5E 00, its CRC 0xB2A7.
  const sUnframed result =
      Unframe({0x4B, 0x0F, 0x00, 0x7D, 0x7E, 0x00, 0xA7, 0xB2, 0x7E, 0x11, 0x22});
  EXPECT_EQ(ContentOf(result.packet), (ByteVector{0x4B, 0x0F, 0x00, 0x5E, 0x00}));
  EXPECT_EQ(result.consumed, 9U);
}

TEST(UnframingTest, AStretchThatEndsInEscapeAndFlagIsAFrameWithTheEscape) {
  // The CRC of 19 is 0x7D38: with its high byte left unstuffed the frame passes only if the escape
  // right before the flag stands for itself.
  const sUnframed result = Unframe({0x19, 0x38, 0x7D, 0x7E});
  EXPECT_EQ(ContentOf(result.packet), ByteVector{0x19});
  EXPECT_EQ(result.consumed, 4U);
}

TEST(UnframingTest, AnEscapeAndAFlagInTheMiddleEndNoFrame) {
  const sUnframed result = Unframe({0x19, 0x38, 0x7D, 0x7E, 0x00});
  EXPECT_EQ(result.packet, nullptr);
  EXPECT_EQ(result.consumed, 0U);
}

TEST(UnframingTest, AnEscapedEscapeIsUnstuffedOnce) {
  // 7D 7D stands for 5D, and the byte behind it for itself. The CRC of 4B 5D 5E is 0x3168.
  const sUnframed result = Unframe({0x4B, 0x7D, 0x7D, 0x5E, 0x68, 0x31, 0x7E});
  EXPECT_EQ(ContentOf(result.packet), (ByteVector{0x4B, 0x5D, 0x5E}));
}

TEST(UnframingTest, TheCrcBytesStayInTheBlockBehindThePacket) {
  const sUnframed result = Unframe(kFrame4B);
  ASSERT_NE(result.packet, nullptr);
  EXPECT_EQ(result.packet->size, 4U);
  EXPECT_EQ(result.packet->data[4], 0xBB);
  EXPECT_EQ(result.packet->data[5], 0x60);
}

TEST(UnframingTest, FramesThatShareFlagsAreWalkedByTheBytesConsumed) {
  ByteVector rest = ByteVector{0x7E} + kFrame1D + kFrame4B + kFrameDigits + ByteVector{0x1D};
  std::vector<ByteVector> packets;
  std::vector<std::uint32_t> steps;
  while (true) {
    const sUnframed result = Unframe(rest);
    steps.push_back(result.consumed);
    if (result.consumed == 0) {
      break;
    }
    packets.push_back(ContentOf(result.packet));
    rest.erase(rest.begin(), rest.begin() + result.consumed);
  }
  EXPECT_EQ(packets,
            (std::vector<ByteVector>{
                {0x1D}, {0x4B, 0x0F, 0x00, 0x00}, {'1', '2', '3', '4', '5', '6', '7', '8', '9'}}));
  EXPECT_EQ(steps, (std::vector<std::uint32_t>{4, 7, 12, 0}));
  // What is left is the last frame's closing flag and the start of the next frame.
  EXPECT_EQ(rest, (ByteVector{0x7E, 0x1D}));
}

TEST(UnframingTest, TheLongestStretchIsRead) {
  const ByteVector payload(16637, 0x11);  // its CRC is 0x8E12
  const sUnframed result = Unframe(payload + ByteVector{0x12, 0x8E, 0x7E});
  EXPECT_EQ(ContentOf(result.packet), payload);
  EXPECT_EQ(result.consumed, 16640U);
}

TEST(UnframingTest, UnusableInputGivesNullAndLeavesConsumedUntouched) {
  std::uint32_t consumed = kUntouched;
  EXPECT_EQ(UnframePacket(nullptr, &consumed), nullptr);
  EXPECT_EQ(consumed, kUntouched);
  EXPECT_EQ(UnframePacket(MakePacket({}).get(), &consumed), nullptr);
  EXPECT_EQ(consumed, kUntouched);
}

TEST(FrontFrameTest, TakesALeadingFlagAndAllUpToTheClosingOne) {
  EXPECT_EQ(FrontFrameSize(kFrame4B), 7U);
  EXPECT_EQ(FrontFrameSize(kFrame4B + kFrame1D), 7U);
  EXPECT_EQ(FrontFrameSize(ByteVector{0x7E} + kFrame4B + kFrame1D), 8U);
  EXPECT_EQ(FrontFrameSize(ByteVector{0x7E, 0x7E} + kFrame1D), 6U);  // a flag among the first three
}

TEST(FrontFrameTest, IsNothingWhileNoFrameIsComplete) {
  EXPECT_EQ(FrontFrameSize({}), 0U);
  EXPECT_EQ(FrontFrameSize(ByteVector{0x7E}), 0U);
  EXPECT_EQ(FrontFrameSize(ByteVector{0x4B, 0x0F, 0x00, 0x00, 0xBB, 0x60}), 0U);
  EXPECT_EQ(FrontFrameSize(ByteVector{0x4B, 0x0F, 0x00, 0x7D, 0x7E, 0x60}), 0U);
}

TEST(UnframingTest, NowhereToPutTheConsumedCountGivesNull) {
  EXPECT_EQ(UnframePacket(MakePacket(kFrame4B).get(), nullptr), nullptr);
}

TEST(UnframingTest, TheReceivedBytesAreLeftUntouched) {
  const OwnedBuffer received = MakePacket(kFrame4B);
  std::uint32_t consumed = 0;
  const OwnedBuffer packet = UnframePacket(received.get(), &consumed);
  EXPECT_EQ(ContentOf(received), kFrame4B);
  EXPECT_EQ(received->refCount, 0U);
}

TEST(UnframingTest, NoMemoryForThePacketGivesNullWithTheFrameConsumed) {
  const OwnedBuffer received = MakePacket(kFrame4B);
  for (const eHeap heap : {eHeap::Blocks, eHeap::New}) {
    std::uint32_t consumed = kUntouched;
    cAllocationFailure failure(heap, 1);
    const OwnedBuffer packet = UnframePacket(received.get(), &consumed);
    EXPECT_TRUE(failure.Disarm());
    EXPECT_EQ(packet, nullptr);
    EXPECT_EQ(consumed, 7U);
  }
}

}  // namespace
}  // namespace corvane
