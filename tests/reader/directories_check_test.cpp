#include <gtest/gtest.h>

#include <algorithm>

#include "reader/capture_builder.h"
#include "reader/capture_file.h"

namespace corvane {
namespace {

constexpr std::size_t kRecords = 4 + 57360;  // where the records of the first block begin
constexpr std::size_t kSecondBlock = kRecords + 8192 * 2;

// How often each byte of a file was read.
using TimesRead = std::vector<std::uint8_t>;

// A file that notes which of its bytes are read.
class cWatchedSource final : public cByteSource {
 public:
  cWatchedSource(const ByteVector& bytes, TimesRead& readBytes)
      : memory(std::make_shared<const ByteVector>(bytes)), read(readBytes) {
    read.assign(bytes.size(), 0);
  }

  [[nodiscard]] std::optional<std::uint64_t> Size() override { return memory.Size(); }
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
    const std::size_t count = memory.ReadAt(offset, bytes);
    for (std::size_t place = 0; place < count; ++place) {
      ++read[static_cast<std::size_t>(offset) + place];
    }
    return count;
  }

 private:
  cMemorySource memory;
  TimesRead& read;
};

// How many of the bytes from `from` to `to` were read.
[[nodiscard]] std::size_t CountRead(const TimesRead& read, std::size_t from, std::size_t to) {
  std::size_t count = 0;
  for (std::size_t place = from; place < to; ++place) {
    count += read[place] != 0 ? 1U : 0U;
  }
  return count;
}

[[nodiscard]] std::unique_ptr<cCaptureFile> OpenQuickly(const ByteVector& bytes) {
  sCaptureError error;
  auto source = std::make_unique<cMemorySource>(std::make_shared<const ByteVector>(bytes));
  auto file = cCaptureFile::Open(std::move(source), error, eCheck::Directories);
  EXPECT_NE(file, nullptr) << error.Text();
  return file;
}

[[nodiscard]] std::string QuickErrorOf(const ByteVector& bytes) {
  const auto file = OpenQuickly(bytes);
  return file->Damage() ? file->Damage()->Text() : "";
}

TEST(DirectoriesCheckTest, NoRecordOfAGoodFileIsRead) {
  const ByteVector closed = TwoBlocks().Closed();
  for (const ByteVector& bytes : {closed, TwoBlocks().Unclosed()}) {
    TimesRead read;
    sCaptureError error;
    const auto file = cCaptureFile::Open(std::make_unique<cWatchedSource>(bytes, read), error,
                                         eCheck::Directories);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->ItemCount(), 8193U);
    EXPECT_EQ(file->TotalsByType()[1].items, 8193U);
    EXPECT_EQ(file->LastItem(), 8192U);
    EXPECT_EQ(CountRead(read, kRecords, kSecondBlock), 0U);
    EXPECT_EQ(CountRead(read, 4, kRecords), 57360U);
    EXPECT_EQ(file->IsComplete(), bytes == closed);
  }
}

TEST(DirectoriesCheckTest, EachDirectoryOfAGoodFileIsReadOnce) {
  const ByteVector bytes = TwoBlocks().Closed();
  TimesRead read;
  sCaptureError error;
  const auto file =
      cCaptureFile::Open(std::make_unique<cWatchedSource>(bytes, read), error, eCheck::Directories);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->TotalsByType()[1].items, 8193U);
  for (const std::size_t block : {std::size_t{4}, kSecondBlock}) {
    EXPECT_EQ(read[block], 1U);
    EXPECT_EQ(std::count(read.begin() + static_cast<std::ptrdiff_t>(block),
                         read.begin() + static_cast<std::ptrdiff_t>(block + 57360), 1),
              57360);
  }
}

TEST(DirectoriesCheckTest, TheTimeOfOneItemTakesTheHeadOfItsRecordAlone) {
  const ByteVector bytes = SmallCapture().Closed();
  TimesRead read;
  sCaptureError error;
  const auto file =
      cCaptureFile::Open(std::make_unique<cWatchedSource>(bytes, read), error, eCheck::Directories);
  std::uint64_t time = 0;
  EXPECT_FALSE(file->ReadTime(2, time));
  sCaptureItem item;
  EXPECT_FALSE(OpenBytes(bytes).file->ReadItem(2, item));
  EXPECT_EQ(time, item.time);
  // Records of 9, 6 and 7 bytes; the last has a time and an extra field of 6 bytes together.
  EXPECT_EQ(CountRead(read, kRecords, kRecords + 15), 0U);
  EXPECT_EQ(read[kRecords + 21], 0U);
}

TEST(DirectoriesCheckTest, WhatShowsInDirectoriesIndexAndTrailerIsDamage) {
  const ByteVector file = SmallCapture().Closed();
  const std::size_t end = file.size();
  const std::vector<ByteVector> wrong = {
      With(file, 4 + 7 + 5, 0, 2),           // a length of 0
      With(file, 4 + 7, 3, 1),               // a type that no item has
      With(file, 4 + 7, 0x80 + 10, 1),       // an extra field where there is none
      With(file, 4 + 2 * 7 + 1, 16, 1),      // a gap
      With(file, end - 16 - 16, 5, 1),       // the block's position in the index
      With(file, end - 16 - 8, 5, 1),        // its base time there
      With(file, end - 8, 7, 1),             // the trailer's count
      With(file, 4 + 57344, 0x1000, 8),      // a next block where there is none
      With(file, 4 + 57352, UINT64_MAX, 8),  // a base time that cannot be
  };
  for (const ByteVector& bytes : wrong) {
    EXPECT_NE(ErrorOf(bytes), "");
    EXPECT_EQ(QuickErrorOf(bytes), ErrorOf(bytes));
  }
}

TEST(DirectoriesCheckTest, WhatShowsInRecordHeadsAloneGoesUnnoticed) {
  // The time of the first item, 0 ms behind the base time.
  const ByteVector late = With(SmallCapture().Closed(), kRecords, 5, 1);
  EXPECT_NE(ErrorOf(late), "");
  EXPECT_EQ(QuickErrorOf(late), "");
  EXPECT_TRUE(OpenQuickly(late)->IsComplete());
}

TEST(DirectoriesCheckTest, ALookAtAClosedFileAgainIsAsQuick) {
  TimesRead read;
  sCaptureError error;
  const auto file = cCaptureFile::Open(std::make_unique<cWatchedSource>(TwoBlocks().Closed(), read),
                                       error, eCheck::Directories);
  file->Refresh();
  EXPECT_TRUE(file->IsComplete());
  EXPECT_EQ(CountRead(read, kRecords, kSecondBlock), 0U);
}

TEST(DirectoriesCheckTest, TotalsCountItemsAndTheirBytes) {
  cCaptureBuilder builder;
  builder.Add({1, kNoon, Hex("29 00 00"), {}});
  builder.Add({1, kNoon, Hex("29"), {}});
  builder.Add({8, kNoon, Hex("10 00"), 7});
  const auto totals = OpenQuickly(builder.Closed())->TotalsByType();
  EXPECT_EQ(totals[1].items, 2U);
  EXPECT_EQ(totals[1].bytes, 4U);
  EXPECT_EQ(totals[8].items, 1U);
  EXPECT_EQ(totals[8].bytes, 2U);
  EXPECT_EQ(totals[0].items, 0U);
}

TEST(DirectoriesCheckTest, OfADamagedFileTheGoodItemsAreCounted) {
  const ByteVector file = With(SmallCapture().Closed(), 4 + 2 * 7 + 5, 0, 2);
  const auto opened = OpenQuickly(file);
  EXPECT_EQ(opened->ItemCount(), 2U);
  EXPECT_EQ(opened->LastItem(), 1U);
  EXPECT_EQ(opened->TotalsByType()[8].items, 0U);
  std::uint64_t time = 0;
  EXPECT_TRUE(opened->ReadTime(2, time));
  EXPECT_TRUE(opened->ReadTime(3, time));
}

TEST(DirectoriesCheckTest, AFileWithoutItemsHasNoLastOne) {
  const auto file = OpenQuickly(cCaptureBuilder().Closed());
  EXPECT_EQ(file->LastItem(), std::nullopt);
  EXPECT_TRUE(file->IsComplete());
}

TEST(DirectoriesCheckTest, ATimeThatCannotBeIsAnError) {
  cCaptureBuilder builder;
  builder.Add({1, kNoon, Hex("29"), {}});
  builder.AddRaw(1 + 3 * 32, 1, Hex("FF FF FF FF FF FF FF FF 29"));
  std::uint64_t time = 0;
  const auto wrong = OpenQuickly(builder.Closed())->ReadTime(1, time);
  ASSERT_TRUE(wrong);
  EXPECT_EQ(wrong->Text(), "the time of item 1 is later than any clock can be, at offset 57366");
}

// A source that counts how often it is read.
class cCountedSource final : public cByteSource {
 public:
  std::size_t reads = 0;

  [[nodiscard]] std::optional<std::uint64_t> Size() override { return memory.Size(); }
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
    ++reads;
    return memory.ReadAt(offset, bytes);
  }

 private:
  cMemorySource memory{std::make_shared<const ByteVector>(std::size_t{4} << 20, 1)};
};

TEST(DirectoriesCheckTest, HeadsInOrderTakeFewReads) {
  constexpr std::size_t kFile = std::size_t{4} << 20;
  constexpr std::size_t kHead = 4;
  // Packets of a usual stream, the longest ones, and blocks between records.
  for (const std::size_t step : {std::size_t{200}, std::size_t{16'644}, std::size_t{60'000}}) {
    cCountedSource source;
    cByteWindow heads(source);
    for (std::size_t place = 0; place + kHead <= kFile; place += step) {
      ASSERT_TRUE(heads.Read(place, kHead)) << place;
    }
    EXPECT_LE(source.reads, 20U) << step;
  }
}

TEST(DirectoriesCheckTest, HeadsHereAndThereTakeFewBytes) {
  const ByteVector bytes(std::size_t{4} << 20, 1);
  TimesRead read;
  cWatchedSource source(bytes, read);
  cByteWindow heads(source);
  for (const std::size_t place : {3'000'000U, 1'000'000U, 2'000'000U, 0U}) {
    ASSERT_TRUE(heads.Read(place, 4));
  }
  EXPECT_LE(CountRead(read, 0, bytes.size()), 4U * 4096U);
}

}  // namespace
}  // namespace corvane
