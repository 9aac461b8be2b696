// What speaks for a record, and how much.
#include <gtest/gtest.h>

#include "rewrite/real_capture.h"
#include "rewrite/record_fit.h"
#include "rewrite/record_guess.h"
#include "support/bytes_source.h"

namespace corvane {
namespace {

constexpr std::size_t kRecords = 57'364;

// A log packet of 20 bytes behind a time of one byte, and zeros.
class RecordGuessTest : public ::testing::Test {
 protected:
  RecordGuessTest() {
    bytes.push_back(7);
    const ByteVector packet = LogPacket(0xB0C0, kNoon, {1, 2, 3, 4});
    bytes.insert(bytes.end(), packet.begin(), packet.end());
    bytes.resize(200);
    hints.limit = bytes.size();
    hints.baseTime = kNoon;
    // The flags are right, and the length is that of neither.
    hints.entry = isf::sDirectoryEntry{isf::EntryFlags(5, isf::kTimeDelta8, false), 0, 99};
  }

  [[nodiscard]] std::optional<sRecordGuess> Guess() {
    cBytesSource source(bytes);
    cByteWindow window(source);
    return GuessRecord(window, hints);
  }

  ByteVector bytes;
  sRecordHints hints;
};

TEST_F(RecordGuessTest, APacketThatTellsItsLengthIsFound) {
  const auto guess = Guess();
  ASSERT_TRUE(guess);
  EXPECT_EQ(guess->entry.length, 20U);
  EXPECT_EQ(guess->time, kNoon + 7);
}

TEST_F(RecordGuessTest, APlaceThatMayBeWrongSaysLessThanThePacket) {
  hints.next = 1 + 24;
  const auto guess = Guess();
  ASSERT_TRUE(guess);
  EXPECT_EQ(guess->entry.length, 20U);
}

TEST_F(RecordGuessTest, BetweenThePacketAndASureNextRecordNothingIsSaid) {
  hints.next = 1 + 24;
  hints.isNextSure = true;
  EXPECT_FALSE(Guess());
}

// What the only record of a capture says for the place where it stands.
[[nodiscard]] int WeightOf(std::uint32_t type, const ByteVector& packet) {
  const ByteVector file = BuildItems({{type, kNoon, packet, {}}}).Unclosed();
  cBytesSource source(file);
  const std::span<const std::uint8_t> bytes(file);
  return WeighDistance(source, {.directory = bytes.subspan(4).first<isf::kDirectorySize>(),
                                .recordsBegin = kRecords,
                                .baseTime = kNoon,
                                .first = 0,
                                .end = 1,
                                .from = 0,
                                .to = {}});
}

TEST(RecordWeightTest, AReplyOfASubsystemSaysMoreThanAnother) {
  EXPECT_GT(WeightOf(9, {0x4B, 0x12, 0, 0}), WeightOf(1, {0x1D, 0x4B, 0, 0}));
  EXPECT_GT(WeightOf(1, {0x1D, 0x4B, 0, 0}), 0);
}

}  // namespace
}  // namespace corvane
