#include "ota/ota_packet.h"

#include <gtest/gtest.h>

#include "ota/bits.h"
#include "ota/ota_messages.h"

namespace corvane {
namespace {

TEST(ViewOtaPacket, ShowsChannelBearerAndMessage) {
  const OwnedBuffer item = Item(LogPacket(0x83, 0x91, {0xAA, 0xBB, 0xCC}));
  const auto packet = ViewOtaPacket(*item);
  ASSERT_TRUE(packet);
  EXPECT_EQ(packet->channel, 0x83);
  EXPECT_EQ(packet->rbId, 0x91);
  EXPECT_EQ(packet->message, item->data + 20);
  EXPECT_EQ(packet->bitCount, 24u);
}

TEST(ViewOtaPacket, RefusesAPacketThatEndsWithItsOtaHeader) {
  ByteVector bytes = LogPacket(kFach, 7, {});
  ASSERT_EQ(bytes.size(), 20u);
  EXPECT_FALSE(ViewOtaPacket(*Item(bytes)));
  // One byte more, of no message, is enough.
  bytes.push_back(0xFF);
  const auto packet = ViewOtaPacket(*Item(bytes));
  ASSERT_TRUE(packet);
  EXPECT_EQ(packet->bitCount, 0u);
}

TEST(ViewOtaPacket, RefusesEveryItemCutWithinItsMessage) {
  const ByteVector whole = LogPacket(kFach, 7, {1, 2, 3, 4, 5});
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const ByteVector cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_FALSE(ViewOtaPacket(*Item(cut))) << size;
  }
  EXPECT_TRUE(ViewOtaPacket(*Item(whole)));
}

// The largest item there is: 16620 bytes of message.
TEST(ViewOtaPacket, TakesAMessageThatFillsTheLargestItem) {
  const auto item = Item(LogPacket(kFach, 7, ByteVector(16620, 0x5A)));
  const auto packet = ViewOtaPacket(*item);
  ASSERT_TRUE(packet);
  EXPECT_EQ(packet->bitCount, 16620u * 8);
}

constexpr std::uint64_t kEpoch = 119604384000000000;

TEST(DiagTimestamp, ThereIsNoneBeforeTheGpsEpoch) {
  EXPECT_FALSE(DiagTimestampFromFileTime(0));
  EXPECT_FALSE(DiagTimestampFromFileTime(kEpoch - 1));
}

TEST(DiagTimestamp, StartsAtZeroWithTheGpsEpoch) {
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch), 0u);
}

// 12499 * 49152 / 12500 = 49148.07
TEST(DiagTimestamp, AFileTimeOf12499StepsBehindTheEpochGives49148) {
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch + 12499), 49148u);
}

TEST(DiagTimestamp, CountsUnitsOf12500StepsInTheUpper48Bits) {
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch + 12500), 0x10000u);
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch + 24999), 0x10000u + 49148u);
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch + 25000), 0x20000u);
}

// One step is 3.93 fractions, half a unit 24576, and 3125 steps a quarter of a unit.
TEST(DiagTimestamp, TruncatesTheFraction) {
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch + 1), 3u);
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch + 2), 7u);
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch + 3), 11u);
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch + 3125), 12288u);
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch + 6250), 24576u);
}

// From 1980-01-06 to 2024-01-01 are 16066 days (44 years of 365 days, 11 leap days, less 5 days) of
// 69,120,000 units each.
TEST(DiagTimestamp, ConvertsADateOfToday) {
  constexpr std::uint64_t kStepsPerDay = 864'000'000'000;
  EXPECT_EQ(DiagTimestampFromFileTime(kEpoch + 16066 * kStepsPerDay),
            std::uint64_t{1'110'481'920'000} << 16);
}

// 18,327,139,689,709,551,615 steps behind the epoch are 1,466,171,175,176,764 units, of which the
// lowest 48 bits stay, and 1615 steps.
TEST(DiagTimestamp, TakesTheLargestFileTimeThereIs) {
  EXPECT_EQ(DiagTimestampFromFileTime(0xFFFFFFFFFFFFFFFF),
            (std::uint64_t{58'796'291'623'484} << 16) + 6350);
}

}  // namespace
}  // namespace corvane
