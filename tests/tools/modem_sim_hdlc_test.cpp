#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "modem_sim/bytes.h"
#include "modem_sim/hdlc_peer.h"
#include "modem_sim/random.h"

namespace corvane::modem_sim {
namespace {

using testing::ElementsAre;

Bytes Text(std::string_view text) {
  Bytes bytes;
  AppendText(bytes, text);
  return bytes;
}

std::vector<sReceivedFrame> Deframe(ByteView wire) {
  std::vector<sReceivedFrame> frames;
  cDeframer().Push(wire, frames);
  return frames;
}

Bytes RandomBytes(cRandom& random, std::size_t size) {
  Bytes bytes(size);
  for (std::uint8_t& byte : bytes) {
    byte = random.Byte();
  }
  return bytes;
}

TEST(ModemSimHdlcTest, TheCrcHasThePublishedCheckValue) {
  EXPECT_EQ(Crc16(Text("123456789")), 0x906E);
}

TEST(ModemSimHdlcTest, TheCrcOfNothingIsZero) { EXPECT_EQ(Crc16({}), 0); }

TEST(ModemSimHdlcTest, KnownPacketsHaveKnownFrames) {
  EXPECT_EQ(ToHex(Frame(Bytes{0x1D})), "1d1c3b7e");
  EXPECT_EQ(ToHex(Frame(Bytes{0x00})), "0078f07e");
  EXPECT_EQ(ToHex(Frame(Bytes{0x4B, 0x0F, 0x00, 0x00})), "4b0f0000bb607e");
}

TEST(ModemSimHdlcTest, FlagAndEscapeAreStuffed) {
  const Bytes frame = Frame(Bytes{0x7E, 0x7D});
  EXPECT_EQ(ToHex(ByteView(frame).first(4)), "7d5e7d5d");
}

TEST(ModemSimHdlcTest, AFrameIsTakenApartAgain) {
  cRandom random(7, eDraw::Content, 0);
  for (std::size_t size = 1; size < 600; ++size) {
    const Bytes packet = RandomBytes(random, size);
    const Bytes frame = Frame(packet);
    EXPECT_LE(frame.size(), FrameSizeBound(packet));
    const auto frames = Deframe(frame);
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_TRUE(frames[0].good);
    EXPECT_EQ(frames[0].packet, packet);
  }
}

TEST(ModemSimHdlcTest, FramesComeOutOneByteAtATimeAndAllAtOnce) {
  Bytes wire = Frame(Bytes{1, 2});
  AppendBytes(wire, Frame(Bytes{3}));
  ASSERT_EQ(Deframe(wire).size(), 2U);
  cDeframer deframer;
  std::vector<sReceivedFrame> frames;
  for (const std::uint8_t byte : wire) {
    deframer.Push(ByteView(&byte, 1), frames);
  }
  ASSERT_EQ(frames.size(), 2U);
  EXPECT_THAT(frames[0].packet, ElementsAre(1, 2));
  EXPECT_THAT(frames[1].packet, ElementsAre(3));
}

TEST(ModemSimHdlcTest, FlagsInARowAreNoFrames) { EXPECT_TRUE(Deframe(Bytes{0x7E, 0x7E}).empty()); }

TEST(ModemSimHdlcTest, ALeadingFlagIsNoPartOfAFrame) {
  Bytes wire = {0x7E};
  AppendBytes(wire, Frame(Bytes{5}));
  const auto frames = Deframe(wire);
  ASSERT_EQ(frames.size(), 1U);
  EXPECT_TRUE(frames[0].good);
}

TEST(ModemSimHdlcTest, ADamagedFrameComesOutAsItArrived) {
  const auto frames = Deframe(Bytes{1, 2, 3, 4, 0x7E});
  ASSERT_EQ(frames.size(), 1U);
  EXPECT_FALSE(frames[0].good);
  EXPECT_THAT(frames[0].packet, ElementsAre(1, 2, 3, 4));
}

TEST(ModemSimHdlcTest, AFrameTooShortForAnythingButItsCrcIsDamaged) {
  const auto frames = Deframe(Bytes{0, 0, 0x7E});
  ASSERT_EQ(frames.size(), 1U);
  EXPECT_FALSE(frames[0].good);
}

TEST(ModemSimHdlcTest, AnEscapeBeforeTheFlagGivesTheFrameUp) {
  Bytes wire = Frame(Bytes{0x1D});
  wire.insert(wire.end() - 1, kEscape);
  const auto frames = Deframe(wire);
  ASSERT_EQ(frames.size(), 1U);
  EXPECT_FALSE(frames[0].good);
}

TEST(ModemSimHdlcTest, AFrameWithoutEndIsGivenUpAndTheNextOneIsFound) {
  Bytes wire(cDeframer::kMaxFrame, 0x55);
  wire.push_back(kFlag);
  AppendBytes(wire, Frame(Bytes{9}));
  const auto frames = Deframe(wire);
  ASSERT_EQ(frames.size(), 2U);
  EXPECT_FALSE(frames[0].good);
  EXPECT_TRUE(frames[1].good);
}

TEST(ModemSimHdlcTest, AfterResetTheBeginningOfAFrameIsForgotten) {
  cDeframer deframer;
  std::vector<sReceivedFrame> frames;
  deframer.Push(Bytes{1, 2, 0x7D}, frames);
  deframer.Reset();
  deframer.Push(Frame(Bytes{0x1D}), frames);
  ASSERT_EQ(frames.size(), 1U);
  EXPECT_TRUE(frames[0].good);
}

TEST(ModemSimHdlcTest, AnyFlippedBitSpoilsTheFrameAndNothingElse) {
  const Bytes packet = {0x10, 0x7E, 0x7D, 0x5E, 0x00, 0xFF};
  for (std::size_t bit = 0; bit < (packet.size() + 2) * 8; ++bit) {
    Bytes wire = FrameWithFlippedBit(packet, bit);
    AppendBytes(wire, Frame(Bytes{0x1D}));
    const auto frames = Deframe(wire);
    ASSERT_EQ(frames.size(), 2U) << bit;
    EXPECT_FALSE(frames[0].good) << bit;
    EXPECT_TRUE(frames[1].good) << bit;
  }
}

TEST(ModemSimHdlcTest, TheIdleFrameHoldsAGoodCrcAndNoPacket) {
  const Bytes idle = IdleFrame();
  EXPECT_EQ(ToHex(idle), "7d207d207e");
  const auto frames = Deframe(idle);
  ASSERT_EQ(frames.size(), 1U);
  // Unstuffed: two zero bytes, which are the CRC of nothing.
  EXPECT_THAT(frames[0].packet, ElementsAre(0, 0));
}

TEST(ModemSimBytesTest, HexGoesBothWays) {
  EXPECT_EQ(ToHex(Bytes{0x00, 0x7E, 0xFF}), "007eff");
  EXPECT_EQ(FromHex("00 7E ff"), (Bytes{0x00, 0x7E, 0xFF}));
  EXPECT_EQ(FromHex(""), Bytes());
  EXPECT_EQ(FromHex("0"), std::nullopt);
  EXPECT_EQ(FromHex("0g"), std::nullopt);
  EXPECT_EQ(FromHex("0 0"), std::nullopt);
}

}  // namespace
}  // namespace corvane::modem_sim
