#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "reader/capture_builder.h"
#include "reader/capture_file.h"

namespace corvane {
namespace {

using ::testing::ElementsAre;

constexpr std::uint32_t kItems = 20'000;

[[nodiscard]] const ByteVector& LongCapture() {
  static const ByteVector file = BuildNumbered(kItems).Closed();
  return file;
}

// File positions of the blocks of LongCapture.
[[nodiscard]] const std::vector<std::size_t>& BlockOffsets() {
  static const std::vector<std::size_t> offsets = [] {
    std::vector<std::size_t> found;
    const sOpened opened = OpenBytes(LongCapture());
    for (const sCaptureBlock& block : opened.file->Blocks()) {
      found.push_back(static_cast<std::size_t>(block.offset));
    }
    return found;
  }();
  return offsets;
}

[[nodiscard]] std::size_t EntryOffset(std::uint32_t item) {
  return BlockOffsets().at(item / 8192) + 7 * (item % 8192);
}

// The numbers of the items that are there. Each must be as it was written, but for `damaged`.
[[nodiscard]] std::uint32_t CountGood(cCaptureFile& file, std::uint32_t damaged = UINT32_MAX) {
  std::uint32_t count = 0;
  sCaptureItem item;
  std::uint64_t end = 0;
  for (auto number = file.NextItem(0); number; number = file.NextItem(*number + 1)) {
    EXPECT_EQ(file.ReadItem(*number, item), std::nullopt);
    EXPECT_GE(item.offset, end);
    end = item.offset + item.bytes.size();
    ++count;
    if (*number == damaged) {
      continue;
    }
    const sBuiltItem expected = NumberedItem(static_cast<std::uint32_t>(*number));
    EXPECT_EQ(item.bytes, expected.packet) << *number;
    EXPECT_EQ(item.time, expected.time) << *number;
    EXPECT_EQ(item.type, expected.type) << *number;
    EXPECT_EQ(item.extra, expected.extra) << *number;
  }
  EXPECT_EQ(count, file.ItemCount());
  return count;
}

TEST(PassingOverTest, ABitFlipInAnEntryHidesNoOtherItem) {
  std::mt19937 random(20'240'517);
  std::vector<std::uint32_t> shown;
  for (int flip = 0; flip < 60; ++flip) {
    const auto item = static_cast<std::uint32_t>(random() % kItems);
    const auto bit = static_cast<std::size_t>(random() % 56);
    SCOPED_TRACE("item " + std::to_string(item) + ", bit " + std::to_string(bit));
    ByteVector file = LongCapture();
    std::uint8_t& byte = file[EntryOffset(item) + bit / 8];
    byte = static_cast<std::uint8_t>(byte ^ 1U << bit % 8);
    const sOpened opened = OpenBytes(std::move(file));
    ASSERT_NE(opened.file, nullptr);
    // A type can become another type that items have.
    if (bit > 4) {
      EXPECT_EQ(opened.file->State(), eCaptureState::Damaged);
    }
    shown.push_back(CountGood(*opened.file, item));
    EXPECT_GE(shown.back(), kItems - 1);
    EXPECT_EQ(opened.file->PassedOver(), kItems - shown.back());
    EXPECT_EQ(opened.file->NumbersEnd(), kItems);
  }
  std::nth_element(shown.begin(), shown.begin() + 30, shown.end());
  EXPECT_GE(shown[30], kItems - 1);
  RecordProperty("median_shown", static_cast<int>(shown[30]));
}

TEST(PassingOverTest, ABitFlipAnywhereInAFileHidesAtMostOneItem) {
  std::mt19937 random(7);
  for (int flip = 0; flip < 40; ++flip) {
    ByteVector file = LongCapture();
    const std::size_t place = 4 + random() % (file.size() - 4);
    file[place] = static_cast<std::uint8_t>(file[place] ^ 1U << random() % 8);
    const sOpened opened = OpenBytes(std::move(file));
    ASSERT_NE(opened.file, nullptr);
    EXPECT_GE(opened.file->ItemCount(), kItems - 1) << place;
    EXPECT_EQ(opened.file->NumbersEnd(), kItems) << place;
  }
}

TEST(PassingOverTest, WhatWasPassedOverIsSaidWithPlaceAndCount) {
  ByteVector file = LongCapture();
  for (std::uint32_t item = 10'000; item < 10'003; ++item) {
    Put(file, EntryOffset(item), 0xFFFFFFFFFFFFFFFF, 7);
  }
  const sOpened opened = OpenBytes(file);
  ASSERT_NE(opened.file, nullptr);
  EXPECT_THAT(TextsOf(opened.file->AllDamage()),
              ElementsAre("directory entry 1808 of the block at offset " +
                          std::to_string(BlockOffsets()[1]) +
                          " points past the end of the file (3 entries passed over), at offset " +
                          std::to_string(EntryOffset(10'000))));
  EXPECT_EQ(CountGood(*opened.file), kItems - 3);
  EXPECT_EQ(opened.file->PassedOver(), 3U);
  EXPECT_EQ(opened.file->NextItem(10'000), 10'003U);
  std::uint64_t number = 10'000;
  EXPECT_TRUE(opened.file->MoveToItem(number));
  EXPECT_EQ(number, 10'003U);
  number = kItems;
  EXPECT_FALSE(opened.file->MoveToItem(number));
  EXPECT_EQ(number, kItems);
  sCaptureItem item;
  EXPECT_EQ(opened.file->ReadItem(10'001, item)->message, "item 10001 was passed over");
}

TEST(PassingOverTest, AStretchOfZerosInADirectoryHidesOnlyItself) {
  ByteVector file = LongCapture();
  std::fill_n(file.begin() + static_cast<std::ptrdiff_t>(EntryOffset(9000)), 512, std::uint8_t{0});
  const sOpened opened = OpenBytes(std::move(file));
  ASSERT_NE(opened.file, nullptr);
  // 512 bytes are 73 entries and one byte of the next.
  EXPECT_GE(CountGood(*opened.file), kItems - 75);
  EXPECT_EQ(opened.file->State(), eCaptureState::Damaged);
}

TEST(PassingOverTest, AWrongLinkHidesNoBlock) {
  for (const std::uint64_t link :
       {std::uint64_t{0}, std::uint64_t{4}, std::uint64_t{100'000},
        std::uint64_t{BlockOffsets()[1] + 1}, std::uint64_t{BlockOffsets()[2]}, UINT64_MAX}) {
    const sOpened opened = OpenBytes(With(LongCapture(), 4 + 57344, link, 8));
    ASSERT_NE(opened.file, nullptr);
    EXPECT_EQ(CountGood(*opened.file), kItems) << link;
    EXPECT_EQ(opened.file->AllDamage().Count(), 1U) << link;
  }
}

TEST(PassingOverTest, AWrongLinkOfAnUnclosedFileHidesNoBlock) {
  const ByteVector file = BuildNumbered(kItems).Unclosed();
  for (const std::uint64_t link : {std::uint64_t{0}, std::uint64_t{100'000}, UINT64_MAX}) {
    const sOpened opened = OpenBytes(With(file, 4 + 57344, link, 8));
    ASSERT_NE(opened.file, nullptr);
    EXPECT_EQ(CountGood(*opened.file), kItems) << link;
    EXPECT_EQ(opened.file->State(), eCaptureState::Damaged) << link;
  }
}

TEST(PassingOverTest, ABlockWhoseDirectoryIsLostHidesOnlyItsOwnItems) {
  ByteVector file = LongCapture();
  std::fill_n(file.begin() + static_cast<std::ptrdiff_t>(BlockOffsets()[1]), 57'360,
              std::uint8_t{0xA5});
  const sOpened opened = OpenBytes(std::move(file));
  ASSERT_NE(opened.file, nullptr);
  EXPECT_EQ(CountGood(*opened.file), kItems - 8192);
  EXPECT_EQ(opened.file->PassedOver(), 8192U);
}

TEST(PassingOverTest, ABlockThatNothingLeadsToIsSkippedByTheIndex) {
  // The link to block 1, its entry in the index, and the last record before it are all wrong.
  ByteVector file = LongCapture();
  Put(file, 4 + 57344, 5, 8);
  Put(file, file.size() - 16 - 2 * 16, 6, 8);
  Put(file, EntryOffset(8191), 0xFFFFFFFFFFFFFFFF, 7);
  const sOpened opened = OpenBytes(std::move(file));
  ASSERT_NE(opened.file, nullptr);
  EXPECT_EQ(CountGood(*opened.file), kItems - 1 - 8192);
  EXPECT_EQ(opened.file->PassedOver(), 8193U);
  EXPECT_EQ(opened.file->NextItem(8191), 16'384U);
  sCaptureItem item;
  EXPECT_EQ(opened.file->ReadItem(10'000, item)->message,
            "item 10000 was passed over with its block");
}

TEST(PassingOverTest, ABaseTimeThatIsWrongIsTakenFromTheBlockIndex) {
  for (const std::size_t block : BlockOffsets()) {
    // The bits that make a time later than any clock can be.
    for (std::size_t bit = 51; bit < 64; ++bit) {
      SCOPED_TRACE("block at " + std::to_string(block) + ", bit " + std::to_string(bit));
      ByteVector file = LongCapture();
      std::uint8_t& byte = file[block + 57352 + bit / 8];
      byte = static_cast<std::uint8_t>(byte ^ 1U << bit % 8);
      const sOpened opened = OpenBytes(std::move(file));
      ASSERT_NE(opened.file, nullptr);
      EXPECT_EQ(CountGood(*opened.file), kItems);
      EXPECT_EQ(opened.file->PassedOver(), 0U);
      EXPECT_THAT(TextsOf(opened.file->AllDamage()),
                  ElementsAre("the base time of the block at offset " + std::to_string(block) +
                              " is later than any clock can be (that of the block index is taken)"
                              ", at offset " +
                              std::to_string(block + 57352)));
    }
  }
}

TEST(PassingOverTest, ABaseTimeThatIsWrongTwiceCostsItsOwnBlockAlone) {
  for (std::size_t number = 0; number < BlockOffsets().size(); ++number) {
    ByteVector file = LongCapture();
    Put(file, BlockOffsets()[number] + 57352, UINT64_MAX, 8);
    Put(file, file.size() - 16 - 3 * 16 + number * 16 + 8, 1'844'674'407'370'956, 8);
    const sOpened opened = OpenBytes(std::move(file));
    ASSERT_NE(opened.file, nullptr);
    const std::uint32_t lost = number == 2 ? kItems - 2 * 8192 : 8192;
    EXPECT_EQ(CountGood(*opened.file), kItems - lost) << number;
    EXPECT_EQ(opened.file->PassedOver(), lost) << number;
  }
}

TEST(PassingOverTest, ABaseTimeOfAnUnclosedFileHidesNoOtherBlock) {
  // Behind the bad entry, only the heads of the records vouch for the later ones, and only they
  // lead to the next block: nothing links to it.
  ByteVector file = BuildNumbered(kItems).Unclosed();
  Put(file, 4 + 57344, 0, 8);
  Put(file, 4 + 57352, UINT64_MAX, 8);
  Put(file, EntryOffset(5000) + 1, 3, 4);
  const sOpened opened = OpenBytes(std::move(file));
  ASSERT_NE(opened.file, nullptr);
  EXPECT_EQ(CountGood(*opened.file), kItems - 8192);
  EXPECT_EQ(opened.file->PassedOver(), 8192U);
}

TEST(PassingOverTest, AnUnclosedFileGoesOnBehindABadEntryToo) {
  ByteVector file = BuildNumbered(kItems).Unclosed();
  Put(file, EntryOffset(5000) + 1, 3, 4);
  const sOpened opened = OpenBytes(std::move(file));
  ASSERT_NE(opened.file, nullptr);
  EXPECT_EQ(CountGood(*opened.file), kItems - 1);
  EXPECT_EQ(opened.file->State(), eCaptureState::Damaged);
}

// A source that counts what is asked of it.
class cCountingSource final : public cByteSource {
 public:
  cCountingSource(ByteVector file, std::uint64_t& bytesAsked)
      : memory(std::make_shared<const ByteVector>(std::move(file))), asked(bytesAsked) {}

  [[nodiscard]] std::optional<std::uint64_t> Size() override { return memory.Size(); }
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
    const std::size_t count = memory.ReadAt(offset, bytes);
    asked += count;
    return count;
  }

 private:
  cMemorySource memory;
  std::uint64_t& asked;
};

TEST(PassingOverTest, HostileDirectoriesCostNoMoreThanTheirSize) {
  // Blocks right behind each other, whose entries contradict each other in every way.
  std::mt19937 random(3);
  ByteVector file = cCaptureBuilder().Unclosed();
  for (int block = 0; block < 20; ++block) {
    const std::size_t start = file.size();
    for (int entry = 0; entry < 8192; ++entry) {
      Append(file, random() % 256, 1);
      Append(file, random() % 3 == 0 ? random() : random() % 70'000, 4);
      Append(file, random() % 9, 2);
    }
    Append(file, start + 57'360, 8);
    Append(file, kNoon, 8);
  }
  file.resize(file.size() + 57'360);
  const std::size_t size = file.size();
  std::uint64_t asked = 0;
  sCaptureError error;
  const auto opened =
      cCaptureFile::Open(std::make_unique<cCountingSource>(std::move(file), asked), error);
  ASSERT_NE(opened, nullptr);
  EXPECT_EQ(opened->State(), eCaptureState::Damaged);
  EXPECT_LT(asked, 40 * size);
}

}  // namespace
}  // namespace corvane
