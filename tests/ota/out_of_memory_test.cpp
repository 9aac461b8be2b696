#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "ota/bits.h"
#include "ota/dispatcher.h"
#include "ota/emit_sib.h"
#include "ota/failing_memory.h"
#include "ota/ota_messages.h"

namespace corvane {
namespace {

constexpr std::uint64_t kTimestamp = 0x0123456789ABCDEF;
constexpr int kNever = -1;

// A packet takes its bytes, its buffer, and sometimes room in the list.
constexpr int kBytes = 0;
constexpr int kBuffer = 1;
constexpr int kRoom = 2;

sSibAssembly Block() {
  sSibAssembly block;
  block.channelMarker = 254;
  block.rbId = 7;
  block.sibType = 3;
  block.bitLength = 40 + 12;
  block.buffer[5] = 0xAB;
  block.buffer[6] = 0xC0;
  return block;
}

TEST(OutOfMemory, WithoutMemoryForAPacketNothingIsEmitted) {
  for (const int failing : {kBytes, kBuffer, kRoom}) {
    sSibAssembly block = Block();
    SibPacketList list;
    {
      const cFailingMemory memory(failing);
      EmitSib(block, kTimestamp, list);
      EXPECT_EQ(memory.Asked(), failing + 1);
    }
    EXPECT_TRUE(list.empty()) << failing;
    // The block is as it is after an emission.
    EXPECT_EQ(BlockOf({254, 7, 3}, block), EmittedBlock({254, 7, 3}, 0, 0, "101010111100"));
  }
}

TEST(OutOfMemory, ThePacketsBeforeOneWithoutMemoryStayInTheList) {
  for (const int failing : {kBytes, kBuffer, kRoom}) {
    sSibAssembly block = Block();
    SibPacketList list;
    EmitSib(block, kTimestamp, list);
    list.shrink_to_fit();
    {
      const cFailingMemory memory(failing);
      EmitSib(block, kTimestamp, list);
    }
    EXPECT_EQ(BytesOf(list), Packets{RebuiltPacket(kBch, 7, 3, "101010111100", kTimestamp)});
  }
}

Packets Send(SibAssemblyMap& map, unsigned choice, const Bits& content, int failing) {
  const Bytes bytes = LogPacket(kFach, 7, BytesOf(Message(kFach, choice, content)));
  const sOwnedBuffer item = Item(bytes);
  SibPacketList packets;
  {
    const cFailingMemory memory(failing);
    packets = DecodeOtaPacket(map, *item, kTimestamp);
  }
  return BytesOf(packets);
}

TEST(OutOfMemory, WithoutMemoryForAnEntryABlockIsNotStarted) {
  SibAssemblyMap map;
  EXPECT_EQ(Send(map, 1, FirstFixed(3, 2, Pattern(222)), 0), Packets());
  EXPECT_TRUE(map.empty());
  // Its last segment finds nothing; the next round is reassembled as ever.
  EXPECT_EQ(Send(map, 10, SegmentFixed(3, 1, Pattern(222)), kNever), Packets());
  EXPECT_EQ(Send(map, 1, FirstFixed(3, 2, Pattern(222)), kNever), Packets());
  EXPECT_EQ(Send(map, 10, SegmentFixed(3, 1, Pattern(222)), kNever).size(), 1u);
}

TEST(OutOfMemory, ABlockWithAnEntryIsRestartedWithoutMemory) {
  SibAssemblyMap map;
  Send(map, 1, FirstFixed(3, 2, Pattern(222, 1)), kNever);
  EXPECT_EQ(Send(map, 1, FirstFixed(3, 4, Pattern(222, 2)), 0), Packets());
  EXPECT_EQ(BlocksOf(map), (BlockMap{{{255, 7, 3}, UnfinishedBlock(4, 1, Pattern(222, 2))}}));
}

TEST(OutOfMemory, ABlockWhoseLastSegmentCameIsRemovedAlsoWhenItsPacketHasNoMemory) {
  SibAssemblyMap map;
  Send(map, 1, FirstFixed(3, 2, Pattern(222)), kNever);
  EXPECT_EQ(Send(map, 10, SegmentFixed(3, 1, Pattern(222)), kBytes), Packets());
  EXPECT_TRUE(map.empty());
}

TEST(OutOfMemory, ABlockCompletedByASubsequentSegmentStaysAlsoWhenItsPacketHasNoMemory) {
  SibAssemblyMap map;
  Send(map, 1, FirstFixed(3, 2, Pattern(222, 1)), kNever);
  EXPECT_EQ(Send(map, 2, SegmentFixed(3, 1, Pattern(222, 2)), kBytes), Packets());
  EXPECT_EQ(BlocksOf(map),
            (BlockMap{{{255, 7, 3},
                       EmittedBlock({255, 7, 3}, 2, 2, Pattern(222, 1) + Pattern(222, 2))}}));
}

// One message with every kind of allocation, each of which fails in turn.
TEST(OutOfMemory, WhicheverAllocationFailsTheOtherBlocksOfAMessageAreDecoded) {
  const Bits content = SegmentShort(3, 1, "1011") + SibList({{4, "110"}, {5, "011"}, {6, "1"}}) +
                       FirstShort(2, 2, "0110");
  const Packets all = {RebuiltPacket(kFach, 7, 3, "11011", kTimestamp),
                       RebuiltPacket(kFach, 7, 4, "110", kTimestamp),
                       RebuiltPacket(kFach, 7, 5, "011", kTimestamp),
                       RebuiltPacket(kFach, 7, 6, "1", kTimestamp)};
  bool wasWhole = false;
  for (int failing = 0; !wasWhole; ++failing) {
    ASSERT_LT(failing, 100);
    SibAssemblyMap map;
    InsertBlock(map, {255, 7, 3}, UnfinishedBlock(2, 1, "1"));
    const Packets packets = Send(map, 6, content, failing);
    const bool wasStored = map.size() == 1 && map.begin()->first.sibType == 2;
    wasWhole = packets == all && wasStored;
    // One thing is missing.
    EXPECT_EQ(packets.size() + map.size(), wasWhole ? 5u : 4u);
    EXPECT_EQ(map.count(sSibKey{255, 7, 3}), 0u);
  }
}

TEST(OutOfMemory, WithoutAnyMemoryMessagesAreReadToTheirEnds) {
  SibAssemblyMap map;
  InsertBlock(map, {255, 7, 3}, UnfinishedBlock(2, 1, "1"));
  InsertBlock(map, {255, 7, 2}, UnfinishedBlock(2, 1, "1"));
  const Bits content =
      SegmentShort(3, 1, "1011") + SibList({{4, "110"}, {5, "011"}}) + FirstShort(2, 2, "0110");
  const sOwnedBuffer item = Item(LogPacket(kFach, 7, BytesOf(Message(kFach, 6, content))));
  {
    const cFailingMemory memory(0, cFailingMemory::eWhich::ThatAndAllLater);
    EXPECT_TRUE(DecodeOtaPacket(map, *item, kTimestamp).empty());
  }
  EXPECT_EQ(BlocksOf(map), (BlockMap{{{255, 7, 2}, UnfinishedBlock(2, 1, "0110")}}));
}

}  // namespace
}  // namespace corvane
