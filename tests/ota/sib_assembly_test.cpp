#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "ota/bits.h"
#include "ota/ota_messages.h"
#include "ota/sib_assembly.h"
#include "support/member_order.h"

namespace corvane {
namespace {

sSibAssembly Block(std::uint32_t bitLength) {
  sSibAssembly block;
  block.channelMarker = 254;
  block.rbId = 0x21;
  block.sibType = 30;
  block.expectedSegments = 2;
  block.receivedSegments = 2;
  block.bitLength = bitLength;
  return block;
}

// A block whose data bits are all set.
sSibAssembly FullBlock(std::uint32_t bitLength) {
  sSibAssembly block = Block(bitLength);
  for (std::uint32_t bit = 40; bit < bitLength; ++bit) {
    block.buffer[bit / 8] = static_cast<std::uint8_t>(block.buffer[bit / 8] | 128 >> bit % 8);
  }
  return block;
}

ByteVector Emit(sSibAssembly& block) {
  SibPacketList list;
  EmitSib(block, 0x8877665544332211, list);
  EXPECT_EQ(list.size(), 1u);
  return list.empty() ? ByteVector() : BytesOf(list).front();
}

TEST(SibAssembly, HasItsMembersInOrderAndStartsEmptyBehindItsHeader) {
  const sSibAssembly block;
  EXPECT_TRUE(AreInMemoryOrder(block.channelMarker, block.rbId, block.sibType,
                               block.expectedSegments, block.receivedSegments, block.bitLength,
                               block.buffer));
  EXPECT_EQ(block.channelMarker, 0U);
  EXPECT_EQ(block.rbId, 0U);
  EXPECT_EQ(block.sibType, 0U);
  EXPECT_EQ(block.expectedSegments, 0U);
  EXPECT_EQ(block.receivedSegments, 0U);
  EXPECT_EQ(block.bitLength, 40U);
  EXPECT_EQ(block.buffer.size(), 8208U);
  EXPECT_THAT(block.buffer, testing::Each(0));
}

TEST(SubscriptionAssemblies, AreThoseOfSubscription1AtFirst) {
  cSubscriptionAssemblies assemblies;
  SibAssemblyMap* const first = &assemblies.Selected();
  assemblies.Select(2);
  EXPECT_NE(&assemblies.Selected(), first);
  assemblies.Select(1);
  EXPECT_EQ(&assemblies.Selected(), first);
}

TEST(SubscriptionAssemblies, KeepWhatEachSubscriptionHas) {
  cSubscriptionAssemblies assemblies;
  for (std::uint32_t subscription = 1; subscription <= 8; ++subscription) {
    assemblies.Select(subscription);
    EXPECT_TRUE(assemblies.Selected().empty()) << subscription;
    assemblies.Selected()[{254, 0, 0}].receivedSegments = subscription;
  }
  for (std::uint32_t subscription = 8; subscription >= 1; --subscription) {
    assemblies.Select(subscription);
    EXPECT_EQ((assemblies.Selected()[{254, 0, 0}].receivedSegments), subscription);
  }
}

TEST(SubscriptionAssemblies, OneTooManyTakesThePlaceOfTheLongestSilent) {
  cSubscriptionAssemblies assemblies;
  for (std::uint32_t subscription = 1; subscription <= 8; ++subscription) {
    assemblies.Select(subscription);
    assemblies.Selected()[{254, 0, 0}].receivedSegments = subscription;
  }
  assemblies.Select(1);
  assemblies.Select(std::numeric_limits<std::uint32_t>::max() - 1);
  EXPECT_TRUE(assemblies.Selected().empty());
  assemblies.Select(1);
  EXPECT_EQ((assemblies.Selected()[{254, 0, 0}].receivedSegments), 1U);
  assemblies.Select(3);
  EXPECT_EQ((assemblies.Selected()[{254, 0, 0}].receivedSegments), 3U);
  assemblies.Select(2);
  EXPECT_TRUE(assemblies.Selected().empty());
}

TEST(EmitSib, MakesALogPacketOfTheBlockByteByByte) {
  sSibAssembly block = FullBlock(40 + 12);
  EXPECT_EQ(Emit(block),
            ByteVector({0x10, 0x00, 0x13, 0x00, 0x13, 0x00, 0x2F, 0x41, 0x11, 0x22, 0x33, 0x44,
                        0x55, 0x66, 0x77, 0x88, 254,  0x21, 3,    0,    30,   0xFF, 0xF0}));
}

TEST(EmitSib, MakesABufferFromTheDeviceThatBelongsToTheCaller) {
  sSibAssembly block = FullBlock(48);
  SibPacketList list;
  EmitSib(block, 0, list);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0]->origin, 3u);
  EXPECT_EQ(list[0]->refCount, 0u);
  EXPECT_EQ(list[0]->size, 16u + 6u);
}

TEST(EmitSib, AppendsAtTheEndOfTheList) {
  sSibAssembly first = FullBlock(48);
  sSibAssembly second = FullBlock(56);
  SibPacketList list;
  EmitSib(first, 0, list);
  EmitSib(second, 0, list);
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[0]->size, 22u);
  EXPECT_EQ(list[1]->size, 23u);
}

TEST(EmitSib, RoundsTheBlockUpToWholeBytesWithZeroBitsAndKeepsThatLength) {
  for (std::uint32_t bits = 1; bits <= 17; ++bits) {
    sSibAssembly block = FullBlock(40 + bits);
    const std::uint32_t dataBytes = (bits + 7) / 8;
    EXPECT_EQ(Emit(block), RebuiltPacket(kBch, 0x21, 30, Bits(bits, '1'), 0x8877665544332211));
    EXPECT_EQ(block.bitLength, 40 + dataBytes * 8);
  }
}

TEST(EmitSib, EmitsABlockWithoutDataAsItsTypeAlone) {
  sSibAssembly block = Block(40);
  EXPECT_EQ(Emit(block), RebuiltPacket(kBch, 0x21, 30, "", 0x8877665544332211));
  EXPECT_EQ(block.bitLength, 40u);
}

TEST(EmitSib, WritesTheOtaHeaderIntoTheBlock) {
  sSibAssembly block = FullBlock(40 + 300 * 8);
  Emit(block);
  // 301 bytes of message: 0x012D.
  EXPECT_EQ(BitsOf({block.buffer.data(), 5}), BitsOf(ByteVector{254, 0x21, 0x2D, 0x01, 30}));
}

TEST(EmitSib, LeavesTheSegmentCountsAlone) {
  sSibAssembly block = FullBlock(48);
  Emit(block);
  EXPECT_EQ(block.expectedSegments, 2u);
  EXPECT_EQ(block.receivedSegments, 2u);
}

TEST(EmitSib, EmitsABlockOf8192BytesWhole) {
  sSibAssembly block = FullBlock(8192 * 8);
  const ByteVector packet = Emit(block);
  ASSERT_EQ(packet.size(), 8192u + 16u);
  EXPECT_EQ(packet[2] + packet[3] * 256, 8192 + 12);
  EXPECT_EQ(packet[4] + packet[5] * 256, 8192 + 12);
  EXPECT_EQ(packet[18] + packet[19] * 256, 8192 - 4);
  EXPECT_EQ(packet.back(), 0xFF);
}

TEST(EmitSib, CutsALongerBlockTo8192BytesButCountsItsWholeMessage) {
  for (const std::uint32_t bits : {8192u * 8 + 1, 8193u * 8, 8207u * 8 + 1, 8208u * 8}) {
    sSibAssembly block = FullBlock(bits);
    const ByteVector packet = Emit(block);
    const std::uint32_t blockBytes = (bits + 7) / 8;
    ASSERT_EQ(packet.size(), 8192u + 16u);
    EXPECT_EQ(packet[2] + packet[3] * 256, 8192 + 12);
    EXPECT_EQ(packet[4] + packet[5] * 256, 8192 + 12);
    EXPECT_EQ(packet[18] + packet[19] * 256, static_cast<int>(blockBytes - 4));
    EXPECT_EQ(block.bitLength, blockBytes * 8);
  }
}

TEST(EmitSib, ReadsNothingBehindTheBufferOfABlockWithAnImpossibleLength) {
  for (const std::uint32_t bits :
       {8208u * 8 + 1, 70000u, std::numeric_limits<std::uint32_t>::max()}) {
    sSibAssembly block = Block(bits);
    EXPECT_LE(Emit(block).size(), 8192u + 16u);
  }
}

}  // namespace
}  // namespace corvane
