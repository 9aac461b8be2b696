#include "reader/item_follower.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "reader/capture_builder.h"
#include "reader/capture_writes.h"
#include "support/temp_directory.h"

namespace corvane {
namespace {

// A capture file that the test writes, and its follower.
class ItemFollowerTest : public ::testing::Test {
 protected:
  ItemFollowerTest() { Rewrite({}); }

  // Makes the file these bytes, in place.
  void Rewrite(const ByteVector& bytes) {
    std::ignore = folder.Write("drive.isf", bytes);
    content = bytes;
  }

  // Writes into the file as its recorder does, without touching the rest.
  void Write(const sWrite& write, std::size_t from, std::size_t to) {
    WriteInto(content, write, from, to);
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(write.offset + from));
    file.write(reinterpret_cast<const char*>(write.bytes.data() + from),
               static_cast<std::streamsize>(to - from));
    ASSERT_TRUE(file.flush());
  }
  void Write(const sWrite& write) { Write(write, 0, write.bytes.size()); }

  // Looks at the file and takes what is given, which has to go on with the next item.
  eFollowing Take() {
    const eFollowing state = follower.Look();
    sCaptureItem item;
    while (follower.Next(item)) {
      EXPECT_EQ(item.number, taken.size());
      taken.push_back(item);
    }
    return state;
  }

  // Looks so often that no doubtful item is held back any more.
  eFollowing TakeAll() {
    for (int look = 0; look < 2 * cItemFollower::kMostHeldBack; ++look) {
      std::ignore = Take();
    }
    return Take();
  }

  [[nodiscard]] std::string Trouble() const {
    return follower.Trouble() ? follower.Trouble()->Text() : "";
  }

  const cTempDirectory folder;
  const std::string path = folder.Path("drive.isf");
  ByteVector content;
  cItemFollower follower{path};
  std::vector<sCaptureItem> taken;
};

TEST_F(ItemFollowerTest, EveryItemIsGivenOnceHoweverTheWritesAreTorn) {
  constexpr std::uint32_t kItems = 12;
  std::uint32_t entries = 0;
  eFollowing state = eFollowing::Going;
  for (const sWrite& write : WritesOf(kItems)) {
    // A block is written before there is anything to read: a few steps of it will do.
    const std::size_t step = write.bytes.size() > 1000 ? 9973 : 1;
    for (std::size_t from = 0; from < write.bytes.size(); from += step) {
      ASSERT_EQ(state, eFollowing::Going);
      Write(write, from, std::min(from + step, write.bytes.size()));
      state = Take();
      const bool isWhole = from + step >= write.bytes.size();
      ASSERT_GE(taken.size(), entries);
      ASSERT_LE(taken.size(), entries + (write.isEntry ? 1 : 0)) << "byte " << from;
      // The moment its entry is whole, an item is given.
      if (write.isEntry && isWhole) {
        ASSERT_EQ(taken.size(), ++entries);
      }
    }
  }
  EXPECT_EQ(state, eFollowing::Closed);
  ASSERT_EQ(taken.size(), kItems);
  for (std::uint32_t number = 0; number < kItems; ++number) {
    EXPECT_EQ(taken[number].bytes, NumberedPacket(number));
    EXPECT_EQ(taken[number].time, kNoon + number);
  }
}

TEST_F(ItemFollowerTest, ItGoesOnInTheNextBlock) {
  constexpr std::uint32_t kItems = 8194;
  std::size_t entries = 0;
  for (const sWrite& write : WritesOf(kItems)) {
    Write(write);
    entries += write.isEntry ? 1 : 0;
    if (entries % 1000 != 0 && entries < 8190) {
      continue;
    }
    std::ignore = Take();
    // Where the next block has begun behind it, the last item is proven again a write later.
    ASSERT_GE(taken.size() + 1, entries);
  }
  EXPECT_EQ(Take(), eFollowing::Closed);
  ASSERT_EQ(taken.size(), kItems);
  EXPECT_EQ(taken.back().bytes, NumberedPacket(kItems - 1));
}

TEST_F(ItemFollowerTest, AClosedFileIsGivenAtTheFirstLook) {
  Rewrite(SmallCapture().Closed());
  EXPECT_EQ(Take(), eFollowing::Closed);
  EXPECT_EQ(taken.size(), 3U);
  EXPECT_EQ(Take(), eFollowing::Closed);
  EXPECT_EQ(taken.size(), 3U);
}

TEST_F(ItemFollowerTest, HalfAnEntryThatLooksGoodIsNoItemYet) {
  // Without its last byte the entry seems to lead to a packet of 44 bytes.
  cCaptureBuilder builder;
  builder.Add({1, kNoon, {0x42}, {}}).Add({1, kNoon, ByteVector(300, 0x55), {}});
  ByteVector torn = builder.Unclosed();
  torn[4 + 7 + 6] = 0;
  Rewrite(torn);
  EXPECT_EQ(Take(), eFollowing::Going);
  EXPECT_EQ(taken.size(), 1U);
  Rewrite(builder.Unclosed());
  EXPECT_EQ(Take(), eFollowing::Going);
  ASSERT_EQ(taken.size(), 2U);
  EXPECT_EQ(taken[1].bytes, ByteVector(300, 0x55));
}

TEST_F(ItemFollowerTest, AnEntryTornToWrongBytesIsWaitedFor) {
  // Entry 1 without the bytes that tell its record's position and length.
  cCaptureBuilder builder;
  builder.Add({1, kNoon, {0x42}, {}}).Add({1, kNoon, {0x43, 0x44}, {}});
  ByteVector torn = builder.Unclosed();
  std::fill_n(torn.begin() + 4 + 7 + 1, 6, std::uint8_t{0});
  Rewrite(torn);
  EXPECT_EQ(Take(), eFollowing::Going);
  EXPECT_EQ(Take(), eFollowing::Going);
  EXPECT_LE(taken.size(), 1U);
  Rewrite(builder.Unclosed());
  EXPECT_EQ(Take(), eFollowing::Going);
  ASSERT_EQ(taken.size(), 2U);
  EXPECT_EQ(taken[1].bytes, (ByteVector{0x43, 0x44}));
}

TEST_F(ItemFollowerTest, OfADeadRecorderTheLastWholeItemIsGiven) {
  // Behind the last item stands the beginning of a record whose entry was never written.
  cCaptureBuilder builder = SmallCapture();
  Rewrite(builder.AddGap(5).Unclosed());
  EXPECT_EQ(Take(), eFollowing::Going);
  EXPECT_EQ(taken.size(), 2U);
  EXPECT_EQ(TakeAll(), eFollowing::Going);
  EXPECT_EQ(taken.size(), 3U);
}

TEST_F(ItemFollowerTest, ItemsBehindATornWriteAreGiven) {
  cCaptureBuilder builder = SmallCapture();
  builder.AddGap(5).Add({1, kNoon, {0x42}, {}});
  Rewrite(builder.Unclosed());
  EXPECT_EQ(TakeAll(), eFollowing::Going);
  EXPECT_EQ(taken.size(), 4U);
  // What was found odd once holds nothing up afterwards.
  builder.Add({1, kNoon, {0x43}, {}});
  Rewrite(builder.Unclosed());
  EXPECT_EQ(Take(), eFollowing::Going);
  EXPECT_EQ(taken.size(), 5U);
}

TEST_F(ItemFollowerTest, ADamagedFileEndsWithItsTrailerToo) {
  ByteVector bytes = SmallCapture().Closed();
  Put(bytes, bytes.size() - 8, 77, 4);  // the trailer's item count
  Rewrite(bytes);
  EXPECT_EQ(TakeAll(), eFollowing::Closed);
  EXPECT_EQ(taken.size(), 3U);
  EXPECT_EQ(follower.File()->State(), eCaptureState::Damaged);
}

TEST_F(ItemFollowerTest, BytesBehindTheTrailerDoNotKeepItGoing) {
  ByteVector bytes = SmallCapture().Closed();
  bytes.insert(bytes.end(), 100, 0x7E);
  Rewrite(bytes);
  EXPECT_EQ(TakeAll(), eFollowing::Closed);
  EXPECT_EQ(taken.size(), 3U);
  EXPECT_EQ(follower.File()->State(), eCaptureState::Damaged);
}

TEST_F(ItemFollowerTest, ARemovedFileIsWaitedFor) {
  Rewrite(SmallCapture().Unclosed());
  EXPECT_EQ(TakeAll(), eFollowing::Going);
  std::error_code refused;  // by Windows, as the file is open
  std::filesystem::remove(path, refused);
  EXPECT_EQ(TakeAll(), eFollowing::Going);
  EXPECT_EQ(taken.size(), 3U);
  EXPECT_EQ(Trouble(), "");
}

TEST_F(ItemFollowerTest, AFileWithoutItsHeaderIsWaitedFor) {
  const ByteVector bytes = SmallCapture().Closed();
  for (std::size_t length = 0; length < 4; ++length) {
    Rewrite(ByteVector(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)));
    EXPECT_EQ(Take(), eFollowing::Going) << length;
    EXPECT_EQ(follower.File(), nullptr);
  }
  Rewrite(bytes);
  EXPECT_EQ(Take(), eFollowing::Closed);
  EXPECT_EQ(taken.size(), 3U);
}

TEST_F(ItemFollowerTest, AMissingFileIsRefused) {
  std::filesystem::remove(path);
  EXPECT_EQ(Take(), eFollowing::Lost);
  EXPECT_EQ(Trouble(), "the file cannot be opened (No such file or directory)");
  EXPECT_EQ(Take(), eFollowing::Lost);
}

TEST_F(ItemFollowerTest, WhatIsNoCaptureFileIsRefused) {
  Rewrite({0x0A, 0x0D, 0x0D, 0x0A});
  EXPECT_EQ(Take(), eFollowing::Lost);
  EXPECT_EQ(Trouble(), "the file does not begin as a capture file does, at offset 0");
}

TEST_F(ItemFollowerTest, AFileThatBecomesShorterIsLost) {
  const ByteVector bytes = SmallCapture().Unclosed();
  for (const std::size_t length : {std::size_t{0}, std::size_t{4}, bytes.size() - 1}) {
    Rewrite(bytes);
    cItemFollower other(path);
    EXPECT_EQ(other.Look(), eFollowing::Going);
    Rewrite(ByteVector(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)));
    EXPECT_EQ(other.Look(), eFollowing::Lost);
    ASSERT_TRUE(other.Trouble().has_value());
    EXPECT_EQ(
        other.Trouble()->Text(),
        "the file has become shorter while it was followed, at offset " + std::to_string(length));
    sCaptureItem item;
    EXPECT_FALSE(other.Next(item));
  }
}

TEST_F(ItemFollowerTest, AnotherCaptureInTheSameFileIsNotMixedIn) {
  Rewrite(SmallCapture().Unclosed());
  EXPECT_EQ(Take(), eFollowing::Going);
  cCaptureBuilder other;
  for (int number = 0; number < 100; ++number) {
    other.Add({1, kNoon + 60'000, {0x42}, {}});
  }
  Rewrite(other.Unclosed());
  EXPECT_EQ(Take(), eFollowing::Lost);
  EXPECT_EQ(taken.size(), 3U);
  EXPECT_EQ(Trouble(), "another capture has taken the place of the one that was followed");
}

// Windows lets nobody rename a file that is open, or put another one in its place.
TEST_F(ItemFollowerTest, AnotherFileUnderThePathEndsTheFollowing) {
  Rewrite(SmallCapture().Unclosed());
  EXPECT_EQ(Take(), eFollowing::Going);
  cCaptureBuilder other;
  other.Add({1, kNoon + 60'000, {0x42}, {}});
  const std::string newer = folder.Write("newer.isf", other.Unclosed());
  std::error_code refused;
  std::filesystem::rename(newer, path, refused);
  EXPECT_EQ(Take(), refused ? eFollowing::Going : eFollowing::Lost);
  EXPECT_EQ(taken.size(), 3U);
}

TEST_F(ItemFollowerTest, ACaptureBegunUnderThePathEndsTheFollowing) {
  Rewrite(SmallCapture().Unclosed());
  EXPECT_EQ(Take(), eFollowing::Going);
  const std::string newer = folder.Write("newer.isf", cCaptureBuilder().Unclosed());
  std::error_code refused;
  std::filesystem::rename(newer, path, refused);
  EXPECT_EQ(Take(), refused ? eFollowing::Going : eFollowing::Lost);
  EXPECT_EQ(taken.size(), 3U);
}

TEST_F(ItemFollowerTest, EntriesThatLeadNowhereAtTheEndAreWaitedFor) {
  ByteVector bytes = SmallCapture().Closed();
  Put(bytes, 4 + 7 * 2 + 1, 0xFFFFFFFF, 4);  // where the last record stands
  Rewrite(bytes);
  EXPECT_EQ(TakeAll(), eFollowing::Closed);
  EXPECT_EQ(taken.size(), 2U);
}

TEST_F(ItemFollowerTest, AnItemThatCannotBeReadIsToldAndPassedOver) {
  cCaptureBuilder builder;
  builder.Add({1, kNoon, {0x42}, {}});
  for (int count = 0; count < 2; ++count) {
    builder.AddRaw(1 + 3 * 32, 1, Hex("FF FF FF FF FF FF FF FF 42"));  // a time of no clock
  }
  Rewrite(builder.Closed());
  EXPECT_EQ(TakeAll(), eFollowing::Closed);
  EXPECT_EQ(taken.size(), 1U);
  ASSERT_TRUE(follower.Unreadable().has_value());
  EXPECT_EQ(follower.Unreadable()->Text(),
            "the time of item 1 is later than any clock can be, at offset 57366");
}

TEST_F(ItemFollowerTest, ARenamedFileGoesOnBeingFollowed) {
  Rewrite(SmallCapture().Unclosed());
  EXPECT_EQ(Take(), eFollowing::Going);
  std::error_code refused;
  std::filesystem::rename(path, folder.Path("renamed.isf"), refused);
  EXPECT_EQ(Take(), eFollowing::Going);
  std::ignore = folder.Write(refused ? "drive.isf" : "renamed.isf", SmallCapture().Closed());
  EXPECT_EQ(Take(), eFollowing::Closed);
}

}  // namespace
}  // namespace corvane
