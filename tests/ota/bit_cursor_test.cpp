#include "ota/bit_cursor.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>

#include "ota/bits.h"
#include "support/member_order.h"

namespace corvane {
namespace {

constexpr std::uint32_t kUntouched = 0xDEADBEEF;

sBitReader ReaderOver(const ByteVector& bytes, std::uint8_t bitOrder) {
  return {.data = bytes.data(),
          .position = 0,
          .bitCount = static_cast<std::uint32_t>(bytes.size() * 8),
          .bitOrder = bitOrder};
}

sBitWriter WriterOver(ByteVector& bytes, std::uint8_t bitOrder) {
  return {.data = bytes.data(),
          .position = 0,
          .length = 0,
          .capacity = static_cast<std::uint32_t>(bytes.size() * 8),
          .bitOrder = bitOrder};
}

// Bit k of what a reader yields, taken from the text of the bits.
unsigned SentBit(const ByteVector& bytes, std::uint32_t k, std::uint8_t bitOrder) {
  const Bits byte = BitsOf(bytes).substr(k / 8 * 8, 8);
  return byte[bitOrder == 1 ? 7 - k % 8 : k % 8] == '1' ? 1 : 0;
}

std::uint32_t BitByBit(const ByteVector& bytes, std::uint32_t position, std::uint32_t count,
                       std::uint8_t bitOrder) {
  std::uint32_t value = 0;
  for (std::uint32_t k = 0; k < count; ++k) {
    const std::uint32_t bit = SentBit(bytes, position + k, bitOrder);
    value += bit << (bitOrder == 1 ? k : count - 1 - k);
  }
  return value;
}

TEST(BitCursors, HaveTheirMembersInOrderAndStartEmptyMostSignificantBitFirst) {
  const sBitReader reader;
  EXPECT_TRUE(AreInMemoryOrder(reader.data, reader.position, reader.bitCount, reader.bitOrder));
  EXPECT_EQ(reader.data, nullptr);
  EXPECT_EQ(reader.position, 0U);
  EXPECT_EQ(reader.bitCount, 0U);
  EXPECT_EQ(reader.bitOrder, 0U);

  const sBitWriter writer;
  EXPECT_TRUE(AreInMemoryOrder(writer.data, writer.position, writer.length, writer.capacity,
                               writer.bitOrder));
  EXPECT_EQ(writer.data, nullptr);
  EXPECT_EQ(writer.position, 0U);
  EXPECT_EQ(writer.length, 0U);
  EXPECT_EQ(writer.capacity, 0U);
  EXPECT_EQ(writer.bitOrder, 0U);
}

TEST(ReadBits32, ReadsMostSignificantBitFirst) {
  const ByteVector bytes = {0b10110011, 0b01000000};
  sBitReader reader = ReaderOver(bytes, kMostSignificantBitFirst);
  std::uint32_t value = 0;
  ASSERT_EQ(ReadBits32(reader, 3, value), 0u);
  EXPECT_EQ(value, 0b101u);
  ASSERT_EQ(ReadBits32(reader, 7, value), 0u);
  EXPECT_EQ(value, 0b1001101u);
  EXPECT_EQ(reader.position, 10u);
}

TEST(ReadBits32, ReadsLeastSignificantBitFirst) {
  const ByteVector bytes = {0b10110011, 0b01000010};
  sBitReader reader = ReaderOver(bytes, kLeastSignificantBitFirst);
  std::uint32_t value = 0;
  ASSERT_EQ(ReadBits32(reader, 3, value), 0u);
  EXPECT_EQ(value, 0b011u);
  ASSERT_EQ(ReadBits32(reader, 7, value), 0u);
  EXPECT_EQ(value, 0b1010110u);
  EXPECT_EQ(reader.position, 10u);
}

TEST(ReadBits32, TakesEveryBitOrderButOneForMostSignificantFirst) {
  const ByteVector bytes = {0b10000000};
  for (const std::uint8_t bitOrder : std::initializer_list<std::uint8_t>{0, 2, 3, 255}) {
    sBitReader reader = ReaderOver(bytes, bitOrder);
    std::uint32_t value = 0;
    ASSERT_EQ(ReadBits32(reader, 1, value), 0u);
    EXPECT_EQ(value, 1u);
  }
}

TEST(ReadBits32, ReadsAnAlignedWordAsLittleEndianWhenLeastSignificantFirst) {
  const ByteVector bytes = {0xFF, 0x78, 0x56, 0x34, 0x12};
  sBitReader reader = ReaderOver(bytes, kLeastSignificantBitFirst);
  reader.position = 8;
  std::uint32_t value = 0;
  ASSERT_EQ(ReadBits32(reader, 32, value), 0u);
  EXPECT_EQ(value, 0x12345678u);
}

TEST(ReadBits32, ReadsAnAlignedWordAsBigEndianWhenMostSignificantFirst) {
  const ByteVector bytes = {0x12, 0x34, 0x56, 0x78};
  sBitReader reader = ReaderOver(bytes, kMostSignificantBitFirst);
  std::uint32_t value = 0;
  ASSERT_EQ(ReadBits32(reader, 32, value), 0u);
  EXPECT_EQ(value, 0x12345678u);
}

TEST(ReadBits32, FastAndBitByBitReadingAgreeAtEveryPositionAndCount) {
  const ByteVector bytes = BytesOf(Pattern(96));
  for (const std::uint8_t bitOrder : {kMostSignificantBitFirst, kLeastSignificantBitFirst}) {
    for (std::uint32_t position = 0; position < 96; ++position) {
      for (std::uint32_t count = 1; count <= 32 && position + count <= 96; ++count) {
        sBitReader reader = ReaderOver(bytes, bitOrder);
        reader.position = position;
        std::uint32_t value = kUntouched;
        ASSERT_EQ(ReadBits32(reader, count, value), 0u);
        ASSERT_EQ(value, BitByBit(bytes, position, count, bitOrder))
            << count << " bits at " << position << ", order " << int{bitOrder};
        ASSERT_EQ(reader.position, position + count);
      }
    }
  }
}

TEST(ReadBits8, FastAndBitByBitReadingAgreeAtEveryPositionAndCount) {
  const ByteVector bytes = BytesOf(Pattern(48, 1));
  for (const std::uint8_t bitOrder : {kMostSignificantBitFirst, kLeastSignificantBitFirst}) {
    for (std::uint32_t position = 0; position < 48; ++position) {
      for (std::uint32_t count = 1; count <= 8 && position + count <= 48; ++count) {
        sBitReader reader = ReaderOver(bytes, bitOrder);
        reader.position = position;
        std::uint8_t value = 0xAA;
        ASSERT_EQ(ReadBits8(reader, count, value), 0u);
        ASSERT_EQ(value, BitByBit(bytes, position, count, bitOrder))
            << count << " bits at " << position << ", order " << int{bitOrder};
        ASSERT_EQ(reader.position, position + count);
      }
    }
  }
}

TEST(ReadBits32, RefusesCountsBelowOneAndAbove32WithoutConsuming) {
  const ByteVector bytes(8, 0xFF);
  for (const std::uint8_t bitOrder : {kMostSignificantBitFirst, kLeastSignificantBitFirst}) {
    for (const std::uint32_t count : {0u, 33u, 0xFFFFFFFFu}) {
      sBitReader reader = ReaderOver(bytes, bitOrder);
      std::uint32_t value = kUntouched;
      EXPECT_EQ(ReadBits32(reader, count, value), 87u);
      EXPECT_EQ(value, kUntouched);
      EXPECT_EQ(reader.position, 0u);
    }
  }
}

TEST(ReadBits8, RefusesCountsBelowOneAndAbove8WithoutConsuming) {
  const ByteVector bytes(8, 0xFF);
  for (const std::uint32_t count : {0u, 9u, 32u}) {
    sBitReader reader = ReaderOver(bytes, kLeastSignificantBitFirst);
    std::uint8_t value = 0x5A;
    EXPECT_EQ(ReadBits8(reader, count, value), 87u);
    EXPECT_EQ(value, 0x5A);
    EXPECT_EQ(reader.position, 0u);
  }
}

TEST(ReadBits32, RefusesABadCountBeforeItLooksAtTheBitsLeft) {
  sBitReader nothing;
  std::uint32_t value = kUntouched;
  EXPECT_EQ(ReadBits32(nothing, 0, value), 87u);
  EXPECT_EQ(ReadBits32(nothing, 33, value), 87u);
}

TEST(ReadBits32, FailsWithoutConsumingWhenFewerBitsAreLeft) {
  const ByteVector bytes(8, 0xFF);
  for (const std::uint8_t bitOrder : {kMostSignificantBitFirst, kLeastSignificantBitFirst}) {
    for (std::uint32_t count = 1; count <= 32; ++count) {
      sBitReader reader = ReaderOver(bytes, bitOrder);
      reader.position = 64 - count + 1;
      std::uint32_t value = kUntouched;
      EXPECT_EQ(ReadBits32(reader, count, value), 8u);
      EXPECT_EQ(value, kUntouched);
      EXPECT_EQ(reader.position, 64 - count + 1);

      --reader.position;
      EXPECT_EQ(ReadBits32(reader, count, value), 0u);
      EXPECT_EQ(reader.position, 64u);
    }
  }
}

TEST(ReadBits8, FailsWithoutConsumingWhenFewerBitsAreLeft) {
  const ByteVector bytes(2, 0xFF);
  for (std::uint32_t count = 1; count <= 8; ++count) {
    sBitReader reader = ReaderOver(bytes, kLeastSignificantBitFirst);
    reader.position = 16 - count + 1;
    std::uint8_t value = 0x5A;
    EXPECT_EQ(ReadBits8(reader, count, value), 8u);
    EXPECT_EQ(value, 0x5A);
    EXPECT_EQ(reader.position, 16 - count + 1);
  }
}

TEST(ReadBits32, FailsAtAndBehindTheEndOfTheBits) {
  const ByteVector bytes(4, 0xFF);
  for (const std::uint32_t position : {32u, 33u, 1000u, 0xFFFFFFFFu}) {
    sBitReader reader = ReaderOver(bytes, kMostSignificantBitFirst);
    reader.position = position;
    std::uint32_t value = kUntouched;
    EXPECT_EQ(ReadBits32(reader, 1, value), 8u);
    EXPECT_EQ(ReadBits32(reader, 32, value), 8u);
    EXPECT_EQ(value, kUntouched);
    EXPECT_EQ(reader.position, position);
  }
}

TEST(ReadBits32, CountsTheReadableBitsNotTheBytes) {
  const ByteVector bytes(1, 0xFF);
  sBitReader reader = ReaderOver(bytes, kMostSignificantBitFirst);
  reader.bitCount = 3;
  std::uint32_t value = kUntouched;
  EXPECT_EQ(ReadBits32(reader, 4, value), 8u);
  EXPECT_EQ(ReadBits32(reader, 3, value), 0u);
  EXPECT_EQ(value, 7u);
}

TEST(CopyBits, CopiesNothingAndSucceedsForACountOfZero) {
  sBitReader nothing;
  sBitWriter nowhere;
  EXPECT_TRUE(CopyBits(nothing, nowhere, 0));
}

TEST(CopyBits, CopiesAnyCountFromAnyPlaceToAnyPlace) {
  const ByteVector source = BytesOf(Pattern(160, 3));
  const Bits sent = BitsOf(source);
  for (std::uint32_t from = 0; from < 8; ++from) {
    for (std::uint32_t to = 0; to < 8; ++to) {
      for (std::uint32_t count = 0; count <= 150; ++count) {
        ByteVector target((to + count + 7) / 8);
        sBitReader reader = ReaderOver(source, kMostSignificantBitFirst);
        sBitWriter writer = WriterOver(target, kMostSignificantBitFirst);
        reader.position = from;
        writer.position = to;
        ASSERT_TRUE(CopyBits(reader, writer, count));
        ASSERT_EQ(reader.position, from + count);
        ASSERT_EQ(writer.position, to + count);
        Bits wanted = Bits(to, '0') + sent.substr(from, count);
        wanted.resize(target.size() * 8, '0');
        ASSERT_EQ(BitsOf(target), wanted) << count << " bits from " << from << " to " << to;
      }
    }
  }
}

TEST(CopyBits, KeepsEachCursorInItsOwnBitOrder) {
  const ByteVector source = BytesOf(Pattern(40, 2));
  for (const std::uint8_t readOrder : {kMostSignificantBitFirst, kLeastSignificantBitFirst}) {
    for (const std::uint8_t writeOrder : {kMostSignificantBitFirst, kLeastSignificantBitFirst}) {
      for (std::uint32_t from = 0; from < 8; ++from) {
        for (std::uint32_t to = 0; to < 8; ++to) {
          ByteVector target(5);
          sBitReader reader = ReaderOver(source, readOrder);
          sBitWriter writer = WriterOver(target, writeOrder);
          reader.position = from;
          writer.position = writer.length = to;
          ASSERT_TRUE(CopyBits(reader, writer, 29));
          EXPECT_EQ(reader.position, from + 29);
          EXPECT_EQ(writer.position, to + 29);
          EXPECT_EQ(writer.length, to + 29);
          for (std::uint32_t k = 0; k < 40; ++k) {
            const bool copied = k >= to && k < to + 29;
            ASSERT_EQ(SentBit(target, k, writeOrder),
                      copied ? SentBit(source, from + k - to, readOrder) : 0u);
          }
        }
      }
    }
  }
}

TEST(CopyBits, FailsWhenTheReaderRunsOutAndKeepsWhatItCopied) {
  const ByteVector source = {0xFF};
  ByteVector target(2);
  sBitReader reader = ReaderOver(source, kMostSignificantBitFirst);
  sBitWriter writer = WriterOver(target, kMostSignificantBitFirst);
  EXPECT_FALSE(CopyBits(reader, writer, 9));
  EXPECT_EQ(reader.position, 8u);
  EXPECT_EQ(writer.position, 8u);
  EXPECT_EQ(writer.length, 8u);
  EXPECT_EQ(target, ByteVector({0xFF, 0x00}));
}

TEST(CopyBits, LosesTheBitForWhichThereIsNoRoom) {
  const ByteVector source = {0xFF, 0xFF};
  ByteVector target(1);
  sBitReader reader = ReaderOver(source, kMostSignificantBitFirst);
  sBitWriter writer = WriterOver(target, kMostSignificantBitFirst);
  EXPECT_FALSE(CopyBits(reader, writer, 9));
  EXPECT_EQ(reader.position, 9u);
  EXPECT_EQ(writer.position, 8u);
  EXPECT_EQ(writer.length, 8u);
  EXPECT_EQ(target, ByteVector({0xFF}));
}

TEST(CopyBits, FailsForAWriterThatStartsBehindItsCapacity) {
  const ByteVector source = {0xFF};
  ByteVector target(1);
  sBitReader reader = ReaderOver(source, kMostSignificantBitFirst);
  sBitWriter writer = WriterOver(target, kMostSignificantBitFirst);
  writer.position = 20;
  EXPECT_FALSE(CopyBits(reader, writer, 1));
  EXPECT_EQ(target, ByteVector({0x00}));
}

TEST(CopyBits, FailsForAReaderThatStartsBehindItsEnd) {
  const ByteVector source = {0xFF};
  ByteVector target(1);
  sBitReader reader = ReaderOver(source, kMostSignificantBitFirst);
  reader.position = 9;
  sBitWriter writer = WriterOver(target, kMostSignificantBitFirst);
  EXPECT_FALSE(CopyBits(reader, writer, 1));
  EXPECT_EQ(reader.position, 9u);
  EXPECT_EQ(writer.position, 0u);
}

TEST(CopyBits, NeverClearsABit) {
  const ByteVector source = {0x00};
  ByteVector target = {0xA5};
  sBitReader reader = ReaderOver(source, kMostSignificantBitFirst);
  sBitWriter writer = WriterOver(target, kMostSignificantBitFirst);
  EXPECT_TRUE(CopyBits(reader, writer, 8));
  EXPECT_EQ(target, ByteVector({0xA5}));
}

TEST(CopyBits, RaisesTheHighWaterMarkOnlyWhenItPassesIt) {
  const ByteVector source = {0xFF};
  ByteVector target(4);
  sBitReader reader = ReaderOver(source, kMostSignificantBitFirst);
  sBitWriter writer = WriterOver(target, kMostSignificantBitFirst);
  writer.length = 6;
  EXPECT_TRUE(CopyBits(reader, writer, 4));
  EXPECT_EQ(writer.length, 6u);
  EXPECT_TRUE(CopyBits(reader, writer, 4));
  EXPECT_EQ(writer.length, 8u);
}

}  // namespace
}  // namespace corvane
