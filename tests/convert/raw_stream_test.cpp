#include "convert/raw_stream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "convert/framing.h"
#include "reader/capture_builder.h"

namespace corvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct sCut {
  std::uint64_t offset = 0;
  ByteVector packet;  // empty for a bad frame
  std::optional<eFrameFault> fault;

  friend bool operator==(const sCut&, const sCut&) = default;
  friend void PrintTo(const sCut& cut, std::ostream* out) {
    *out << "offset " << cut.offset << ": ";
    if (cut.fault) {
      *out << FaultText(*cut.fault);
    } else {
      *out << ::testing::PrintToString(cut.packet);
    }
  }
};

[[nodiscard]] sCut Good(std::uint64_t offset, ByteVector packet) {
  return {offset, std::move(packet), std::nullopt};
}
[[nodiscard]] sCut Bad(std::uint64_t offset, eFrameFault fault) { return {offset, {}, fault}; }

class cCuts final : public cRawPacketSink {
 public:
  void OnPacket(std::uint64_t offset, std::span<const std::uint8_t> packet) override {
    cuts.push_back(Good(offset, {packet.begin(), packet.end()}));
  }
  void OnBadFrame(std::uint64_t offset, eFrameFault fault) override {
    cuts.push_back(Bad(offset, fault));
  }

  std::vector<sCut> cuts;
};

// What the bytes are cut into, fed in pieces of `piece` bytes.
[[nodiscard]] std::vector<sCut> CutUp(const ByteVector& bytes, std::size_t piece = SIZE_MAX) {
  cCuts sink;
  cRawStream stream(sink);
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t length = std::min(piece, bytes.size() - at);
    stream.Feed(std::span(bytes).subspan(at, length));
    at += length;
  }
  stream.Finish();
  return sink.cuts;
}

// Published examples of the frame: 1D, 00 and 4B 0F 00 00.
const ByteVector kThreeFrames = Hex("1D 1C 3B 7E 00 78 F0 7E 4B 0F 00 00 BB 60 7E");
const std::vector<sCut> kThreePackets = {Good(0, Hex("1D")), Good(4, Hex("00")),
                                         Good(8, Hex("4B 0F 00 00"))};

TEST(RawStreamTest, FramesAreCutIntoPackets) { EXPECT_EQ(CutUp(kThreeFrames), kThreePackets); }

TEST(RawStreamTest, EscapedBytesAreRestoredInPacketAndChecksum) {
  const ByteVector stuffed = FrameOf(Hex("7E 7D 5E 5D"));
  EXPECT_EQ(std::count(stuffed.begin(), stuffed.end(), 0x7E), 1);
  EXPECT_THAT(CutUp(stuffed), ElementsAre(Good(0, Hex("7E 7D 5E 5D"))));
  int escapedChecksums = 0;
  for (unsigned number = 0; number < 0x4000; ++number) {
    ByteVector packet = Hex("10 00 00");
    Put(packet, 1, number, 2);
    const std::uint16_t crc = ReferenceCrc(packet);
    if ((crc & 0xFF) == 0x7E || (crc >> 8) == 0x7D) {
      ++escapedChecksums;
      ASSERT_THAT(CutUp(FrameOf(packet)), ElementsAre(Good(0, packet)));
    }
  }
  EXPECT_GT(escapedChecksums, 50);
}

TEST(RawStreamTest, NothingIsCutOutOfNothing) {
  EXPECT_THAT(CutUp({}), IsEmpty());
  EXPECT_THAT(CutUp(Hex("7E")), IsEmpty());
}

TEST(RawStreamTest, FlagsBetweenFramesAreFill) {
  EXPECT_THAT(CutUp(Hex("7E 7E 1D 1C 3B 7E 7E 7E 7E 00 78 F0 7E 7E")),
              ElementsAre(Good(2, Hex("1D")), Good(9, Hex("00"))));
}

TEST(RawStreamTest, AFrameWithAWrongChecksumIsBadAndTheNextIsGood) {
  EXPECT_THAT(CutUp(Hex("1D 1C 3B 7E 00 78 F1 7E 1D 1C 3B 7E")),
              ElementsAre(Good(0, Hex("1D")), Bad(4, eFrameFault::Checksum), Good(8, Hex("1D"))));
}

TEST(RawStreamTest, AFrameWithoutRoomForAPacketIsTooShort) {
  // 00 00 is the checksum of no packet at all.
  for (const char* body : {"00 00", "1D", "1D 1C", "7D 5E"}) {
    ByteVector bytes = Hex(body);
    bytes.push_back(0x7E);
    EXPECT_THAT(CutUp(bytes), ElementsAre(Bad(0, eFrameFault::TooShort))) << body;
  }
}

TEST(RawStreamTest, AFlagBehindAnEscapeEndsTheFrame) {
  EXPECT_THAT(CutUp(Hex("10 11 7D 7E 1D 1C 3B 7E")),
              ElementsAre(Bad(0, eFrameFault::Aborted), Good(4, Hex("1D"))));
  EXPECT_THAT(CutUp(Hex("7D 7E 7D 7E")),
              ElementsAre(Bad(0, eFrameFault::Aborted), Bad(2, eFrameFault::Aborted)));
  // Even where the bytes before the escape would be a frame.
  EXPECT_THAT(CutUp(Hex("1D 1C 3B 7D 7E")), ElementsAre(Bad(0, eFrameFault::Aborted)));
}

TEST(RawStreamTest, AStreamThatBeginsInsideAFrameLosesThatFrame) {
  EXPECT_THAT(CutUp(Hex("0F 00 00 BB 60 7E 1D 1C 3B 7E")),
              ElementsAre(Bad(0, eFrameFault::Checksum), Good(6, Hex("1D"))));
}

TEST(RawStreamTest, AFrameThatTheStreamEndsInIsUnfinished) {
  for (const char* rest : {"4B", "4B 0F 00 00 BB 60", "7D"}) {
    ByteVector bytes = kThreeFrames;
    const ByteVector more = Hex(rest);
    bytes.insert(bytes.end(), more.begin(), more.end());
    std::vector<sCut> expected = kThreePackets;
    expected.push_back(Bad(15, eFrameFault::Unfinished));
    EXPECT_EQ(CutUp(bytes), expected) << rest;
  }
}

TEST(RawStreamTest, AnEscapeMayBeEscaped) {
  // A byte that needed no escape: 5D behind an escape is 7D, 3D is 1D.
  EXPECT_THAT(CutUp(Hex("7D 3D 1C 3B 7E")), ElementsAre(Good(0, Hex("1D"))));
  EXPECT_THAT(CutUp(Hex("7D 7D 7E")), ElementsAre(Bad(0, eFrameFault::TooShort)));
}

TEST(RawStreamTest, TheLongestPacketIsTaken) {
  ByteVector packet(cRawStream::kLongestPacket, 0x7E);
  EXPECT_THAT(CutUp(FrameOf(packet)), ElementsAre(Good(0, packet)));
  packet.push_back(0x10);
  ByteVector bytes = FrameOf(packet);
  const std::size_t second = bytes.size();
  bytes.insert(bytes.end(), kThreeFrames.begin(), kThreeFrames.begin() + 4);
  for (const std::size_t piece : {std::size_t{1}, std::size_t{1000}, std::size_t{SIZE_MAX}}) {
    EXPECT_THAT(CutUp(bytes, piece),
                ElementsAre(Bad(0, eFrameFault::TooLong), Good(second, Hex("1D"))));
  }
}

TEST(RawStreamTest, OffsetsGoOnBehindBadFrames) {
  ByteVector bytes(300'000, 0x55);
  bytes.push_back(0x7E);
  bytes.insert(bytes.end(), kThreeFrames.begin(), kThreeFrames.end());
  EXPECT_THAT(CutUp(bytes),
              ElementsAre(Bad(0, eFrameFault::TooLong), Good(300'001, Hex("1D")),
                          Good(300'005, Hex("00")), Good(300'009, Hex("4B 0F 00 00"))));
}

TEST(RawStreamTest, ThePiecesInWhichAStreamComesMakeNoDifference) {
  std::mt19937 random(8);
  ByteVector bytes;
  for (int part = 0; part < 40; ++part) {
    if (part % 4 == 3) {
      const ByteVector junk = Hex("7E 7E 7D 7E 31 7E 10 20 30 40 7D");
      bytes.insert(bytes.end(), junk.begin(), junk.end());
    }
    ByteVector packet(1 + random() % 40);
    // Many bytes that have to be escaped.
    std::generate(packet.begin(), packet.end(),
                  [&random] { return static_cast<std::uint8_t>(0x7C + random() % 4); });
    const ByteVector frame = FrameOf(packet);
    bytes.insert(bytes.end(), frame.begin(), frame.end());
  }
  const std::vector<sCut> whole = CutUp(bytes);
  EXPECT_GT(whole.size(), 40U);
  for (std::size_t piece = 1; piece < 70; ++piece) {
    ASSERT_EQ(CutUp(bytes, piece), whole) << piece;
  }
}

TEST(RawStreamTest, EveryFaultHasItsText) {
  EXPECT_EQ(FaultText(eFrameFault::Checksum), "has a wrong checksum");
  EXPECT_EQ(FaultText(eFrameFault::TooShort), "is too short for a packet");
  EXPECT_EQ(FaultText(eFrameFault::TooLong), "is too long for a packet");
  EXPECT_EQ(FaultText(eFrameFault::Aborted), "breaks off behind an escape");
  EXPECT_EQ(FaultText(eFrameFault::Unfinished), "is cut off by the end of the stream");
}

}  // namespace
}  // namespace corvane
