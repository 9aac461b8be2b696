// Recovery from captures from which bytes were removed, or into which some were put.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "rewrite/real_capture.h"
#include "rewrite/recovered_items.h"

namespace corvane {
namespace {

[[nodiscard]] std::vector<sBuiltItem> ManyLogs(std::uint32_t count) {
  std::vector<sBuiltItem> items;
  for (std::uint32_t number = 0; number < count; ++number) {
    const std::uint64_t time = kNoon + number;
    ByteVector payload(12, 0x50);
    Put(payload, 0, number, 4);
    items.push_back({5, time, LogPacket(0xB0C1, time, payload), {}});
  }
  return items;
}

// A dialogue whose packets do not tell their lengths.
[[nodiscard]] std::vector<sBuiltItem> Dialogue(std::uint32_t count) {
  std::vector<sBuiltItem> items = {{7, kNoon, TextItem("Corvane version 1.0"), {}}};
  for (std::uint32_t number = 1; number < count; ++number) {
    const std::uint64_t time = kNoon + 7 * number;
    const bool isRequest = number % 2 == 1;
    const bool isSubsystem = number % 5 < 2;
    ByteVector packet = isSubsystem ? Hex("4B 12 00 00") : Hex("73 00 00 00");
    Append(packet, number, 4);
    packet.resize(packet.size() + number % 23, 0x33);
    const std::uint32_t type = isSubsystem ? (isRequest ? 10 : 9) : (isRequest ? 2 : 1);
    items.push_back({type, time, packet, {}});
  }
  return items;
}

class DisplacedRecordsTest : public ::testing::Test {
 protected:
  void Remove(std::size_t from, std::size_t count) {
    const auto begin = file.begin() + static_cast<std::ptrdiff_t>(from);
    file.erase(begin, begin + static_cast<std::ptrdiff_t>(count));
  }
  void Insert(std::size_t at, std::size_t count) {
    ByteVector bytes(count);
    std::generate(bytes.begin(), bytes.end(),
                  [this] { return static_cast<std::uint8_t>(random() % 256); });
    file.insert(file.begin() + static_cast<std::ptrdiff_t>(at), bytes.begin(), bytes.end());
  }

  // Not more than `most` items are missing, and that some are is told.
  void ExpectMissing(const std::vector<sBuiltItem>& items, std::size_t least, std::size_t most) {
    const sOutcome outcome = Recover(file);
    const std::size_t missing = Missing(outcome.items, items);
    EXPECT_GE(missing, least);
    EXPECT_LE(missing, most);
    EXPECT_TRUE(missing == 0 || outcome.report.losses.Count() != 0);
    EXPECT_THAT(TextsOf(outcome.report.mended),
                ::testing::Contains(::testing::HasSubstr("bytes were removed or put in")));
  }

  std::mt19937 random{20'002};
  ByteVector file;
};

constexpr std::size_t kRecords = 57'364;

TEST_F(DisplacedRecordsTest, BytesOfTheFirstBlockMoveItsRecordsAndTheNextBlock) {
  for (const auto& items : {ManyLogs(3 * 8192), ManyRealItems(2 * 8192 + 300)}) {
    for (const std::size_t count : {1U, 7U, 100U, 4096U}) {
      SCOPED_TRACE(std::to_string(count) + " bytes");
      file = BuildItems(items).Closed();
      Remove(kRecords + 100'003, count);
      ExpectMissing(items, 1, 10 + count / 10);
      file = BuildItems(items).Closed();
      Insert(kRecords + 100'003, count);
      ExpectMissing(items, 1, 10);
    }
  }
}

TEST_F(DisplacedRecordsTest, TwoMovesInOneBlockAreFoundEach) {
  const auto items = ManyRealItems(2 * 8192);
  for (const std::size_t put : {37U, 100U, 500U}) {
    SCOPED_TRACE(std::to_string(put) + " bytes put in");
    file = BuildItems(items).Unclosed();
    Insert(kRecords + 150'000, put);
    Remove(kRecords + 50'000, 100);
    ExpectMissing(items, 2, 25);
  }
}

TEST_F(DisplacedRecordsTest, TheLastBlockIsMendedToo) {
  const auto items = ManyRealItems(3000);
  for (const bool isClosed : {true, false}) {
    file = isClosed ? BuildItems(items).Closed() : BuildItems(items).Unclosed();
    Remove(kRecords + 30'000, 61);
    ExpectMissing(items, 1, 12);
  }
}

TEST_F(DisplacedRecordsTest, AByteOfADirectoryCostsTwoItemsAtMost) {
  const auto items = ManyRealItems(40);
  std::vector<std::size_t> places;
  for (std::size_t place = 4; place < 57'348; place += place < 4 + 7 * 42 ? 1 : 1901) {
    places.push_back(place);
  }
  places.insert(places.end(), {57'348, 57'351, 57'355});  // of the link
  for (const ByteVector& whole : {BuildItems(items).Closed(), BuildItems(items).Unclosed()}) {
    for (const std::size_t place : places) {
      SCOPED_TRACE(std::to_string(place) + " of " + std::to_string(whole.size()));
      file = whole;
      Remove(place, 1);
      EXPECT_LE(Missing(Recover(file).items, items), 2U);
      file = whole;
      Insert(place, 1);
      EXPECT_LE(Missing(Recover(file).items, items), 2U);
    }
  }
}

// The byte with an item's type stands there twice: the second one begins the entry, which is whole.
TEST_F(DisplacedRecordsTest, ABytePutInBeforeAnEntryCostsNoItem) {
  const auto items = Dialogue(24);
  const ByteVector whole = BuildItems(items).Unclosed();
  for (std::size_t place = 4; place < 4 + 7 * 23; place += 7) {
    file = whole;
    file.insert(file.begin() + static_cast<std::ptrdiff_t>(place), file[place]);
    EXPECT_EQ(Missing(Recover(file).items, items), 0U) << place;
  }
}

TEST_F(DisplacedRecordsTest, MoreBytesOfADirectoryCostTheirEntries) {
  const auto items = ManyRealItems(300);
  file = BuildItems(items).Unclosed();
  Remove(4 + 7 * 100 + 3, 4);
  EXPECT_LE(Missing(Recover(file).items, items), 3U);
  file = BuildItems(items).Unclosed();
  Insert(4 + 7 * 100 + 3, 64);
  const sOutcome outcome = Recover(file);
  EXPECT_LE(Missing(outcome.items, items), 3U);
  EXPECT_THAT(TextsOf(outcome.report.mended),
              ::testing::Contains(::testing::HasSubstr("bytes were removed from the block's")));
}

TEST_F(DisplacedRecordsTest, ADirectoryThatLostAByteMovesTheBlocksBehindIt) {
  const auto items = ManyLogs(2 * 8192 + 5);
  for (const bool isClosed : {true, false}) {
    file = isClosed ? BuildItems(items).Closed() : BuildItems(items).Unclosed();
    Remove(4 + 7 * 500 + 3, 1);
    EXPECT_LE(Missing(Recover(file).items, items), 2U);
    file = isClosed ? BuildItems(items).Closed() : BuildItems(items).Unclosed();
    Remove(57'364 + 8192 * 29 + 7 * 500 + 3, 1);  // of the second block
    EXPECT_LE(Missing(Recover(file).items, items), 3U);
  }
}

TEST_F(DisplacedRecordsTest, ATimeThatMayBeWrongIsToldAsALoss) {
  const auto items = ManyRealItems(40);
  file = BuildItems(items).Unclosed();
  Remove(57'356, 1);  // the lowest byte of the base time
  EXPECT_THAT(TextsOf(Recover(file).report.losses),
              ::testing::Contains(::testing::HasSubstr("its base time may be wrong")));
}

TEST_F(DisplacedRecordsTest, WhatIsFoundNowhereIsLost) {
  // More than is looked at is put in, and what was in its place is no record.
  const auto items = ManyLogs(8192 + 5);
  file = BuildItems(items).Unclosed();
  Insert(kRecords + 100'003, 1'500'000);
  const sOutcome outcome = Recover(file);
  EXPECT_GT(outcome.report.losses.Count(), 0U);
  std::size_t made = 0;
  for (const sBuiltItem& item : outcome.items) {
    made += item.time < kNoon + items.size() && AreSame(item, items[item.time - kNoon]) ? 0U : 1U;
  }
  // That into which they were put, whose head is whole.
  EXPECT_LE(made, 1U);
  EXPECT_GT(outcome.items.size(), 3000U);
}

TEST_F(DisplacedRecordsTest, OddPacketsInOrderAreKept) {
  // A recorder that types otherwise: its items are not taken for overwritten ones.
  auto items = ManyLogs(200);
  for (std::size_t number = 100; number < 120; ++number) {
    items[number].type = 6;
    items[number].packet.front() = 0x1D;
  }
  file = BuildItems(items).Unclosed();
  const sOutcome outcome = Recover(file);
  EXPECT_EQ(Missing(outcome.items, items), 0U);
  EXPECT_EQ(outcome.report.unfit.count, 20U);
}

TEST_F(DisplacedRecordsTest, RequestsAndRepliesInTheirPlacesStay) {
  auto items = Dialogue(400);
  const auto logs = ManyLogs(60);
  items.insert(items.end(), logs.begin(), logs.end());
  for (std::size_t number = 400; number < items.size(); ++number) {
    items[number].time += 5000;
  }
  for (const bool isClosed : {true, false}) {
    for (const std::size_t count : {1U, 16U}) {
      SCOPED_TRACE(std::to_string(count) + (isClosed ? " bytes, closed" : " bytes"));
      file = isClosed ? BuildItems(items).Closed() : BuildItems(items).Unclosed();
      Insert(kRecords + 4'000, count);
      ExpectMissing(items, 1, 5);
      file = isClosed ? BuildItems(items).Closed() : BuildItems(items).Unclosed();
      Remove(kRecords + 4'000, count);
      ExpectMissing(items, 1, 5);
    }
  }
}

// How many items are none of those that there were.
[[nodiscard]] std::size_t MadeUp(const std::vector<sBuiltItem>& some,
                                 const std::vector<sBuiltItem>& all) {
  return static_cast<std::size_t>(
      std::count_if(some.begin(), some.end(), [&all](const sBuiltItem& item) {
        return std::none_of(all.begin(), all.end(),
                            [&item](const sBuiltItem& other) { return AreSame(item, other); });
      }));
}

TEST_F(DisplacedRecordsTest, FewRecordsThatTellNoLengthBecomeNoOthers) {
  const auto items = Dialogue(24);
  for (const bool isClosed : {true, false}) {
    const ByteVector whole = isClosed ? BuildItems(items).Closed() : BuildItems(items).Unclosed();
    for (std::size_t place = kRecords + 60; place + 20 < whole.size(); place += 5) {
      for (const std::size_t count : {1U, 3U}) {
        SCOPED_TRACE(std::to_string(count) + " at " + std::to_string(place) +
                     (isClosed ? ", closed" : ""));
        file = whole;
        Insert(place, count);
        // That into which they were put may look whole, and at the end so may two behind it.
        EXPECT_LE(MadeUp(Recover(file).items, items), 3U);
        file = whole;
        Remove(place, count);
        EXPECT_LE(MadeUp(Recover(file).items, items), 3U);
      }
    }
  }
}

// Blocks of which much was removed, or into which much was put.
class RealignedCaptureTest : public DisplacedRecordsTest {
 protected:
  RealignedCaptureTest() : items(ManyLogs(3 * 8192 + 40)) {
    const sOpened opened = OpenBytes(BuildItems(items).Closed());
    for (const sCaptureBlock& block : opened.file->Blocks()) {
      blocks.push_back(static_cast<std::size_t>(block.offset));
    }
  }

  // As many items are kept and told lost as there were, and no more lost than must be.
  void ExpectCounted(std::size_t most) {
    const sOutcome outcome = Recover(file);
    const std::size_t missing = Missing(outcome.items, items);
    EXPECT_LE(missing, most);
    EXPECT_EQ(outcome.report.lostItems, missing);
    EXPECT_EQ(outcome.report.unfinishedBytes, 0U);
  }
  void Restore(bool isClosed) {
    file = isClosed ? BuildItems(items).Closed() : BuildItems(items).Unclosed();
  }

  const std::vector<sBuiltItem> items;
  std::vector<std::size_t> blocks;
};

TEST_F(RealignedCaptureTest, BytesPutIntoADirectoryCostNoTimes) {
  for (const bool isClosed : {true, false}) {
    for (const std::size_t count : {4096U, 65'536U}) {
      SCOPED_TRACE(std::to_string(count) + (isClosed ? " bytes, closed" : " bytes"));
      Restore(isClosed);
      file.insert(file.begin() + static_cast<std::ptrdiff_t>(blocks[1] + 20'003), count, 0);
      ExpectCounted(3);
    }
  }
}

TEST_F(RealignedCaptureTest, RandomBytesPutBetweenRecordsBecomeNoItems) {
  for (const bool isClosed : {true, false}) {
    SCOPED_TRACE(isClosed ? "closed" : "unclosed");
    Restore(isClosed);
    Insert(blocks[1] + 100'003, 65'536);
    ExpectCounted(3);
  }
}

TEST_F(RealignedCaptureTest, TheBlockBehindRemovedBytesIsKept) {
  // From its records, its directory, the end of that, and the end of its records on. Without an
  // index nothing tells where a block was whose end is gone.
  for (const auto& [place, isClosed] :
       {std::pair(blocks[1] + 100'003, true), std::pair(blocks[1] + 100'003, false),
        std::pair(blocks[1] + 20'003, true), std::pair(blocks[1] + 20'003, false),
        std::pair(blocks[1] + 57'300, true), std::pair(blocks[2] - 20'003, true),
        std::pair(blocks[2] - 20'003, false)}) {
    SCOPED_TRACE(std::to_string(place) + (isClosed ? ", closed" : ""));
    Restore(isClosed);
    Remove(place, 30'001);
    const sOutcome outcome = Recover(file);
    const std::size_t missing = Missing(outcome.items, items);
    // A directory entry has 7 bytes, and a record 30.
    EXPECT_LE(missing, 30'001U / 7 + 30'001U / 30 + 6);
    EXPECT_EQ(outcome.report.lostItems, missing);
    EXPECT_EQ(outcome.items.back().time, items.back().time);
    EXPECT_EQ(outcome.report.unfinishedBytes, 0U);
  }
}

TEST_F(RealignedCaptureTest, AWrongLinkMovesNothing) {
  Restore(false);
  Put(file, blocks[0] + 57'344, blocks[1] + 1234, 8);
  EXPECT_EQ(Missing(Recover(file).items, items), 0U);
}

TEST_F(RealignedCaptureTest, AnIndexThatLeadsBeyondAnyFileMovesNothing) {
  Restore(true);
  const std::size_t second = file.size() - 16 - 3 * 16;
  for (const std::uint64_t offset :
       {std::uint64_t{1} << 32, std::uint64_t{1} << 63, UINT64_MAX - 57'360, UINT64_MAX}) {
    Restore(true);
    file = With(file, second, offset, 8);
    EXPECT_EQ(Missing(Recover(file).items, items), 0U) << offset;
  }
}

TEST_F(RealignedCaptureTest, AnIndexOfFarMoreThanIsThereMovesNothing) {
  // 26 GB, and the end of the last block is there.
  const std::vector<sBuiltItem> few(items.begin(), items.begin() + 40);
  file = BuildItems(few).Unclosed();
  Append(file, 0, 8);
  Append(file, kNoon + 1, 8);
  for (std::uint64_t block = 0; block < 200; ++block) {
    Append(file, 4 + 130'000'000 * block, 8);
    Append(file, kNoon + (block != 0 ? 1 : 0), 8);
  }
  Append(file, 0, 8);
  Append(file, 200 * 8192, 4);
  Append(file, 0xAB60'3107, 4);
  const sOutcome outcome = Recover(file);
  EXPECT_EQ(Missing(outcome.items, few), 0U);
  EXPECT_EQ(outcome.report.unfinishedBytes, 16U + 201U * 16U);
}

TEST_F(RealignedCaptureTest, ACaptureBehindALoneHeaderIsFound) {
  for (const bool isClosed : {true, false}) {
    Restore(isClosed);
    file.insert(file.begin(), file.begin(), file.begin() + 4);
    const sOutcome outcome = Recover(file);
    EXPECT_EQ(Missing(outcome.items, items), 0U);
    EXPECT_THAT(outcome.report.moreCaptures, ::testing::ElementsAre(4U));
  }
}

}  // namespace
}  // namespace corvane
