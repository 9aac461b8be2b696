#include "rewrite/record_proof.h"

#include <gtest/gtest.h>

#include "rewrite/real_capture.h"

namespace corvane {
namespace {

TEST(RecordProofTest, PacketsThatTellTheirLengthDoSoWhateverFollows) {
  for (const sBuiltItem& item : RealItems()) {
    ByteVector bytes = item.packet;
    bytes.insert(bytes.end(), 40, 0x33);
    const bool tells = item.type == 0 || item.type == 4 || item.type == 5 || item.type == 7 ||
                       item.type == 8 || (item.type == 6 && item.packet[0] != 0x1F);
    EXPECT_EQ(OwnLength(bytes), tells ? std::optional(item.packet.size()) : std::nullopt)
        << item.type;
    // Cut off, it is none.
    bytes.resize(item.packet.size() - 1);
    EXPECT_EQ(OwnLength(bytes), std::nullopt) << item.type;
  }
}

TEST(RecordProofTest, EachPacketFitsItsType) {
  for (const sBuiltItem& item : RealItems()) {
    EXPECT_TRUE(IsTypeFor(item.type, item.packet)) << item.type;
    EXPECT_FALSE(IsTypeFor(3, item.packet));
    if (const auto sure = TypeByContent(item.packet)) {
      EXPECT_EQ(*sure, item.type);
    }
  }
}

TEST(RecordProofTest, OfEventReportsOnlyTheShortAnswerIsAPacket) {
  EXPECT_TRUE(IsTypeFor(1, Hex("60 00 00")));
  // The recorder takes these for reports without events, of which nothing is recorded.
  EXPECT_FALSE(IsTypeFor(1, Hex("60 05 00")));
  EXPECT_FALSE(IsTypeFor(1, Hex("60 00 01")));
  EXPECT_FALSE(IsTypeFor(1, Hex("74 00 00")));
}

TEST(RecordProofTest, RequestsAndRepliesKeepTheirDirection) {
  EXPECT_EQ(FittingType(1, Hex("4B 0F 00 00")), 9U);
  EXPECT_EQ(FittingType(2, Hex("4B 0F 00 00")), 10U);
  EXPECT_EQ(FittingType(9, Hex("1D 00")), 1U);
  EXPECT_EQ(FittingType(10, Hex("1D 00")), 2U);
  EXPECT_EQ(FittingType(5, Hex("1D 00")), std::nullopt);
  EXPECT_EQ(FittingType(1, LogPacket(0xB0C0, kNoon, {1})), 5U);
}

TEST(RecordProofTest, ContradictionsTellNoLength) {
  ByteVector log = LogPacket(0xB0C0, kNoon, {1, 2, 3});
  log[4] ^= 1;
  EXPECT_EQ(OwnLength(log), std::nullopt);
  ByteVector event = EventPacket(0x1FF, kNoon);
  event[1] ^= 1;
  EXPECT_EQ(OwnLength(event), std::nullopt);
  EXPECT_EQ(OwnLength({}), std::nullopt);
  EXPECT_EQ(OwnLength(Hex("60 00 00")), std::nullopt);
  EXPECT_EQ(OwnLength(Hex("C0 FF FF FF 41 00")), std::nullopt);
}

TEST(RecordProofTest, OnlySomeLogsHaveExtraFields) {
  EXPECT_TRUE(IsExtraFor(12, LogPacket(0x1004, kNoon, {})));
  EXPECT_FALSE(IsExtraFor(13, LogPacket(0x1004, kNoon, {})));
  EXPECT_TRUE(IsExtraFor(0xFFFFFF, LogPacket(0x412F, kNoon, {})));
  EXPECT_FALSE(IsExtraFor(0x1000000, LogPacket(0x412F, kNoon, {})));
  EXPECT_FALSE(IsExtraFor(1, LogPacket(0x713A, kNoon, {})));
  EXPECT_FALSE(IsExtraFor(1, LogPacket(0xB0C0, kNoon, {})));
}

TEST(RecordProofTest, TimesOfPacketsAreThoseOfTheModem) {
  EXPECT_EQ(ModemTimeIn(LogPacket(0xB0C0, kNoon, {})), kNoon);
  EXPECT_EQ(ModemTimeIn(EventPacket(1, kNoon)), kNoon);
  EXPECT_EQ(ModemTimeIn(MessagePacket(kNoon, "x")), kNoon);
  EXPECT_EQ(ModemTimeIn(Hex("1D 00")), std::nullopt);
  // A modem that has no time yet counts from 1980.
  EXPECT_EQ(ModemTimeIn(LogPacket(0xB0C0, 11'960'438'400'000 + 90'000, {})), std::nullopt);
  EXPECT_TRUE(IsLikelyTime(kNoon));
  EXPECT_FALSE(IsLikelyTime(0));
}

}  // namespace
}  // namespace corvane
