#include "ota/segment_pieces.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "ota/bits.h"
#include "ota/ota_messages.h"

// Whether a message goes on behind a piece. The packets that come out of a whole message hardly
// show it: where a piece says no, too few bits are left for the next one anyway.
namespace corvane {
namespace {

// Messages on FACH over bearer 9.
class SegmentPieces : public testing::Test {
 protected:
  // A message of this content, which may end at any bit. Behind that, one bits fill the last byte.
  void Start(const Bits& content) {
    Bits bits = "000000" + content;
    packet.bitCount = static_cast<std::uint32_t>(bits.size());
    while (bits.size() % 8 != 0) {
      bits += '1';
    }
    bytes = BytesOf(bits);
    packet.message = bytes.data();
  }

  bool GoesOnBehindList(const Bits& content) {
    Start(content);
    cSegmentPieces message(map, packet, kTimestamp);
    const bool goesOn = message.CompleteSibList();
    packets = BytesOf(message.TakePackets());
    return goesOn;
  }

  bool GoesOnBehindLastSegment(const Bits& content) {
    Start(content);
    cSegmentPieces message(map, packet, kTimestamp);
    const bool goesOn = message.LeadingLastSegment();
    packets = BytesOf(message.TakePackets());
    return goesOn;
  }

  [[nodiscard]] static ByteVector Rebuilt(unsigned sibType, const Bits& data) {
    return RebuiltPacket(kFach, 9, sibType, data, kTimestamp);
  }

  static constexpr std::uint64_t kTimestamp = 0x0102030405060708;

  ByteVector bytes;
  sOtaPacket packet{.channel = kFach, .rbId = 9, .message = nullptr, .bitCount = 0};
  SibAssemblyMap map;
  Packets packets;
};

TEST_F(SegmentPieces, AMessageGoesOnBehindAListThatIsAllThere) {
  EXPECT_TRUE(GoesOnBehindList(SibList({{2, "1"}, {3, "101"}})));
  EXPECT_EQ(packets, (Packets{Rebuilt(2, "1"), Rebuilt(3, "101")}));
  // A length of 256 bits, of which none has to be there.
  EXPECT_TRUE(GoesOnBehindList(Number(0, 4) + Number(2, 5) + Number(255, 8)));
  EXPECT_EQ(packets, Packets{Rebuilt(2, "")});
}

TEST_F(SegmentPieces, NothingIsReadBehindAListWhoseCountIsCut) {
  for (std::size_t bits = 0; bits < 4; ++bits) {
    EXPECT_FALSE(GoesOnBehindList(Number(1, 4).substr(0, bits))) << bits;
    EXPECT_EQ(packets, Packets());
  }
}

// Of the lists below, the first of two blocks is all there.

TEST_F(SegmentPieces, NothingIsReadBehindAListOneOfWhoseTypesIsCut) {
  const Bits first = Number(1, 4) + Number(2, 5) + Number(0, 8) + "1";
  for (std::size_t bits = 0; bits < 5; ++bits) {
    EXPECT_FALSE(GoesOnBehindList(first + Number(3, 5).substr(0, bits))) << bits;
    EXPECT_EQ(packets, Packets{Rebuilt(2, "1")});
  }
}

TEST_F(SegmentPieces, NothingIsReadBehindAListOneOfWhoseLengthsIsCut) {
  const Bits first = Number(1, 4) + Number(2, 5) + Number(0, 8) + "1" + Number(3, 5);
  for (std::size_t bits = 0; bits < 8; ++bits) {
    EXPECT_FALSE(GoesOnBehindList(first + Number(2, 8).substr(0, bits))) << bits;
    EXPECT_EQ(packets, Packets{Rebuilt(2, "1")});
  }
}

TEST_F(SegmentPieces, NothingIsReadBehindAListTheDataOfOneOfWhoseBlocksIsCut) {
  const Bits first = Number(1, 4) + Number(2, 5) + Number(0, 8) + "1" + Number(3, 5) + Number(2, 8);
  for (std::size_t bits = 0; bits < 3; ++bits) {
    EXPECT_FALSE(GoesOnBehindList(first + Bits("101").substr(0, bits))) << bits;
    EXPECT_EQ(packets, Packets{Rebuilt(2, "1")});
  }
}

TEST_F(SegmentPieces, NothingIsReadBehindALeadingLastSegmentWhoseHeaderIsCut) {
  const Bits header = Number(2, 5) + Number(0, 4) + Number(2, 8);
  const BlockMap blocks = {{{255, 9, 2}, UnfinishedBlock(2, 1, "1")}};
  InsertBlock(map, {255, 9, 2}, blocks.begin()->second);
  for (std::size_t bits = 0; bits < header.size(); ++bits) {
    EXPECT_FALSE(GoesOnBehindLastSegment(header.substr(0, bits))) << bits;
    EXPECT_EQ(packets, Packets());
    EXPECT_EQ(BlocksOf(map), blocks);
  }
}

TEST_F(SegmentPieces, AMessageGoesOnBehindALeadingLastSegmentInAnyCase) {
  const Bits header = Number(2, 5) + Number(0, 4) + Number(2, 8);
  for (const Bits& data : {Bits(""), Bits("10"), Bits("101")}) {
    EXPECT_TRUE(GoesOnBehindLastSegment(header + data)) << "no block, " << data;
    for (const unsigned received : {1u, 2u}) {
      InsertBlock(map, {255, 9, 2}, UnfinishedBlock(received + 1, received, "1"));
      EXPECT_TRUE(GoesOnBehindLastSegment(header + data)) << received << " segments, " << data;
      const bool completes = received == 1 && data == "101";
      EXPECT_EQ(packets, completes ? Packets{Rebuilt(2, "1101")} : Packets());
      EXPECT_TRUE(map.empty());
    }
  }
}

}  // namespace
}  // namespace corvane
