#include "ota/dispatcher.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ota/bits.h"
#include "ota/ota_messages.h"

namespace corvane {
namespace {

constexpr std::uint64_t kTimestamp = 0x1122334455667788;

Packets Decode(SibAssemblyMap& map, const ByteVector& packet) {
  return BytesOf(DecodeOtaPacket(map, *Item(packet), kTimestamp));
}

Packets Decode(const ByteVector& packet) {
  SibAssemblyMap map;
  Packets packets = Decode(map, packet);
  EXPECT_TRUE(map.empty());
  return packets;
}

// A complete SIB that decodes to one packet.
ByteVector CompleteSibMessage(std::uint8_t channel) {
  return BytesOf(Message(channel, 9, Number(3, 5) + Pattern(226)));
}
ByteVector CompleteSibPacket(std::uint8_t channel) {
  return LogPacket(channel, 7, CompleteSibMessage(channel));
}

// The message byte by byte: 0xA4 is, from its least significant bit on, message type 0 (2 bits) and
// payload choice 9; its two low bits and the 011 behind them are SIB type 3; 226 one bits follow.
TEST(DecodeOtaPacket, RebuildsACompleteSibFromFachByteByByte) {
  ByteVector message = {0xA4, 0x7F};
  message.insert(message.end(), 27, 0xFF);
  message.push_back(0xF8);
  ASSERT_EQ(message.size(), 30u);
  ByteVector packet = {0x10, 0x00, 0x2E, 0x00, 0x2E, 0x00, 0x2F, 0x41, 1,  2,
                       3,    4,    5,    6,    7,    8,    5,    9,    30, 0};
  packet.insert(packet.end(), message.begin(), message.end());

  ByteVector expected = {0x10, 0x00, 0x2E, 0x00, 0x2E, 0x00, 0x2F, 0x41, 0x88, 0x77, 0x66,
                         0x55, 0x44, 0x33, 0x22, 0x11, 255,  9,    30,   0,    3};
  expected.insert(expected.end(), 28, 0xFF);
  expected.push_back(0xC0);
  EXPECT_EQ(Decode(packet), Packets{expected});
}

// On BCH the choice stands in bits 3 to 6 of the second byte, counted from the least significant
// (0x48: 9), and the SIB type starts with that byte's last bit: 0 and 0010 from 0x2F, type 2.
TEST(DecodeOtaPacket, RebuildsACompleteSibFromBchByteByByte) {
  ByteVector message = {0x55, 0x48, 0x2F};
  message.insert(message.end(), 27, 0xFF);
  message.push_back(0xFF);
  ByteVector packet = {0x10, 0x00, 0x2F, 0x00, 0x2F, 0x00, 0x2F, 0x41, 1,  2,
                       3,    4,    5,    6,    7,    8,    4,    0,    31, 0};
  packet.insert(packet.end(), message.begin(), message.end());

  ByteVector expected = {0x10, 0x00, 0x2E, 0x00, 0x2E, 0x00, 0x2F, 0x41, 0x88, 0x77, 0x66,
                         0x55, 0x44, 0x33, 0x22, 0x11, 254,  0,    30,   0,    2};
  expected.insert(expected.end(), 28, 0xFF);
  expected.push_back(0xC0);
  EXPECT_EQ(Decode(packet), Packets{expected});
}

TEST(DecodeOtaPacket, StopsAtAnItemWithoutBytes) {
  SibAssemblyMap map;
  const sSharedBuffer empty(nullptr, 100, kOriginDevice);
  EXPECT_TRUE(DecodeOtaPacket(map, empty, kTimestamp).empty());
}

TEST(DecodeOtaPacket, StopsAtAnItemAboveTheSizeBound) {
  ByteVector packet = CompleteSibPacket(kFach);
  packet.resize(16641);
  // No buffer is that long by itself.
  sSharedBuffer item(packet.data(), 16640, kOriginDevice);
  SibAssemblyMap map;
  EXPECT_EQ(DecodeOtaPacket(map, item, kTimestamp).size(), 1u);
  item.size = 16641;
  EXPECT_TRUE(DecodeOtaPacket(map, item, kTimestamp).empty());
}

TEST(DecodeOtaPacket, StopsAtAnItemOf16BytesOrLess) {
  const ByteVector packet = CompleteSibPacket(kFach);
  for (std::size_t size = 1; size <= 16; ++size) {
    EXPECT_TRUE(
        Decode(ByteVector(packet.begin(), packet.begin() + static_cast<std::ptrdiff_t>(size)))
            .empty());
  }
}

TEST(DecodeOtaPacket, StopsAtEveryOtherLogCode) {
  ByteVector packet = CompleteSibPacket(kFach);
  packet[6] = 0x30;
  EXPECT_TRUE(Decode(packet).empty());
  packet[6] = 0x2F;
  packet[7] = 0x51;
  EXPECT_TRUE(Decode(packet).empty());
}

TEST(DecodeOtaPacket, DoesNotLookAtCommandCodeLengthsAndTimestampOfThePacket) {
  ByteVector packet = CompleteSibPacket(kFach);
  for (const std::size_t offset : {0u, 1u, 2u, 3u, 4u, 5u, 8u, 15u}) {
    packet[offset] = 0xEE;
  }
  EXPECT_EQ(Decode(packet).size(), 1u);
}

TEST(DecodeOtaPacket, APacketOfExactly20BytesYieldsNothing) {
  EXPECT_TRUE(Decode(LogPacket(kFach, 7, {})).empty());
}

TEST(DecodeOtaPacket, AMessageLengthOfAllTheRestIsTakenAndOneByteMoreIsNot) {
  ByteVector packet = CompleteSibPacket(kFach);
  ASSERT_EQ(packet[18], packet.size() - 20);
  EXPECT_EQ(Decode(packet).size(), 1u);
  ++packet[18];
  EXPECT_TRUE(Decode(packet).empty());
  --packet[18];
  packet[19] = 1;
  EXPECT_TRUE(Decode(packet).empty());
}

TEST(DecodeOtaPacket, BytesBehindTheMessageDoNotBelongToIt) {
  ByteVector packet = CompleteSibPacket(kFach);
  packet.push_back(0xFF);
  EXPECT_EQ(Decode(packet).size(), 1u);
  // The message now ends before the 226 bits do, whatever lies behind it.
  packet[18] -= 1;
  EXPECT_TRUE(Decode(packet).empty());
}

TEST(DecodeOtaPacket, AMessageOfZeroBytesYieldsNothing) {
  for (const std::uint8_t channel : {kBch, kFach}) {
    ByteVector packet = CompleteSibPacket(channel);
    packet[18] = 0;
    EXPECT_TRUE(Decode(packet).empty());
  }
}

TEST(DecodeOtaPacket, OnBchAMessageShorterThanTwoBytesYieldsNothing) {
  for (unsigned byte = 0; byte < 256; ++byte) {
    EXPECT_TRUE(Decode(LogPacket(kBch, 7, {static_cast<std::uint8_t>(byte)})).empty());
  }
}

TEST(DecodeOtaPacket, OnFachAMessageTypeOtherThanZeroYieldsNothing) {
  // The two least significant bits of the first byte are the message type. The two bits that
  // most-significant-first reading would take for it, 0x80 and 0x40, belong to nothing.
  ByteVector message = CompleteSibMessage(kFach);
  for (const unsigned type : {1u, 2u, 3u}) {
    ByteVector changed = message;
    changed[0] = static_cast<std::uint8_t>(changed[0] | type);
    EXPECT_TRUE(Decode(LogPacket(kFach, 7, changed)).empty()) << type;
  }
  for (const unsigned high : {0x00u, 0x40u, 0x80u, 0xC0u}) {
    ByteVector changed = message;
    changed[0] = static_cast<std::uint8_t>((changed[0] & 0x3F) | high);
    EXPECT_EQ(Decode(LogPacket(kFach, 7, changed)).size(), 1u) << high;
  }
}

TEST(DecodeOtaPacket, OnBchTheFrameNumberIsSkippedWhateverItIs) {
  // The first byte and, of the second, the three least significant bits; the last of these is also
  // the first bit of the content.
  ByteVector message = CompleteSibMessage(kBch);
  for (const unsigned frameNumber : {0x000u, 0x5A6u, 0x7FEu}) {
    message[0] = static_cast<std::uint8_t>(frameNumber);
    message[1] = static_cast<std::uint8_t>((message[1] & 0xF9) | (frameNumber >> 8 & 6));
    EXPECT_EQ(Decode(LogPacket(kBch, 7, message)).size(), 1u);
  }
}

TEST(DecodeOtaPacket, APayloadChoiceOf0OrOf11To15YieldsNothing) {
  for (const std::uint8_t channel : {kBch, kFach}) {
    for (const unsigned choice : {0u, 11u, 12u, 13u, 14u, 15u}) {
      const Bits message = Message(channel, choice, Bits(400, '0'));
      EXPECT_TRUE(Decode(LogPacket(channel, 7, BytesOf(message))).empty()) << choice;
    }
  }
}

// The choice is taken least significant bit first and the rest most significant first. This FACH
// message reads as choice 9 and SIB type 6 that way; with both most significant first its choice,
// behind the first two bits, would be 9 too, but on BCH the bits 11 to 14 would read as 4.
TEST(DecodeOtaPacket, ReadsTheChoiceLowBitFirstAndTheContentHighBitFirst) {
  for (const std::uint8_t channel : {kBch, kFach}) {
    for (unsigned choice = 1; choice <= 10; ++choice) {
      const Bits bits = Message(channel, choice, Number(6, 5));
      const ByteVector bytes = BytesOf(bits);
      EXPECT_EQ(channel == kBch ? bytes[1] >> 3 & 15 : bytes[0] >> 2 & 15,
                static_cast<int>(choice));
    }
    // Only choice 9 makes one block of type 6 out of this content.
    const Bits content = Number(6, 5) + Pattern(226);
    EXPECT_EQ(Decode(LogPacket(channel, 7, BytesOf(Message(channel, 9, content)))),
              Packets{RebuiltPacket(channel, 7, 6, Pattern(226), kTimestamp)});
  }
}

TEST(DecodeOtaPacket, EveryOtherChannelYieldsNothing) {
  for (unsigned channel = 0; channel < 256; ++channel) {
    if (channel == kBch || channel == kFach) {
      continue;
    }
    for (const std::uint8_t layout : {kBch, kFach}) {
      const ByteVector message = CompleteSibMessage(layout);
      const ByteVector packet = LogPacket(static_cast<std::uint8_t>(channel), 7, message);
      EXPECT_TRUE(Decode(packet).empty()) << channel;
    }
  }
}

TEST(DecodeOtaPacket, ASyntheticPacketPassedBackInYieldsNothing) {
  for (const std::uint8_t channel : {kBch, kFach}) {
    // Whatever the block holds: this one holds what would be a message with a complete SIB.
    for (const std::uint8_t layout : {kBch, kFach}) {
      Bits data = BitsOf(CompleteSibMessage(layout));
      data.resize(226, '0');
      const Bits message = Message(channel, 9, Number(0, 5) + data);
      const Packets packets = Decode(LogPacket(channel, 7, BytesOf(message)));
      ASSERT_EQ(packets.size(), 1u);
      EXPECT_EQ(packets[0][16], channel == kBch ? 254 : 255);
      EXPECT_TRUE(Decode(packets[0]).empty());
    }
  }
}

TEST(DecodeOtaPacket, APacketThatStopsLeavesTheMapUnchanged) {
  SibAssemblyMap map;
  ASSERT_TRUE(
      Decode(map, LogPacket(kFach, 7, BytesOf(Message(kFach, 1, FirstFixed(3, 2, Pattern(222))))))
          .empty());
  const BlockMap before = BlocksOf(map);
  ASSERT_EQ(before.size(), 1u);

  const ByteVector last = BytesOf(Message(kFach, 10, SegmentFixed(3, 1, Pattern(222))));
  ByteVector otherCode = LogPacket(kFach, 7, last);
  otherCode[6] = 0;
  ByteVector tooLong = LogPacket(kFach, 7, last);
  ++tooLong[18];
  ByteVector otherType = LogPacket(kFach, 7, last);
  otherType[20] |= 1;
  for (const ByteVector& packet : {otherCode, tooLong, otherType, LogPacket(6, 7, last)}) {
    EXPECT_TRUE(Decode(map, packet).empty());
    EXPECT_EQ(BlocksOf(map), before);
  }
  EXPECT_EQ(Decode(map, LogPacket(kFach, 7, last)).size(), 1u);
}

TEST(DecodeOtaPacket, DoesNotChangeOrKeepTheItem) {
  const ByteVector packet = CompleteSibPacket(kBch);
  const OwnedBuffer item = Item(packet);
  SibAssemblyMap map;
  ASSERT_EQ(DecodeOtaPacket(map, *item, kTimestamp).size(), 1u);
  EXPECT_EQ(ByteVector(item->Bytes().begin(), item->Bytes().end()), packet);
  EXPECT_EQ(item->refCount, 0u);
}

TEST(DecodeOtaPacket, StampsThePacketsWithTheGivenTimeAndNotWithTheModems) {
  const ByteVector packet = LogPacket(kFach, 7, CompleteSibMessage(kFach), 0xAAAAAAAAAAAAAAAA);
  EXPECT_EQ(Decode(packet), Packets{RebuiltPacket(kFach, 7, 3, Pattern(226), kTimestamp)});
}

}  // namespace
}  // namespace corvane
