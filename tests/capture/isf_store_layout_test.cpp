#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "capture/store_fixture.h"
#include "platform/error_codes.h"
#include "support/controllable_clock.h"

namespace corvane {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;

constexpr std::uint64_t kStartMilliseconds = 13'350'000'000'000;

class IsfStoreLayoutTest : public cStoreTest {
 protected:
  // Adds so many small items, each with bytes of its own, one millisecond apart.
  void AddNumbered(std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) {
      ASSERT_EQ(Add(NumberedPacket(i)), kErrorSuccess) << i;
      AdvanceClock(1);
    }
  }

  [[nodiscard]] static ByteVector NumberedPacket(std::uint32_t i) {
    ByteVector packet = {0x0A, static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(i / 256)};
    packet.resize(3 + i % 5);
    return packet;
  }

  // Every byte of the closed file of so many numbered items must be where it belongs.
  void ExpectNumberedFile(std::uint32_t count);
};

void IsfStoreLayoutTest::ExpectNumberedFile(std::uint32_t count) {
  const ByteVector file = Contents();
  const sDecodedCapture capture = DecodeCapture(file);
  ASSERT_EQ(capture.blocks.size(), (count + 8191) / 8192);

  std::uint64_t position = 4;
  std::uint32_t number = 0;
  for (const sDecodedBlock& block : capture.blocks) {
    ASSERT_EQ(block.position, position);
    EXPECT_EQ(block.baseTime, kStartMilliseconds + number);
    position += 57360;
    for (const sDecodedItem& item : block.items) {
      ASSERT_EQ(item.position, position) << number;
      ASSERT_EQ(item.type, 1U);
      ASSERT_EQ(item.time, kStartMilliseconds + number);
      ASSERT_EQ(item.extra, std::nullopt);
      ASSERT_EQ(item.packet, NumberedPacket(number));
      position = item.end;
      ++number;
    }
  }
  EXPECT_EQ(number, count);

  const sDecodedEnd end = DecodeEnd(file, capture.blocks.size());
  EXPECT_EQ(end.indexPosition, position);
  EXPECT_EQ(end.zero, 0U);
  EXPECT_EQ(end.itemCount, count);
  for (std::size_t i = 0; i < capture.blocks.size(); ++i) {
    EXPECT_EQ(end.index.at(i).blockOffset, capture.blocks[i].position);
    EXPECT_EQ(end.index.at(i).baseTime, capture.blocks[i].baseTime);
  }
}

TEST_F(IsfStoreLayoutTest, AttachWritesTheFourByteHeaderOnly) {
  EXPECT_THAT(Contents(), ElementsAre(0x08, 0x31, 0x60, 0xAB));
}

TEST_F(IsfStoreLayoutTest, AFileClosedWithoutItemsHasOnlyHeaderAndTrailer) {
  store.Close();
  EXPECT_THAT(Contents(), ElementsAre(0x08, 0x31, 0x60, 0xAB,              // header
                                      0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // zero, item count
                                      0x07, 0x31, 0x60, 0xAB));
}

// Worked out by hand.
TEST_F(IsfStoreLayoutTest, AFileOfOneItemByteForByte) {
  ASSERT_EQ(Add({0x0A, 0xBB}), kErrorSuccess);
  store.Close();

  ByteVector expected = {0x08, 0x31, 0x60, 0xAB};
  // The directory: one entry of type 1, time width 0, position 0, length 2.
  expected.insert(expected.end(), {0x01, 0, 0, 0, 0, 0x02, 0});
  expected.resize(4 + 57344);
  expected.insert(expected.end(), {0, 0, 0, 0, 0, 0, 0, 0});  // no next block
  // The base time: 13,350,000,000,000 is 0x0C244A01FC00.
  const ByteVector baseTime = {0x00, 0xFC, 0x01, 0x4A, 0x24, 0x0C, 0, 0};
  expected.insert(expected.end(), baseTime.begin(), baseTime.end());
  expected.insert(expected.end(), {0x00, 0x0A, 0xBB});        // the record
  expected.insert(expected.end(), {4, 0, 0, 0, 0, 0, 0, 0});  // the index: the block is at 4
  expected.insert(expected.end(), baseTime.begin(), baseTime.end());
  expected.insert(expected.end(), {0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0x07, 0x31, 0x60, 0xAB});
  EXPECT_EQ(Contents(), expected);
}

TEST_F(IsfStoreLayoutTest, OneItemMakesOneBlock) {
  AddNumbered(1);
  store.Close();
  ExpectNumberedFile(1);
}

TEST_F(IsfStoreLayoutTest, EightThousandOneHundredAndNinetyTwoItemsFillOneBlock) {
  AddNumbered(8192);
  store.Close();
  ExpectNumberedFile(8192);
}

TEST_F(IsfStoreLayoutTest, Item8193StartsBlockTwoAndTheFirstBlockPointsToIt) {
  AddNumbered(8192);
  const sDecodedCapture before = DecodeCapture(Contents());
  ASSERT_EQ(before.blocks.size(), 1U);
  EXPECT_EQ(before.blocks[0].nextBlock, 0U);
  const std::uint64_t endOfFirst = before.Items().back().end;

  ASSERT_EQ(Add(NumberedPacket(8192)), kErrorSuccess);
  const sDecodedCapture after = DecodeCapture(Contents());
  ASSERT_EQ(after.blocks.size(), 2U);
  EXPECT_EQ(after.blocks[0].nextBlock, endOfFirst);
  EXPECT_EQ(after.blocks[1].position, endOfFirst);
  EXPECT_EQ(after.blocks[1].nextBlock, 0U);
  EXPECT_EQ(after.blocks[1].items.size(), 1U);

  store.Close();
  ExpectNumberedFile(8193);
}

TEST_F(IsfStoreLayoutTest, TwentyThousandItemsMakeThreeBlocks) {
  AddNumbered(20000);
  store.Close();
  ExpectNumberedFile(20000);
}

TEST_F(IsfStoreLayoutTest, TheFirstItemOfABlockHasAOneByteTimeFieldOfZero) {
  AddNumbered(8193);
  const sDecodedCapture capture = DecodeCapture(Contents());
  for (const sDecodedBlock& block : capture.blocks) {
    EXPECT_EQ(block.items.front().widthCode, 0U);
    EXPECT_EQ(block.items.front().timeField, 0U);
  }
}

TEST_F(IsfStoreLayoutTest, EveryItemCanBeReadThroughAnotherStreamRightAfterItWasAdded) {
  for (std::uint32_t i = 0; i < 50; ++i) {
    const ByteVector packet = NumberedPacket(i);
    ASSERT_EQ(Add(packet), kErrorSuccess);
    const auto items = Items();
    ASSERT_EQ(items.size(), i + 1);
    ASSERT_EQ(items.back().packet, packet);
  }
}

TEST_F(IsfStoreLayoutTest, NoWriteIsLargerThan16384Bytes) {
  cFailingFile& file = Intercept(*stream);
  ASSERT_EQ(Add(Packet({0x0A}, 16640)), kErrorSuccess);
  // The block, the time, the packet, the directory entry.
  EXPECT_THAT(file.writes, ElementsAre(16384, 16384, 16384, 8208, 16384, 257, 7));
}

TEST_F(IsfStoreLayoutTest, AnItemIsThreeWritesAndCloseOneForEachBlockAndTheTrailer) {
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  cFailingFile& file = Intercept(*stream);
  ASSERT_EQ(Add({0x0A, 1, 2}), kErrorSuccess);
  EXPECT_THAT(file.writes, ElementsAre(4, 7));
  file.writes.clear();
  store.Close();
  EXPECT_THAT(file.writes, ElementsAre(16, 16));
}

TEST_F(IsfStoreLayoutTest, WriteAtPutsBytesAnywhereAndReturnsToTheEnd) {
  const ByteVector bytes(32768, 0x5A);
  cFailingFile& file = Intercept(*stream);
  ASSERT_EQ(store.WriteAt(4, bytes.data(), bytes.size()), kErrorSuccess);
  EXPECT_THAT(file.writes, ElementsAre(16384, 16384));
  ASSERT_EQ(store.WriteAt(1, bytes.data(), 2), kErrorSuccess);
  EXPECT_EQ(stream->tellp(), std::streampos(4 + 32768));
  const ByteVector contents = Contents();
  ASSERT_EQ(contents.size(), 4U + 32768U);
  EXPECT_THAT(ByteVector(contents.begin(), contents.begin() + 4),
              ElementsAre(0x08, 0x5A, 0x5A, 0xAB));
  EXPECT_THAT(ByteVector(contents.begin() + 4, contents.end()), Each(0x5A));
}

TEST_F(IsfStoreLayoutTest, AttachFinishesTheFileBeforeAndStartsTheNewOneFromZero) {
  AddNumbered(3);
  Attach("second.isf");
  ExpectNumberedFile(3);

  AddNumbered(2);
  store.Close();
  const ByteVector second = ReadFile(scratch.Path("second.isf"));
  EXPECT_EQ(DecodeCapture(second).Items().size(), 2U);
  EXPECT_EQ(DecodeEnd(second, 1).itemCount, 2U);
}

TEST_F(IsfStoreLayoutTest, DestroyingTheStoreClosesTheFileFirst) {
  {
    cISFStore other;
    other.Attach(Create("other.isf"));
  }
  EXPECT_EQ(DecodeEnd(ReadFile(scratch.Path("other.isf")), 0).itemCount, 0U);
}

TEST_F(IsfStoreLayoutTest, ClosingTwiceChangesNothing) {
  AddNumbered(1);
  store.Close();
  const ByteVector once = Contents();
  store.Close();
  EXPECT_EQ(Contents(), once);
}

// A thread of its own asks for the lock, because the thread that holds it would get it again.
class IsfStoreLockTest : public IsfStoreLayoutTest {
 protected:
  void ObserveLock(cFailingFile& file) {
    file.duringWrites = [this] {
      std::thread([this] {
        const std::unique_lock attempt(store.storeLock, std::try_to_lock);
        if (attempt.owns_lock()) {
          wasFree = true;
        }
      }).join();
      ++observed;
    };
  }

  std::atomic<bool> wasFree = false;
  std::uint32_t observed = 0;
};

TEST_F(IsfStoreLockTest, AttachWritesUnderTheLock) {
  auto second = Create("second.isf");
  cFailingFile& file = Intercept(*second);
  ObserveLock(file);
  store.Attach(std::move(second));
  EXPECT_EQ(observed, 1U);
  EXPECT_FALSE(wasFree);
}

TEST_F(IsfStoreLockTest, CloseWritesUnderTheLock) {
  AddNumbered(1);
  cFailingFile& file = Intercept(*stream);
  ObserveLock(file);
  store.Close();
  EXPECT_EQ(observed, 2U);
  EXPECT_FALSE(wasFree);
}

TEST_F(IsfStoreLockTest, TheLockIsFreeAfterAttachAndClose) {
  store.Close();
  bool isFree = false;
  std::thread([&] {
    const std::unique_lock attempt(store.storeLock, std::try_to_lock);
    isFree = attempt.owns_lock();
  }).join();
  EXPECT_TRUE(isFree);
}

}  // namespace
}  // namespace corvane
