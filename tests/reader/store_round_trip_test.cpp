#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <mutex>
#include <set>
#include <thread>

#include "capture/failing_file.h"
#include "capture/isf/store.h"
#include "platform/error_codes.h"
#include "reader/capture_builder.h"
#include "reader/capture_file.h"
#include "support/controllable_clock.h"
#include "support/temp_directory.h"

namespace corvane {
namespace {

using ::testing::ElementsAre;

// The store and the reader, back to back. What the store writes in one go is read back by its own
// tests.
class StoreRoundTripTest : public ::testing::Test {
 protected:
  StoreRoundTripTest() {
    SetFileTime(kClockStart);
    auto opened = std::make_unique<std::ofstream>(path, std::ios::binary | std::ios::trunc);
    stream = opened.get();
    store.Attach(std::move(opened));
  }

  std::uint32_t Add(const ByteVector& packet, std::uint32_t origin = kOriginDevice,
                    std::uint32_t type = kAutomaticType) {
    const cBufferReference item(std::make_unique<sSharedBuffer>(
        packet.data(), static_cast<std::int32_t>(packet.size()), origin));
    const std::lock_guard guard(store.storeLock);
    return store.AddItem(&*item, type);
  }

  // A packet of the device that is recorded as it is, with type 1.
  [[nodiscard]] static ByteVector PlainPacket(std::uint32_t number) {
    ByteVector packet = NumberedPacket(number);
    packet[0] = 0x29;
    return packet;
  }

  // Closes a file of `items` items, whose next item is refused when the `nth` seek fails, and the
  // two after it.
  void CloseWithEmptyBlocks(std::uint32_t items, std::uint32_t nth) {
    for (std::uint32_t number = 0; number < items; ++number) {
      ASSERT_EQ(Add(PlainPacket(number)), 0U);
    }
    cFailingFile failing(*stream);
    failing.FailHandOver(nth);
    for (std::uint32_t refused = 0; refused < 3; ++refused) {
      EXPECT_EQ(Add(PlainPacket(items + refused)), kErrorInvalidBlock);
    }
    EXPECT_TRUE(failing.hasFailed);
    store.Close();
  }

  [[nodiscard]] std::unique_ptr<cCaptureFile> Open() const {
    sCaptureError error;
    auto file = cCaptureFile::Open(path, error);
    EXPECT_NE(file, nullptr) << error.Text();
    return file;
  }

  cTempDirectory folder;
  std::string path = folder.Path("drive.isf");
  std::ofstream* stream = nullptr;  // the store's, until it is closed
  cISFStore store{{.now = ControllableFileTime}};
};

TEST_F(StoreRoundTripTest, TypesAndExtraFieldsAreReadBack) {
  ByteVector featureQuery(28);
  featureQuery[0] = 0x63;
  featureQuery[27] = 12;
  ASSERT_EQ(Add(featureQuery, kOriginLibrary), 0U);
  ASSERT_EQ(Add(Hex("4B 09 00 00 56 34 12"), kOriginLibrary), 0U);
  ASSERT_EQ(Add(Hex("10 00 0C 00 0C 00 04 10 00 00 00 00 00 00 00 00")), 0U);
  ASSERT_EQ(Add(Hex("10 00 0C 00 0C 00 2F 41 00 00 00 00 00 00 00 00")), 0U);
  ASSERT_EQ(Add(TextItem("Port COM7 connected"), kOriginLibrary, 7), 0U);
  store.Close();
  const auto file = Open();
  ASSERT_EQ(file->ItemCount(), 5U);
  const std::uint32_t types[] = {2, 10, 8, 8, 7};
  const std::optional<std::uint32_t> extras[] = {{}, {}, 12, 0x123456, {}};
  sCaptureItem item;
  for (std::size_t number = 0; number < std::size(types); ++number) {
    ASSERT_EQ(file->ReadItem(number, item), std::nullopt);
    EXPECT_EQ(item.type, types[number]) << number;
    EXPECT_EQ(item.extra, extras[number]) << number;
  }
}

TEST_F(StoreRoundTripTest, WhateverTheClockDoesTheFileIsComplete) {
  // Forth over every bound of the time's width, back before the first item, and to both ends.
  constexpr std::int64_t kTimes[] = {0,     1,          254,           255,     256,        65534,
                                     65535, 4294967294, 4294967295LL,  -1,      -255,       -65535,
                                     3,     -9000000,   9000000000000, 5000000, 4294967296, 0};
  std::uint32_t number = 0;
  const auto addAtTimes = [&] {
    for (const std::int64_t time : kTimes) {
      SetClockFromStart(time);
      ASSERT_EQ(Add(PlainPacket(number++)), 0U);
    }
    for (const std::uint64_t fileTime : {std::uint64_t{0}, std::uint64_t{9999}, UINT64_MAX}) {
      SetFileTime(fileTime);
      ASSERT_EQ(Add(PlainPacket(number++)), 0U);
    }
  };
  addAtTimes();
  while (number < 8192 + 2000) {
    SetClockFromStart(-std::int64_t{number} * 7919 % 100'000);
    ASSERT_EQ(Add(PlainPacket(number++)), 0U);
  }
  addAtTimes();
  store.Close();
  const auto file = Open();
  EXPECT_EQ(file->Damage(), std::nullopt) << file->Damage()->Text();
  EXPECT_TRUE(file->IsComplete());
  EXPECT_EQ(file->ItemCount(), number);
}

TEST_F(StoreRoundTripTest, EveryTypeAndLengthTheStoreWritesIsComplete) {
  const std::vector<ByteVector> ofDevice = {Hex("10"),
                                            Hex("10 00 04 00 04 00 34 12"),
                                            Hex("29 00"),
                                            Hex("60 00 00"),
                                            Hex("79 00 00 00"),
                                            Hex("4B 25 08 00"),
                                            Hex("60 0B 00 01 20 01 02 03 04 05 06 07 08 AA"),
                                            Hex("10 00 0C 00 0C 00 34 12 00 00 00 00 00 00 00 00"),
                                            Hex("10 00 0C 00 0C 00 04 10 00 00 00 00 00 00 00 00"),
                                            Hex("10 00 0C 00 0C 00 2F 41 00 00 00 00 00 00 00 00")};
  const auto addAll = [&] {
    for (const ByteVector& packet : ofDevice) {
      ASSERT_EQ(Add(packet), 0U);
    }
  };
  addAll();
  ByteVector status(28);
  status[0] = 0x63;
  status[27] = 12;
  ASSERT_EQ(Add(status, kOriginLibrary), 0U);
  ASSERT_EQ(Add(Hex("4B 09 00 00 FF FF FF"), kOriginLibrary), 0U);
  ASSERT_EQ(Add(TextItem("Port COM7 connected"), kOriginLibrary, 7), 0U);
  addAll();
  ByteVector longest(16640);
  longest[0] = 0x29;
  ASSERT_EQ(Add(longest), 0U);
  ASSERT_EQ(Add(Hex("29")), 0U);
  store.Close();
  const auto file = Open();
  EXPECT_EQ(file->Damage(), std::nullopt) << file->Damage()->Text();
  EXPECT_TRUE(file->IsComplete());
  std::set<std::uint32_t> types;
  sCaptureItem item;
  for (auto number = file->NextItem(0); number; number = file->NextItem(*number + 1)) {
    ASSERT_EQ(file->ReadItem(*number, item), std::nullopt);
    types.insert(item.type);
  }
  EXPECT_EQ(types, (std::set<std::uint32_t>{0, 1, 2, 4, 5, 6, 7, 8, 9, 10}));
}

TEST_F(StoreRoundTripTest, AFileWithoutItemsIsComplete) {
  store.Close();
  EXPECT_TRUE(Open()->IsComplete());
}

// Where a file ends cannot be found out at the first item of a block: the block is in the index and
// has no items, and each later item is refused behind one more such block. The stream stays good,
// so that the file gets index and trailer: the closed files of the store that are damaged.
TEST_F(StoreRoundTripTest, AFirstBlockThatLostItsFirstItemIsDamage) {
  // For the file's end, before and behind the writing of the block, and for the file's end again.
  CloseWithEmptyBlocks(0, 1 + 2 + 1);
  const auto file = Open();
  EXPECT_THAT(
      TextsOf(file->AllDamage()),
      ElementsAre("the block at offset 4 names a next block although its directory is not full, at "
                  "offset 57348",
                  "114752 bytes before the block index belong to no record, at offset 57364",
                  "the last block has no items, at offset 4",
                  "block index entry 0 does not have its block's position, at offset 172116"));
  EXPECT_EQ(file->ItemCount(), 0U);
  EXPECT_EQ(file->PassedOver(), 0U);
}

TEST_F(StoreRoundTripTest, ALaterBlockThatLostItsFirstItemHidesNothing) {
  // The link to the block is written too.
  CloseWithEmptyBlocks(8192, 1 + 2 + 2 + 1);
  std::uint64_t block = 4 + 57360;
  for (std::uint32_t number = 0; number < 8192; ++number) {
    block += 1 + PlainPacket(number).size();
  }
  const auto file = Open();
  const std::string index = " does not have its block's position, at offset ";
  EXPECT_THAT(TextsOf(file->AllDamage()),
              ElementsAre("the block at offset " + std::to_string(block) +
                              " names a next block although its directory is not full, at offset " +
                              std::to_string(block + 57344),
                          "114752 bytes before the block index belong to no record, at offset " +
                              std::to_string(block + 57360),
                          "the last block has no items, at offset " + std::to_string(block),
                          "block index entry 0" + index + std::to_string(block + 3 * 57360 + 32),
                          "block index entry 1" + index + std::to_string(block + 3 * 57360 + 48)));
  ASSERT_EQ(file->ItemCount(), 8192U);
  EXPECT_EQ(file->PassedOver(), 0U);
  sCaptureItem item;
  for (std::uint32_t number = 0; number < 8192; ++number) {
    ASSERT_EQ(file->ReadItem(number, item), std::nullopt);
    EXPECT_EQ(item.bytes, PlainPacket(number));
  }
}

TEST_F(StoreRoundTripTest, AReaderAtWorkWhileTheStoreWritesSeesNoDamage) {
  constexpr std::uint32_t kItems = 20'000;
  std::atomic<bool> written = false;
  std::atomic<std::uint32_t> added = 0;
  std::thread writer([&] {
    for (std::uint32_t number = 0; number < kItems; ++number) {
      if (Add(PlainPacket(number)) == 0) {
        ++added;
      }
    }
    store.Close();
    written = true;
  });
  const auto file = Open();
  sCaptureItem item;
  for (bool last = false; !last && file != nullptr && !HasFailure();) {
    last = written;
    const std::uint32_t atLeast = added;
    file->Refresh();
    EXPECT_EQ(file->Damage(), std::nullopt);
    EXPECT_GE(file->ItemCount(), atLeast);
    if (file->ItemCount() == 0) {
      continue;
    }
    const auto newest = static_cast<std::uint32_t>(file->ItemCount() - 1);
    EXPECT_EQ(file->ReadItem(newest, item), std::nullopt);
    EXPECT_EQ(item.bytes, PlainPacket(newest));
  }
  writer.join();
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(file->IsComplete());
  EXPECT_EQ(file->ItemCount(), kItems);
}

}  // namespace
}  // namespace corvane
