#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "ota/bits.h"
#include "ota/dispatcher.h"
#include "ota/ota_messages.h"

namespace corvane {
namespace {

constexpr std::uint64_t kTimestamp = 0x0102030405060708;

// Everything comes on FACH over bearer 9 unless a test says otherwise.
class SegmentDecoders : public testing::Test {
 protected:
  Packets Send(unsigned choice, const Bits& content, std::uint8_t channel = kFach,
               std::uint8_t rbId = 9) {
    const ByteVector packet = LogPacket(channel, rbId, BytesOf(Message(channel, choice, content)));
    return BytesOf(DecodeOtaPacket(map, *Item(packet), kTimestamp));
  }

  [[nodiscard]] static ByteVector Rebuilt(unsigned sibType, const Bits& data) {
    return RebuiltPacket(kFach, 9, sibType, data, kTimestamp);
  }

  [[nodiscard]] static BlockKey Key(int sibType) { return {255, 9, sibType}; }

  [[nodiscard]] BlockMap Blocks() const { return BlocksOf(map); }

  void Insert(int sibType, const sBlock& block) { InsertBlock(map, Key(sibType), block); }

  const Packets nothing{};

  SibAssemblyMap map;
  const Bits a = Pattern(222, 1);
  const Bits b = Pattern(222, 2);
  const Bits c = Pattern(222, 3);
};

TEST_F(SegmentDecoders, AFirstSegmentWithACountFieldOf0IsEmittedAndNotStored) {
  EXPECT_EQ(Send(1, FirstFixed(2, 1, a)), Packets{Rebuilt(2, a)});
  EXPECT_TRUE(map.empty());
}

TEST_F(SegmentDecoders, TwoFixedSegmentsMakeAPacketOf77BytesWithAMessageOf57) {
  EXPECT_EQ(Send(1, FirstFixed(2, 2, a)), nothing);
  // Index field 0 is segment 1.
  const Packets packets = Send(10, Number(2, 5) + Number(0, 4) + b);
  ASSERT_EQ(packets.size(), 1u);
  EXPECT_EQ(packets[0].size(), 77u);
  EXPECT_EQ(packets[0][18], 57);
  EXPECT_EQ(packets[0][19], 0);
  EXPECT_EQ(packets[0], Rebuilt(2, a + b));
  EXPECT_TRUE(map.empty());
}

TEST_F(SegmentDecoders, ASubsequentSegmentWithoutAnEntryEmitsAndChangesNothing) {
  Send(1, FirstFixed(2, 3, a));
  const BlockMap before = Blocks();
  EXPECT_EQ(Send(2, SegmentFixed(3, 1, b)), nothing);
  EXPECT_EQ(Send(2, SegmentFixed(2, 1, b), kBch), nothing);
  EXPECT_EQ(Send(2, SegmentFixed(2, 1, b), kFach, 8), nothing);
  EXPECT_EQ(Blocks(), before);
}

TEST_F(SegmentDecoders, OfTwoFirstSegmentsInARowTheSecondReplacesTheFirst) {
  EXPECT_EQ(Send(1, FirstFixed(2, 3, a)), nothing);
  EXPECT_EQ(Send(2, SegmentFixed(2, 1, b)), nothing);
  EXPECT_EQ(Send(1, FirstFixed(2, 2, c)), nothing);
  EXPECT_EQ(Blocks(), (BlockMap{{Key(2), UnfinishedBlock(2, 1, c)}}));
  EXPECT_EQ(Send(10, SegmentFixed(2, 1, a)), Packets{Rebuilt(2, c + a)});
}

TEST_F(SegmentDecoders, AFirstSegmentOfAnEmittedBlockStartsItAgainWhole) {
  Send(1, FirstFixed(2, 2, a));
  EXPECT_EQ(Send(2, SegmentFixed(2, 1, b)), Packets{Rebuilt(2, a + b)});
  EXPECT_EQ(Send(1, FirstFixed(2, 2, c)), nothing);
  EXPECT_EQ(Blocks(), (BlockMap{{Key(2), UnfinishedBlock(2, 1, c)}}));
}

TEST_F(SegmentDecoders, AShortSegmentWithALengthFieldOf255CopiesNothingButCounts) {
  Send(1, FirstFixed(2, 2, a));
  EXPECT_EQ(Send(3, Number(2, 5) + Number(0, 4) + Number(255, 8)), Packets{Rebuilt(2, a)});
  EXPECT_TRUE(map.empty());
}

TEST_F(SegmentDecoders, AShortSegmentWithALengthFieldOf254Copies255Bits) {
  Send(1, FirstFixed(2, 2, a));
  const Bits data = Pattern(255, 4);
  EXPECT_EQ(Send(3, Number(2, 5) + Number(0, 4) + Number(254, 8) + data),
            Packets{Rebuilt(2, a + data)});
}

TEST_F(SegmentDecoders, AShortFirstSegmentWithALengthFieldOf255StartsAnEmptyBlock) {
  const Bits list = SibList({{1, "1"}});
  EXPECT_EQ(Send(8, list + Number(2, 5) + Number(1, 4) + Number(255, 8)), Packets{Rebuilt(1, "1")});
  EXPECT_EQ(Blocks(), (BlockMap{{Key(2), UnfinishedBlock(2, 1, "")}}));
}

TEST_F(SegmentDecoders, ACompleteSibListWithACountFieldOf0EmitsExactlyOnePacket) {
  const Bits one = Number(0, 4) + Number(2, 5) + Number(9, 8) + Pattern(10);
  EXPECT_EQ(Send(7, one), Packets{Rebuilt(2, Pattern(10))});
  // What follows the one block would make another.
  EXPECT_EQ(Send(7, one + Number(3, 5) + Number(0, 8) + "1"), Packets{Rebuilt(2, Pattern(10))});
}

TEST_F(SegmentDecoders, ACompleteSibListWithACountFieldOf15EmitsUpToSixteen) {
  Bits bits = Number(15, 4);
  Packets expected;
  for (unsigned k = 0; k < 16; ++k) {
    bits += Number(k, 5) + Number(k, 8) + Pattern(k + 1, k);
    expected.push_back(RebuiltPacket(kBch, 9, k, Pattern(k + 1, k), kTimestamp));
  }
  // The last byte is filled up with zeros, so a seventeenth block would be readable too.
  EXPECT_EQ(Send(7, bits + Bits(40, '0'), kBch), expected);
}

TEST_F(SegmentDecoders, ACompleteSibYieldsAMessageOf1And29Bytes) {
  const Bits data = Pattern(226, 5);
  const Packets packets = Send(9, Number(4, 5) + data);
  ASSERT_EQ(packets.size(), 1u);
  EXPECT_EQ(packets[0][18], 1 + 29);
  EXPECT_EQ(packets[0].size(), 20u + 1 + 29);
  EXPECT_EQ(packets[0], Rebuilt(4, data));
}

TEST_F(SegmentDecoders, ALastAndFirstWithoutAnEntryStillStartsTheNewBlock) {
  EXPECT_EQ(Send(4, SegmentShort(2, 1, Pattern(20)) + FirstShort(11, 2, Pattern(30))), nothing);
  EXPECT_EQ(Blocks(), (BlockMap{{Key(11), UnfinishedBlock(2, 1, Pattern(30))}}));
}

TEST_F(SegmentDecoders, AFirstSegmentKeepsWhatTheBlockIsMadeOf) {
  EXPECT_EQ(Send(1, FirstFixed(29, 16, a), kBch, 0xFE), nothing);
  EXPECT_EQ(Blocks(), (BlockMap{{{254, 0xFE, 29}, UnfinishedBlock(16, 1, a)}}));
}

TEST_F(SegmentDecoders, ACompleteFirstSegmentLeavesAnUnfinishedBlockAlone) {
  Send(1, FirstFixed(2, 2, a));
  const BlockMap before = Blocks();
  EXPECT_EQ(Send(1, FirstFixed(2, 1, b)), Packets{Rebuilt(2, b)});
  EXPECT_EQ(Blocks(), before);
}

TEST_F(SegmentDecoders, AFirstSegmentCutShortLeavesAnUnfinishedBlockAlone) {
  Send(1, FirstFixed(2, 2, a));
  const BlockMap before = Blocks();
  EXPECT_EQ(Send(1, FirstFixed(2, 3, b.substr(0, 200))), nothing);
  EXPECT_EQ(Blocks(), before);
}

TEST_F(SegmentDecoders, ABlockOfSixteenSegmentsIsReassembled) {
  Bits data = a;
  Send(1, FirstFixed(2, 16, a));
  for (unsigned index = 1; index < 15; ++index) {
    const Bits segment = Pattern(222, 10 + index);
    EXPECT_EQ(Send(2, SegmentFixed(2, index, segment)), nothing);
    data += segment;
    EXPECT_EQ(Blocks(), (BlockMap{{Key(2), UnfinishedBlock(16, index + 1, data)}}));
  }
  EXPECT_EQ(Send(10, SegmentFixed(2, 15, b)), Packets{Rebuilt(2, data + b)});
  EXPECT_TRUE(map.empty());
}

// Index field 15 stands for segment 16, which no block waits for until it has grown past its end.
TEST_F(SegmentDecoders, TheHighestSegmentIndexIsSixteen) {
  Insert(2, UnfinishedBlock(17, 16, a));
  EXPECT_EQ(Send(2, Number(2, 5) + Number(15, 4) + b), Packets{Rebuilt(2, a + b)});
  Insert(2, UnfinishedBlock(17, 0, a));
  EXPECT_EQ(Send(2, Number(2, 5) + Number(15, 4) + b), nothing);
  EXPECT_TRUE(map.empty());
}

// The stored count is compared as it is, not in the eight bits of the index.
TEST_F(SegmentDecoders, ABlockThatReceived257SegmentsIsNotOneThatReceivedOne) {
  Insert(2, UnfinishedBlock(258, 257, a));
  EXPECT_EQ(Send(2, SegmentFixed(2, 1, b)), nothing);
  EXPECT_TRUE(map.empty());
}

TEST_F(SegmentDecoders, ASubsequentSegmentThatCompletesItsBlockKeepsItInTheMap) {
  Send(1, FirstFixed(2, 2, a));
  EXPECT_EQ(Send(2, SegmentFixed(2, 1, b)), Packets{Rebuilt(2, a + b)});
  EXPECT_EQ(Blocks(), (BlockMap{{Key(2), EmittedBlock(Key(2), 2, 2, a + b)}}));
}

// It waits for segment 2 then, and holds a whole number of bytes.
TEST_F(SegmentDecoders, ACompletedBlockStillTakesItsNextSegmentButIsNotEmittedAgain) {
  Send(1, FirstFixed(2, 2, a));
  Send(2, SegmentFixed(2, 1, b));
  EXPECT_EQ(Send(2, SegmentFixed(2, 2, c)), nothing);
  sBlock grown = EmittedBlock(Key(2), 2, 3, a + b);
  grown.bits += c;
  EXPECT_EQ(Blocks(), (BlockMap{{Key(2), grown}}));
  EXPECT_EQ(Send(10, SegmentFixed(2, 3, a)), nothing);
  EXPECT_TRUE(map.empty());
}

TEST_F(SegmentDecoders, ARepeatedLastSegmentRemovesACompletedBlock) {
  Send(1, FirstFixed(2, 2, a));
  Send(2, SegmentFixed(2, 1, b));
  EXPECT_EQ(Send(2, SegmentFixed(2, 1, b)), nothing);
  EXPECT_TRUE(map.empty());
}

TEST_F(SegmentDecoders, ARepeatedOrMissingSegmentDiscardsTheWholeBlock) {
  for (const unsigned index : {1u, 3u, 4u, 16u}) {
    Send(1, FirstFixed(2, 5, a));
    Send(2, SegmentFixed(2, 1, b));
    EXPECT_EQ(Send(2, SegmentFixed(2, index, c)), nothing);
    EXPECT_TRUE(map.empty()) << index;
  }
}

TEST_F(SegmentDecoders, ALastSegmentBeforeTheBlockIsCompleteDiscardsIt) {
  for (const unsigned choice : {3u, 10u}) {
    Send(1, FirstFixed(2, 3, a));
    const Bits content = choice == 3 ? SegmentShort(2, 1, b) : SegmentFixed(2, 1, b);
    EXPECT_EQ(Send(choice, content), nothing);
    EXPECT_TRUE(map.empty());
  }
}

TEST_F(SegmentDecoders, ALastSegmentOutOfSequenceDiscardsTheBlock) {
  for (const unsigned index : {2u, 16u}) {
    Send(1, FirstFixed(2, 2, a));
    EXPECT_EQ(Send(10, SegmentFixed(2, index, b)), nothing);
    EXPECT_TRUE(map.empty());
    Send(1, FirstFixed(2, 2, a));
    EXPECT_EQ(Send(3, SegmentShort(2, index, b)), nothing);
    EXPECT_TRUE(map.empty());
  }
}

TEST_F(SegmentDecoders, OnlyTheBlockOfTheSegmentsOwnKeyIsTouched) {
  Send(1, FirstFixed(2, 2, a));
  Send(1, FirstFixed(3, 2, a));
  Send(1, FirstFixed(2, 2, a), kFach, 8);
  Send(1, FirstFixed(2, 2, a), kBch);
  EXPECT_EQ(Blocks().size(), 4u);
  EXPECT_EQ(Send(10, SegmentFixed(2, 1, b)), Packets{Rebuilt(2, a + b)});
  const sBlock block = UnfinishedBlock(2, 1, a);
  EXPECT_EQ(Blocks(), (BlockMap{{{254, 9, 2}, block}, {{255, 8, 2}, block}, {{255, 9, 3}, block}}));
}

TEST_F(SegmentDecoders, InterleavedBlocksOfDifferentKeysAreReassembledApart) {
  Send(1, FirstFixed(2, 2, a));
  Send(1, FirstFixed(2, 2, b), kBch);
  Send(1, FirstFixed(2, 2, c), kFach, 200);
  EXPECT_EQ(Send(10, SegmentFixed(2, 1, a), kBch),
            Packets{RebuiltPacket(kBch, 9, 2, b + a, kTimestamp)});
  EXPECT_EQ(Send(10, SegmentFixed(2, 1, a), kFach, 200),
            Packets{RebuiltPacket(kFach, 200, 2, c + a, kTimestamp)});
  EXPECT_EQ(Send(10, SegmentFixed(2, 1, b)), Packets{Rebuilt(2, a + b)});
  EXPECT_TRUE(map.empty());
}

TEST(SibAssemblyMap, ComparesByMarkerThenBearerThenType) {
  EXPECT_LT((sSibKey{254, 255, 31}), (sSibKey{255, 0, 0}));
  EXPECT_LT((sSibKey{254, 1, 31}), (sSibKey{254, 2, 0}));
  EXPECT_LT((sSibKey{254, 1, 3}), (sSibKey{254, 1, 4}));
  // The marker compares as a signed number.
  EXPECT_LT((sSibKey{-1, 0, 0}), (sSibKey{0, 0, 0}));
}

TEST(SibAssemblyMap, HoldsItsBlocksAtMultiplesOf32Bytes) {
  SibAssemblyMap map;
  for (std::uint8_t type = 0; type < 32; ++type) {
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&map[sSibKey{254, 0, type}]) % 32, 0u);
  }
}

TEST(SibAssemblyMap, StartsEmptyBlocksInTheRoomOfRemovedOnes) {
  SibAssemblyMap map;
  sSibAssembly& first = map.Start({254, 0, 1});
  first.channelMarker = 254;
  first.rbId = 7;
  first.sibType = 1;
  first.expectedSegments = 3;
  first.receivedSegments = 2;
  first.bitLength = sSibAssembly::kBufferBits;
  first.buffer.fill(0xFF);
  map.Remove(map.begin());
  EXPECT_TRUE(map.empty());

  const sSibAssembly& next = map.Start({255, 1, 2});
  EXPECT_EQ(&next, &first);
  EXPECT_EQ(map.begin()->first, (sSibKey{255, 1, 2}));
  EXPECT_EQ(BlockOf({0, 0, 0}, next), UnfinishedBlock(0, 0, ""));
}

TEST(SibAssemblyMap, StartsABlockAnewWhereOneOfItsKeyIs) {
  SibAssemblyMap map;
  map.Start({254, 0, 1}).expectedSegments = 3;
  EXPECT_EQ(map.Start({254, 0, 1}).expectedSegments, 0u);
  EXPECT_EQ(map.size(), 1u);
}

TEST_F(SegmentDecoders, NothingOfAnUnfinishedSegmentComesIntoTheNextBlock) {
  // The data of the second segment breaks off in its midst.
  Send(1, FirstFixed(2, 3, a));
  EXPECT_EQ(Send(2, SegmentFixed(2, 1, Bits(100, '1'))), nothing);
  EXPECT_TRUE(map.empty());
  Send(1, FirstFixed(4, 2, b));
  EXPECT_EQ(Blocks(), (BlockMap{{Key(4), UnfinishedBlock(2, 1, b)}}));
  EXPECT_EQ(Send(10, SegmentFixed(4, 1, c)), Packets{Rebuilt(4, b + c)});
}

// Combined messages.

TEST_F(SegmentDecoders, LastAndFirstEmitsTheBlockAndStartsTheNextOfTheSameKey) {
  Send(1, FirstFixed(2, 2, a));
  EXPECT_EQ(Send(4, SegmentShort(2, 1, Pattern(31)) + FirstShort(2, 2, Pattern(33))),
            Packets{Rebuilt(2, a + Pattern(31))});
  EXPECT_EQ(Blocks(), (BlockMap{{Key(2), UnfinishedBlock(2, 1, Pattern(33))}}));
}

TEST_F(SegmentDecoders, LastAndFirstStartsABlockAlsoBehindALastOutOfSequence) {
  Send(1, FirstFixed(2, 3, a));
  EXPECT_EQ(Send(4, SegmentShort(2, 2, Pattern(31)) + FirstShort(11, 2, Pattern(33))), nothing);
  EXPECT_EQ(Blocks(), (BlockMap{{Key(11), UnfinishedBlock(2, 1, Pattern(33))}}));
}

TEST_F(SegmentDecoders, LastAndFirstEmitsAFirstSegmentThatIsCompleteAtOnce) {
  Send(1, FirstFixed(2, 2, a));
  EXPECT_EQ(Send(4, SegmentShort(2, 1, "101") + FirstShort(11, 1, "1100")),
            (Packets{Rebuilt(2, a + "101"), Rebuilt(11, "1100")}));
  EXPECT_TRUE(map.empty());
}

TEST_F(SegmentDecoders, LastAndCompleteEmitsInMessageOrder) {
  Send(1, FirstFixed(2, 2, a));
  EXPECT_EQ(Send(5, SegmentShort(2, 1, "101") + SibList({{11, "1100"}, {7, "1"}})),
            (Packets{Rebuilt(2, a + "101"), Rebuilt(11, "1100"), Rebuilt(7, "1")}));
  EXPECT_TRUE(map.empty());
}

TEST_F(SegmentDecoders, LastAndCompleteAndFirstEmitsInMessageOrderAndStartsTheLast) {
  Send(1, FirstFixed(2, 2, a));
  EXPECT_EQ(Send(6, SegmentShort(2, 1, "101") + SibList({{11, "1100"}, {7, "1"}}) +
                        FirstShort(2, 4, "0110")),
            (Packets{Rebuilt(2, a + "101"), Rebuilt(11, "1100"), Rebuilt(7, "1")}));
  EXPECT_EQ(Blocks(), (BlockMap{{Key(2), UnfinishedBlock(4, 1, "0110")}}));
}

TEST_F(SegmentDecoders, CompleteAndFirstLeavesAnUnfinishedBlockOfTheListsTypeAlone) {
  Send(1, FirstFixed(2, 2, a));
  EXPECT_EQ(Send(8, SibList({{2, "1100"}}) + FirstShort(3, 2, "01")), Packets{Rebuilt(2, "1100")});
  EXPECT_EQ(Blocks(),
            (BlockMap{{Key(2), UnfinishedBlock(2, 1, a)}, {Key(3), UnfinishedBlock(2, 1, "01")}}));
}

TEST_F(SegmentDecoders, AShortHeaderInACombinedMessageLeavesTheMapAlone) {
  for (const unsigned choice : {4u, 5u, 6u}) {
    Send(1, FirstFixed(2, 2, a));
    const BlockMap before = Blocks();
    // Type and index are there, and at most seven of the length's eight bits.
    EXPECT_EQ(Send(choice, Number(2, 5) + Number(0, 4)), nothing);
    EXPECT_EQ(Blocks(), before);
  }
}

TEST_F(SegmentDecoders, AShortHeaderInALastSegmentOfItsOwnRemovesTheBlock) {
  Send(1, FirstFixed(2, 2, a));
  EXPECT_EQ(Send(3, Number(2, 5) + Number(0, 4)), nothing);
  EXPECT_TRUE(map.empty());
}

// The data that a length field of 255 announces is stepped over, though none of it is copied.
TEST_F(SegmentDecoders, TheNextPieceStartsBehindAll256BitsOfALengthFieldOf255) {
  const Bits header = Number(2, 5) + Number(0, 4) + Number(255, 8) + Pattern(256);
  Send(1, FirstFixed(2, 2, a));
  EXPECT_EQ(Send(4, header + FirstShort(11, 2, "1011")), Packets{Rebuilt(2, a)});
  EXPECT_EQ(Blocks(), (BlockMap{{Key(11), UnfinishedBlock(2, 1, "1011")}}));
  map.clear();

  Send(1, FirstFixed(2, 2, a));
  EXPECT_EQ(Send(5, header + SibList({{11, "1011"}})),
            (Packets{Rebuilt(2, a), Rebuilt(11, "1011")}));
  EXPECT_TRUE(map.empty());

  Send(1, FirstFixed(2, 2, a));
  EXPECT_EQ(Send(6, header + SibList({{11, "1011"}}) + FirstShort(7, 2, "110")),
            (Packets{Rebuilt(2, a), Rebuilt(11, "1011")}));
  EXPECT_EQ(Blocks(), (BlockMap{{Key(7), UnfinishedBlock(2, 1, "110")}}));
}

// Here the 256 bits are not there: nothing can start behind them.
TEST_F(SegmentDecoders, ACombinedMessageThatEndsWithinTheLastSegmentsDataEndsThere) {
  for (const unsigned choice : {4u, 5u, 6u}) {
    Send(1, FirstFixed(2, 2, a));
    EXPECT_EQ(Send(choice, Number(2, 5) + Number(0, 4) + Number(255, 8) + Pattern(60)),
              Packets{Rebuilt(2, a)});
    EXPECT_TRUE(map.empty());
    Send(1, FirstFixed(2, 2, a));
    EXPECT_EQ(Send(choice, Number(2, 5) + Number(0, 4) + Number(200, 8) + Pattern(60)), nothing);
    EXPECT_TRUE(map.empty());
  }
}

TEST_F(SegmentDecoders, InAListTheNextBlockIsReadRightBehindALengthFieldOf255) {
  const Bits list = Number(1, 4) + Number(2, 5) + Number(255, 8) + Number(3, 5) + Number(2, 8);
  EXPECT_EQ(Send(7, list + "101"), (Packets{Rebuilt(2, ""), Rebuilt(3, "101")}));
}

TEST_F(SegmentDecoders, BlocksOfAListBeforeOneThatIsCutShortStay) {
  const Bits list = Number(2, 4) + Number(2, 5) + Number(3, 8) + "1011";
  EXPECT_EQ(Send(7, list), Packets{Rebuilt(2, "1011")});
  EXPECT_EQ(Send(7, list + Number(3, 5) + Number(100, 8) + Pattern(40)),
            Packets{Rebuilt(2, "1011")});
}

// The list below announces two blocks and its second is longer than the message. The bits behind
// that block's header read as a short first segment, but the copy that failed has used them up.
TEST_F(SegmentDecoders, TheDataOfAListThatIsCutShortIsNotReadAsAFirstSegment) {
  const Bits list =
      Number(1, 4) + Number(2, 5) + Number(0, 8) + "1" + Number(3, 5) + Number(254, 8);
  const Bits first = FirstShort(7, 2, Pattern(30));
  EXPECT_EQ(Send(8, list + first), Packets{Rebuilt(2, "1")});
  EXPECT_TRUE(map.empty());
  EXPECT_EQ(Send(6, SegmentShort(1, 1, "1") + list + first), Packets{Rebuilt(2, "1")});
  EXPECT_TRUE(map.empty());
}

// Blocks at the end of their buffer: 8208 bytes are 65664 bits, 40 of them for the header.

TEST_F(SegmentDecoders, ASegmentThatFillsTheBlockToItsLastBitIsAppended) {
  const Bits data = Pattern(65664 - 40 - 222, 7);
  Insert(2, UnfinishedBlock(3, 1, data));
  EXPECT_EQ(Send(2, SegmentFixed(2, 1, b)), nothing);
  EXPECT_EQ(Blocks(), (BlockMap{{Key(2), UnfinishedBlock(3, 2, data + b)}}));
}

TEST_F(SegmentDecoders, ASubsequentSegmentWithoutRoomRemovesTheBlock) {
  Insert(2, UnfinishedBlock(2, 1, Pattern(65664 - 40 - 221, 7)));
  EXPECT_EQ(Send(2, SegmentFixed(2, 1, b)), nothing);
  EXPECT_TRUE(map.empty());
}

TEST_F(SegmentDecoders, ALastSegmentWithoutRoomRemovesTheBlockAndIsNotEmitted) {
  Insert(2, UnfinishedBlock(2, 1, Pattern(65664 - 40 - 221, 7)));
  EXPECT_EQ(Send(10, SegmentFixed(2, 1, b)), nothing);
  EXPECT_TRUE(map.empty());
  Insert(2, UnfinishedBlock(2, 1, Pattern(65664 - 40 - 1, 7)));
  EXPECT_EQ(Send(3, SegmentShort(2, 1, "11")), nothing);
  EXPECT_TRUE(map.empty());
}

TEST_F(SegmentDecoders, TheNextPieceFollowsALastSegmentWithoutRoom) {
  Insert(2, UnfinishedBlock(2, 1, Pattern(65664 - 40, 7)));
  EXPECT_EQ(Send(5, SegmentShort(2, 1, Pattern(100)) + SibList({{3, "101"}})),
            Packets{Rebuilt(3, "101")});
  EXPECT_TRUE(map.empty());
}

TEST_F(SegmentDecoders, AFullBlockIsEmittedCutTo8192Bytes) {
  const Bits data = Pattern(65664 - 40 - 222, 7);
  Insert(2, UnfinishedBlock(2, 1, data));
  const Packets packets = Send(10, SegmentFixed(2, 1, b));
  ASSERT_EQ(packets.size(), 1u);
  ByteVector expected = Rebuilt(2, data + b);
  ASSERT_EQ(expected.size(), 8208u + 16u);
  expected.resize(8192 + 16);
  expected[2] = expected[4] = (8192 + 12) % 256;
  expected[3] = expected[5] = (8192 + 12) / 256;
  EXPECT_EQ(packets[0], expected);
  EXPECT_EQ(packets[0][18] + packets[0][19] * 256, 8208 - 4);
}

// Where a block claims more bits than its buffer has, writing starts at the buffer's end.
TEST_F(SegmentDecoders, ABlockThatClaimsMoreThanItsBufferHoldsTakesNoFurtherBit) {
  Insert(2, UnfinishedBlock(2, 1, Pattern(65624, 7)));
  map.begin()->second.bitLength = 70000;
  EXPECT_EQ(Send(3, SegmentShort(2, 1, "1")), nothing);
  EXPECT_TRUE(map.empty());

  Insert(2, UnfinishedBlock(2, 1, Pattern(65624, 7)));
  map.begin()->second.bitLength = 70000;
  const Packets packets = Send(3, Number(2, 5) + Number(0, 4) + Number(255, 8));
  ASSERT_EQ(packets.size(), 1u);
  EXPECT_EQ(packets[0].size(), 8192u + 16u);
}

}  // namespace
}  // namespace corvane
