#include "convert/segment_join.h"

#include <gtest/gtest.h>

#include "support/bytes.h"

namespace corvane {
namespace {

constexpr std::uint16_t kLteRrc = 0xB0C0;
constexpr std::uint16_t kIpData = 0x11EB;

using Counts = std::map<sLogLayout, std::uint64_t>;

struct sJoiner {
  cSegmentJoin join;
  sSource source{"COM7", std::nullopt};
  std::uint16_t logCode = kLteRrc;
  sSignalling part;
  std::uint64_t item = 0;
  std::optional<std::uint32_t> version;

  sJoiner() {
    part.syntax = eSyntax::LteDlDcch;
    part.channel = "DL-DCCH";
    part.link = eLink::Downlink;
    part.radioBearer = 1;
  }

  std::optional<sJoinedMessage> Add(std::uint16_t number, eSegment segment, ByteVector bytes) {
    sDescription description;
    description.logCode = logCode;
    description.version = version;
    description.modemTime = 1000 + item;
    part.segment = segment;
    part.segmentNumber = number;
    part.message = std::move(bytes);
    description.signalling = part;
    return join.Add(source, item++, description);
  }

  std::optional<sJoinedMessage> Rrc(std::uint16_t number) {
    const eSegment segment = number == 0   ? eSegment::Whole
                             : number == 7 ? eSegment::Last
                                           : eSegment::Part;
    return Add(number, segment, {static_cast<std::uint8_t>(number), 0xAA});
  }

  std::optional<sJoinedMessage> RrcAll(std::initializer_list<std::uint16_t> numbers) {
    std::optional<sJoinedMessage> joined;
    for (const std::uint16_t number : numbers) {
      EXPECT_FALSE(joined);
      joined = Rrc(number);
    }
    return joined;
  }

  std::uint64_t Incomplete() const {
    const auto counts = join.Incomplete();
    const auto found = counts.find({logCode, version});
    return found == counts.end() ? 0 : found->second;
  }
};

TEST(SegmentJoinTest, PartsOfAnRrcMessageAreJoined) {
  sJoiner joiner;
  const auto joined = joiner.RrcAll({1, 2, 3, 7});
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->signalling.message, (ByteVector{1, 0xAA, 2, 0xAA, 3, 0xAA, 7, 0xAA}));
  EXPECT_EQ(joined->signalling.syntax, eSyntax::LteDlDcch);
  EXPECT_EQ(joined->signalling.channel, "DL-DCCH");
  EXPECT_EQ(joined->signalling.link, eLink::Downlink);
  EXPECT_EQ(joined->signalling.segment, eSegment::Whole);
  EXPECT_EQ(joined->signalling.segmentNumber, 0);
  EXPECT_EQ(joined->items, (std::vector<std::uint64_t>{0, 1, 2, 3}));
  EXPECT_EQ(joined->modemTime, 1003u);
  EXPECT_EQ(joiner.join.Incomplete(), Counts());
}

TEST(SegmentJoinTest, SevenPartsAreJoined) {
  sJoiner joiner;
  const auto joined = joiner.RrcAll({1, 2, 3, 4, 5, 6, 7});
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->items.size(), 7u);
}

TEST(SegmentJoinTest, WholeMessagesGiveNothing) {
  sJoiner joiner;
  EXPECT_FALSE(joiner.RrcAll({0, 0}));
  EXPECT_EQ(joiner.Incomplete(), 0u);
}

TEST(SegmentJoinTest, ALostPartDropsItsMessageOnce) {
  sJoiner joiner;
  EXPECT_FALSE(joiner.RrcAll({1, 3, 4, 7}));
  EXPECT_EQ(joiner.Incomplete(), 1u);
  EXPECT_FALSE(joiner.RrcAll({2, 3, 7}));
  EXPECT_EQ(joiner.Incomplete(), 2u);
  EXPECT_FALSE(joiner.RrcAll({7}));
  EXPECT_EQ(joiner.Incomplete(), 3u);
  EXPECT_TRUE(joiner.RrcAll({1, 2, 7}));
  EXPECT_EQ(joiner.Incomplete(), 3u);
}

TEST(SegmentJoinTest, ARepeatedPartDropsItsMessage) {
  sJoiner joiner;
  EXPECT_FALSE(joiner.RrcAll({1, 2, 2, 7}));
  EXPECT_EQ(joiner.Incomplete(), 1u);
}

TEST(SegmentJoinTest, AMessageWithoutItsLastPartIsIncomplete) {
  sJoiner joiner;
  EXPECT_FALSE(joiner.RrcAll({1, 2}));
  EXPECT_EQ(joiner.Incomplete(), 1u);
  const auto joined = joiner.RrcAll({1, 7});
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->items, (std::vector<std::uint64_t>{2, 3}));
  EXPECT_EQ(joiner.Incomplete(), 1u);
}

TEST(SegmentJoinTest, AWholeMessageEndsOneThatIsNotJoined) {
  sJoiner joiner;
  EXPECT_FALSE(joiner.RrcAll({1, 0, 7}));
  EXPECT_EQ(joiner.Incomplete(), 2u);
}

// The rest of a message that has lost a part ends with the next message.
TEST(SegmentJoinTest, AnotherMessageFollowsABrokenOne) {
  sJoiner joiner;
  EXPECT_FALSE(joiner.RrcAll({2, 0, 2}));
  EXPECT_EQ(joiner.Incomplete(), 2u);
  EXPECT_TRUE(joiner.RrcAll({1, 7}));
  EXPECT_EQ(joiner.Incomplete(), 2u);
}

TEST(SegmentJoinTest, MessagesOfOtherKindsGrowSideBySide) {
  sJoiner joiner;
  EXPECT_FALSE(joiner.Rrc(1));
  joiner.part.radioBearer = 2;
  EXPECT_FALSE(joiner.Rrc(1));
  joiner.source.subscription = 2;
  EXPECT_FALSE(joiner.Rrc(1));
  joiner.logCode = 0xB821;
  EXPECT_FALSE(joiner.Rrc(1));
  joiner.part.channel = "DL-CCCH";
  joiner.version = 26;
  EXPECT_FALSE(joiner.Rrc(1));
  EXPECT_EQ(joiner.join.Incomplete(),
            (Counts{{{kLteRrc, std::nullopt}, 3}, {{0xB821, std::nullopt}, 1}, {{0xB821, 26}, 1}}));

  auto joined = joiner.Rrc(7);
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->items, (std::vector<std::uint64_t>{4, 5}));
  joiner.version.reset();
  joiner.part.channel = "DL-DCCH";
  EXPECT_TRUE(joiner.Rrc(7));
  joiner.logCode = kLteRrc;
  EXPECT_TRUE(joiner.Rrc(7));
  joiner.source.subscription.reset();
  EXPECT_TRUE(joiner.Rrc(7));
  joiner.part.radioBearer = 1;
  joined = joiner.Rrc(7);
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->items, (std::vector<std::uint64_t>{0, 9}));
  EXPECT_EQ(joiner.join.Incomplete(), Counts());
}

// --- NR's RRC reconfiguration complete

// 00001 in front of 10101011 11001101, and 000 behind.
TEST(SegmentJoinTest, AReconfigurationCompleteBecomesAnUlDcchMessage) {
  sJoiner joiner;
  joiner.logCode = 0xB821;
  joiner.part.syntax = eSyntax::NrReconfigurationComplete;
  joiner.part.channel = "RRC reconfiguration complete";
  EXPECT_FALSE(joiner.Add(1, eSegment::Part, {0xAB}));
  const auto joined = joiner.Add(7, eSegment::Last, {0xCD});
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->signalling.syntax, eSyntax::NrUlDcch);
  EXPECT_EQ(joined->signalling.message, (ByteVector{0x0D, 0x5E, 0x68}));
  EXPECT_EQ(joined->signalling.messageName, "RRC reconfiguration complete");
  EXPECT_EQ(joined->signalling.channel, "RRC reconfiguration complete");
}

TEST(SegmentJoinTest, AWholeReconfigurationCompleteEndsOneInParts) {
  sJoiner joiner;
  joiner.logCode = 0xB821;
  joiner.part.channel = "RRC reconfiguration complete";
  joiner.part.syntax = eSyntax::NrReconfigurationComplete;
  EXPECT_FALSE(joiner.Rrc(1));
  joiner.part.syntax = eSyntax::NrUlDcch;
  EXPECT_FALSE(joiner.Rrc(0));
  joiner.part.syntax = eSyntax::NrReconfigurationComplete;
  EXPECT_FALSE(joiner.Rrc(7));
  EXPECT_EQ(joiner.Incomplete(), 2u);
}

// --- IP packets

struct sIpJoiner : sJoiner {
  sIpJoiner() {
    logCode = kIpData;
    part = {};
    part.syntax = eSyntax::Ip;
    part.link = eLink::Uplink;
    part.packetNumber = 5;
  }

  std::optional<sJoinedMessage> Part(std::uint16_t number, ByteVector bytes) {
    return Add(number, eSegment::Part, std::move(bytes));
  }
  std::optional<sJoinedMessage> Last(std::uint16_t number, ByteVector bytes) {
    return Add(number, eSegment::Last, std::move(bytes));
  }
};

// The first 24 bytes of a version-4 packet of `length`.
ByteVector Version4(std::uint16_t length) {
  ByteVector bytes(24, 0x11);
  bytes[0] = 0x45;
  bytes[2] = static_cast<std::uint8_t>(length >> 8);
  bytes[3] = static_cast<std::uint8_t>(length);
  return bytes;
}

TEST(SegmentJoinTest, SegmentsOfAnIpPacketAreJoined) {
  sIpJoiner joiner;
  EXPECT_FALSE(joiner.Part(0, Version4(28)));
  EXPECT_FALSE(joiner.Part(1, {0x22, 0x33}));
  const auto joined = joiner.Last(2, {0x44, 0x55});
  ASSERT_TRUE(joined);
  ByteVector whole = Version4(28);
  whole.insert(whole.end(), {0x22, 0x33, 0x44, 0x55});
  EXPECT_EQ(joined->signalling.message, whole);
  EXPECT_EQ(joined->signalling.segment, eSegment::Whole);
}

TEST(SegmentJoinTest, SegmentsOfIpPacketsMayCountFromOne) {
  sIpJoiner joiner;
  EXPECT_FALSE(joiner.Part(1, Version4(26)));
  EXPECT_TRUE(joiner.Last(2, {0x22, 0x33}));

  ByteVector version6(48, 0x11);
  version6[0] = 0x60;
  version6[4] = 0;
  version6[5] = 10;
  EXPECT_FALSE(joiner.Part(1, version6));
  EXPECT_TRUE(joiner.Last(2, {0x22, 0x33}));
  // A packet in one segment.
  EXPECT_TRUE(joiner.Last(1, Version4(24)));
}

// A later segment may look like the beginning of a packet.
TEST(SegmentJoinTest, AWaitingPacketTakesWhatLooksLikeAnother) {
  sIpJoiner joiner;
  EXPECT_FALSE(joiner.Part(0, Version4(48)));
  const auto joined = joiner.Last(1, Version4(24));
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->signalling.message.size(), 48u);
}

TEST(SegmentJoinTest, ALostSegmentDropsItsIpPacket) {
  sIpJoiner joiner;
  EXPECT_FALSE(joiner.Last(1, {0x22, 0x33}));
  EXPECT_EQ(joiner.Incomplete(), 1u);
  EXPECT_FALSE(joiner.Part(0, Version4(28)));
  EXPECT_FALSE(joiner.Last(2, {0x44, 0x55}));
  EXPECT_EQ(joiner.Incomplete(), 2u);
}

TEST(SegmentJoinTest, IpPacketsOfOtherNumbersGrowSideBySide) {
  sIpJoiner joiner;
  EXPECT_FALSE(joiner.Part(0, Version4(26)));
  joiner.part.packetNumber = 6;
  EXPECT_FALSE(joiner.Part(0, Version4(26)));
  joiner.part.link = eLink::Downlink;
  EXPECT_FALSE(joiner.Part(0, Version4(26)));
  joiner.part.link = eLink::Uplink;
  joiner.part.packetNumber = 5;
  const auto joined = joiner.Last(1, {0x22, 0x33});
  ASSERT_TRUE(joined);
  EXPECT_EQ(joined->items, (std::vector<std::uint64_t>{0, 3}));
  EXPECT_EQ(joiner.Incomplete(), 2u);
}

TEST(SegmentJoinTest, AMessageThatGrowsWithoutEndIsDropped) {
  sIpJoiner joiner;
  EXPECT_FALSE(joiner.Part(0, Version4(65535)));
  for (std::uint16_t number = 1; number <= 4; ++number) {
    EXPECT_FALSE(joiner.Part(number, ByteVector(16'000)));
    EXPECT_EQ(joiner.Incomplete(), 1u);
  }
  EXPECT_FALSE(joiner.Last(5, ByteVector(16'000)));
  EXPECT_EQ(joiner.Incomplete(), 1u);
  EXPECT_FALSE(joiner.Part(0, Version4(26)));
  EXPECT_TRUE(joiner.Last(1, {0x22, 0x33}));
}

TEST(SegmentJoinTest, MessagesThatNeverEndAreForgottenAndCounted) {
  sIpJoiner joiner;
  for (std::uint16_t number = 0; number <= 256; ++number) {
    joiner.part.packetNumber = number;
    EXPECT_FALSE(joiner.Part(0, Version4(26)));
  }
  EXPECT_EQ(joiner.Incomplete(), 257u);
  joiner.part.packetNumber = 0;
  EXPECT_FALSE(joiner.Last(1, {0x22, 0x33}));
  EXPECT_EQ(joiner.Incomplete(), 258u);
  joiner.part.packetNumber = 1;
  EXPECT_TRUE(joiner.Last(1, {0x22, 0x33}));
  EXPECT_EQ(joiner.Incomplete(), 257u);
}

TEST(SegmentJoinTest, ItemsWithoutAMessageAreNotLookedAt) {
  cSegmentJoin join;
  EXPECT_FALSE(join.Add({}, 0, {}));
  EXPECT_EQ(join.Incomplete(), Counts());
}

}  // namespace
}  // namespace corvane
