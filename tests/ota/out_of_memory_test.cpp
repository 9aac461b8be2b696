#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

#include "ota/bits.h"
#include "ota/dispatcher.h"
#include "ota/ota_messages.h"
#include "ota/sib_assembly.h"
#include "support/failing_allocation.h"

namespace corvane {
namespace {

constexpr std::uint64_t kTimestamp = 0x0123456789ABCDEF;
// An allocation to fail: the `nth` of `heap`, or none of them.
struct sFailing {
  eHeap heap;
  std::uint32_t nth;
};
constexpr sFailing kNone = {eHeap::New, 0};

// A packet takes its bytes, its buffer, and sometimes room in the list.
constexpr sFailing kBytes = {eHeap::Blocks, 1};
constexpr sFailing kBuffer = {eHeap::New, 1};
constexpr sFailing kRoom = {eHeap::New, 2};

// A block with a new key takes an entry.
constexpr sFailing kEntry = {eHeap::New, 1};

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
  for (const sFailing& failing : {kBytes, kBuffer, kRoom}) {
    sSibAssembly block = Block();
    SibPacketList list;
    cAllocationFailure failure(failing.heap, failing.nth);
    EmitSib(block, kTimestamp, list);
    EXPECT_TRUE(failure.Disarm());
    EXPECT_TRUE(list.empty());
    // The block is as it is after an emission.
    EXPECT_EQ(BlockOf({254, 7, 3}, block), EmittedBlock({254, 7, 3}, 0, 0, "101010111100"));
  }
}

TEST(OutOfMemory, ThePacketsBeforeOneWithoutMemoryStayInTheList) {
  for (const sFailing& failing : {kBytes, kBuffer, kRoom}) {
    sSibAssembly block = Block();
    SibPacketList list;
    EmitSib(block, kTimestamp, list);
    list.shrink_to_fit();
    cAllocationFailure failure(failing.heap, failing.nth);
    EmitSib(block, kTimestamp, list);
    EXPECT_TRUE(failure.Disarm());
    EXPECT_EQ(BytesOf(list), Packets{RebuiltPacket(kBch, 7, 3, "101010111100", kTimestamp)});
  }
}

TEST(OutOfMemory, APacketThatCouldNotBeMadeLeavesNothingBehind) {
  for (const sFailing& failing : {kBytes, kBuffer, kRoom}) {
    sSibAssembly block = Block();
    SibPacketList list;
    const std::int64_t before = LiveNewAllocations();
    cAllocationFailure failure(failing.heap, failing.nth);
    EmitSib(block, kTimestamp, list);
    EXPECT_TRUE(failure.Disarm());
    EXPECT_EQ(LiveNewAllocations(), before);
  }
}

struct sSent {
  Packets packets;
  bool failed;  // whether the allocation was asked for
};

sSent SendFailing(SibAssemblyMap& map, unsigned choice, const Bits& content,
                  const sFailing& failing) {
  const ByteVector bytes = LogPacket(kFach, 7, BytesOf(Message(kFach, choice, content)));
  const OwnedBuffer item = Item(bytes);
  cAllocationFailure failure(failing.heap, failing.nth);
  const SibPacketList packets = DecodeOtaPacket(map, *item, kTimestamp);
  const bool failed = failure.Disarm();
  return {BytesOf(packets), failed};
}

Packets Send(SibAssemblyMap& map, unsigned choice, const Bits& content, const sFailing& failing) {
  return SendFailing(map, choice, content, failing).packets;
}

TEST(OutOfMemory, WithoutMemoryForAnEntryABlockIsNotStarted) {
  SibAssemblyMap map;
  EXPECT_EQ(Send(map, 1, FirstFixed(3, 2, Pattern(222)), kEntry), Packets());
  EXPECT_TRUE(map.empty());
  // Its last segment finds nothing; the next round is reassembled as ever.
  EXPECT_EQ(Send(map, 10, SegmentFixed(3, 1, Pattern(222)), kNone), Packets());
  EXPECT_EQ(Send(map, 1, FirstFixed(3, 2, Pattern(222)), kNone), Packets());
  EXPECT_EQ(Send(map, 10, SegmentFixed(3, 1, Pattern(222)), kNone).size(), 1u);
}

TEST(OutOfMemory, ABlockWithAnEntryIsRestartedWithoutMemory) {
  SibAssemblyMap map;
  Send(map, 1, FirstFixed(3, 2, Pattern(222, 1)), kNone);
  EXPECT_EQ(Send(map, 1, FirstFixed(3, 4, Pattern(222, 2)), kEntry), Packets());
  EXPECT_EQ(BlocksOf(map), (BlockMap{{{255, 7, 3}, UnfinishedBlock(4, 1, Pattern(222, 2))}}));
}

TEST(OutOfMemory, TheRoomOfABlockThatIsDoneServesTheNextOne) {
  SibAssemblyMap map;
  Send(map, 1, FirstFixed(3, 2, Pattern(222, 1)), kNone);
  Send(map, 10, SegmentFixed(3, 1, Pattern(222, 2)), kNone);
  const sSent sent = SendFailing(map, 1, FirstFixed(4, 2, Pattern(222, 3)), kEntry);
  EXPECT_FALSE(sent.failed);
  EXPECT_EQ(BlocksOf(map), (BlockMap{{{255, 7, 4}, UnfinishedBlock(2, 1, Pattern(222, 3))}}));
}

TEST(OutOfMemory, ALastSegmentRemovesItsBlockAlsoWhenItsPacketHasNoMemory) {
  SibAssemblyMap map;
  Send(map, 1, FirstFixed(3, 2, Pattern(222)), kNone);
  EXPECT_EQ(Send(map, 10, SegmentFixed(3, 1, Pattern(222)), kBytes), Packets());
  EXPECT_TRUE(map.empty());
}

TEST(OutOfMemory, ASubsequentSegmentKeepsItsBlockAlsoWithoutMemory) {
  SibAssemblyMap map;
  Send(map, 1, FirstFixed(3, 2, Pattern(222, 1)), kNone);
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
  for (const eHeap heap : {eHeap::Blocks, eHeap::New}) {
    std::uint32_t failures = 0;
    for (std::uint32_t nth = 1;; ++nth) {
      SibAssemblyMap map;
      InsertBlock(map, {255, 7, 3}, UnfinishedBlock(2, 1, "1"));
      const sSent sent = SendFailing(map, 6, content, {heap, nth});
      EXPECT_EQ(map.count(sSibKey{255, 7, 3}), 0u);
      if (!sent.failed) {
        EXPECT_EQ(sent.packets, all);
        EXPECT_EQ(map.size(), 1u);
        break;
      }
      ++failures;
      // One thing is missing, and what there is comes in order.
      EXPECT_EQ(sent.packets.size() + map.size(), 4u) << nth;
      EXPECT_TRUE(std::includes(all.begin(), all.end(), sent.packets.begin(), sent.packets.end(),
                                [&all](const ByteVector& left, const ByteVector& right) {
                                  return std::find(all.begin(), all.end(), left) <
                                         std::find(all.begin(), all.end(), right);
                                }));
    }
    // The bytes of four packets; their buffers, the list's growth and the entry.
    EXPECT_GE(failures, heap == eHeap::Blocks ? 4u : 6u);
  }
}

TEST(OutOfMemory, WithoutAnyMemoryMessagesAreReadToTheirEnds) {
  SibAssemblyMap map;
  InsertBlock(map, {255, 7, 3}, UnfinishedBlock(2, 1, "1"));
  InsertBlock(map, {255, 7, 2}, UnfinishedBlock(2, 1, "1"));
  const Bits content =
      SegmentShort(3, 1, "1011") + SibList({{4, "110"}, {5, "011"}}) + FirstShort(2, 2, "0110");
  const OwnedBuffer item = Item(LogPacket(kFach, 7, BytesOf(Message(kFach, 6, content))));
  cAllocationFailure noBytes(eHeap::Blocks, 1, eFailures::AllSince);
  cAllocationFailure nothingElse(eHeap::New, 1, eFailures::AllSince);
  const SibPacketList packets = DecodeOtaPacket(map, *item, kTimestamp);
  noBytes.Disarm();
  nothingElse.Disarm();
  EXPECT_TRUE(packets.empty());
  EXPECT_EQ(BlocksOf(map), (BlockMap{{{255, 7, 2}, UnfinishedBlock(2, 1, "0110")}}));
}

}  // namespace
}  // namespace corvane
