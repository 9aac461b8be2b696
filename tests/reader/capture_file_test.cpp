#include "reader/capture_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "reader/capture_builder.h"
#include "support/temp_directory.h"

namespace corvane {
namespace {

using ::testing::ElementsAre;

void ExpectNumberedItem(cCaptureFile& file, std::uint32_t number) {
  const sBuiltItem expected = NumberedItem(number);
  sCaptureItem item;
  ASSERT_EQ(file.ReadItem(number, item), std::nullopt);
  ASSERT_EQ(item.number, number);
  ASSERT_EQ(item.time, expected.time) << "item " << number;
  ASSERT_EQ(item.type, expected.type) << "item " << number;
  ASSERT_EQ(item.extra, expected.extra) << "item " << number;
  ASSERT_EQ(item.bytes, expected.packet) << "item " << number;
}

[[nodiscard]] sCaptureItem ReadItem(cCaptureFile& file, std::uint64_t number) {
  sCaptureItem item;
  EXPECT_EQ(file.ReadItem(number, item), std::nullopt);
  return item;
}

TEST(CaptureFileTest, AFileClosedWithoutItemsIsComplete) {
  // Header and trailer, as they stand in the file.
  const sOpened opened =
      OpenBytes(Hex("08 31 60 AB 00 00 00 00 00 00 00 00 00 00 00 00 07 31 60 AB"));
  ASSERT_NE(opened.file, nullptr);
  EXPECT_TRUE(opened.file->IsComplete());
  EXPECT_EQ(opened.file->ItemCount(), 0U);
  EXPECT_TRUE(opened.file->Blocks().empty());
  EXPECT_EQ(opened.file->Size(), 20U);
  EXPECT_EQ(opened.file->UnclaimedBytes(), 0U);
}

TEST(CaptureFileTest, AHeaderAloneIsAnUnclosedFileWithoutItems) {
  const sOpened opened = OpenBytes(Hex("08 31 60 AB"));
  ASSERT_NE(opened.file, nullptr);
  EXPECT_EQ(opened.file->State(), eCaptureState::Unclosed);
  EXPECT_EQ(opened.file->ItemCount(), 0U);
}

class CaptureOfItemsTest : public ::testing::TestWithParam<std::uint32_t> {};

TEST_P(CaptureOfItemsTest, EveryItemOfAClosedFileIsReadBack) {
  const sOpened opened = OpenBytes(BuildNumbered(GetParam()).Closed());
  ASSERT_NE(opened.file, nullptr);
  EXPECT_TRUE(opened.file->IsComplete());
  EXPECT_EQ(opened.file->Damage(), std::nullopt);
  ASSERT_EQ(opened.file->ItemCount(), GetParam());
  EXPECT_EQ(opened.file->Blocks().size(), (GetParam() + 8191) / 8192);
  EXPECT_EQ(opened.file->UnclaimedBytes(), 0U);
  for (std::uint32_t number = 0; number < GetParam(); ++number) {
    ExpectNumberedItem(*opened.file, number);
  }
}

TEST_P(CaptureOfItemsTest, EveryItemOfAFileThatWasNotClosedIsReadBack) {
  const sOpened opened = OpenBytes(BuildNumbered(GetParam()).Unclosed());
  ASSERT_NE(opened.file, nullptr);
  EXPECT_EQ(opened.file->State(), eCaptureState::Unclosed);
  ASSERT_EQ(opened.file->ItemCount(), GetParam());
  for (std::uint32_t number = 0; number < GetParam(); ++number) {
    ExpectNumberedItem(*opened.file, number);
  }
}

TEST_P(CaptureOfItemsTest, ItemsAreReadInAnyOrder) {
  const sOpened opened = OpenBytes(BuildNumbered(GetParam()).Closed());
  ASSERT_NE(opened.file, nullptr);
  for (std::uint32_t number = GetParam(); number-- > 0;) {
    ExpectNumberedItem(*opened.file, number);
    if (number % 64 == 0) {
      ExpectNumberedItem(*opened.file, static_cast<std::uint32_t>(number * 7919ULL % GetParam()));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Counts, CaptureOfItemsTest, ::testing::Values(1, 8192, 8193, 20000));

TEST(CaptureFileTest, Item8193StandsInASecondBlockWithABaseTimeOfItsOwn) {
  const sOpened opened = OpenBytes(BuildNumbered(8193).Closed());
  ASSERT_NE(opened.file, nullptr);
  ASSERT_EQ(opened.file->Blocks().size(), 2U);
  EXPECT_EQ(opened.file->Blocks()[0].offset, 4U);
  EXPECT_EQ(opened.file->Blocks()[0].baseTime, kNoon);
  EXPECT_EQ(opened.file->Blocks()[0].items, 8192U);
  EXPECT_EQ(opened.file->Blocks()[1].baseTime, kNoon + 8192 * 17);
  EXPECT_EQ(opened.file->Blocks()[1].items, 1U);
  EXPECT_EQ(ReadItem(*opened.file, 8192).offset, opened.file->Blocks()[1].offset + 57360);
}

TEST(CaptureFileTest, EveryWidthOfTheTimeFieldIsReadAtItsBounds) {
  const std::uint64_t times[] = {kNoon,         kNoon + 254,        kNoon + 255,
                                 kNoon + 65534, kNoon + 65535,      kNoon + 0xFFFFFFFE,
                                 kNoon - 1,     kNoon + 0xFFFFFFFF, 0};
  cCaptureBuilder builder;
  for (const std::uint64_t time : times) {
    builder.Add({1, time, {0x42}, {}});
  }
  const sOpened opened = OpenBytes(builder.Closed());
  ASSERT_NE(opened.file, nullptr);
  for (std::uint64_t number = 0; number < std::size(times); ++number) {
    EXPECT_EQ(ReadItem(*opened.file, number).time, times[number]) << "item " << number;
  }
}

TEST(CaptureFileTest, WiderTimeFieldsThanNeededAreReadToo) {
  cCaptureBuilder builder;
  builder.AddBlock(1000);
  builder.AddRaw(1 + 1 * 32, 1, Hex("FF FF 42"));
  builder.AddRaw(1 + 2 * 32, 1, Hex("05 00 00 00 42"));
  builder.AddRaw(1 + 3 * 32, 1, Hex("07 00 00 00 00 00 00 00 42"));
  const sOpened opened = OpenBytes(builder.Closed());
  ASSERT_NE(opened.file, nullptr);
  EXPECT_EQ(ReadItem(*opened.file, 0).time, 66535U);
  EXPECT_EQ(ReadItem(*opened.file, 1).time, 1005U);
  EXPECT_EQ(ReadItem(*opened.file, 2).time, 7U);
}

TEST(CaptureFileTest, TheExtraFieldStandsBetweenTimeAndPacket) {
  cCaptureBuilder builder;
  builder.AddBlock(1000);
  builder.AddRaw(8 + 128, 2, Hex("03 78 56 34 12 10 00"));
  builder.AddRaw(8 + 128 + 3 * 32, 1, Hex("07 00 00 00 00 00 00 00 0C 00 00 00 10"));
  builder.AddRaw(8, 1, Hex("04 10"));
  const sOpened opened = OpenBytes(builder.Closed());
  ASSERT_NE(opened.file, nullptr);
  EXPECT_EQ(ReadItem(*opened.file, 0).extra, 0x12345678U);
  EXPECT_THAT(ReadItem(*opened.file, 0).bytes, ElementsAre(0x10, 0x00));
  EXPECT_EQ(ReadItem(*opened.file, 1).extra, 12U);
  EXPECT_EQ(ReadItem(*opened.file, 1).time, 7U);
  EXPECT_EQ(ReadItem(*opened.file, 2).extra, std::nullopt);
}

TEST(CaptureFileTest, EveryItemTypeOfFiveBitsIsTold) {
  cCaptureBuilder builder;
  for (unsigned type = 0; type < 32; ++type) {
    builder.Add({type, kNoon, {0x42}, {}});
  }
  const sOpened opened = OpenBytes(builder.Closed());
  ASSERT_NE(opened.file, nullptr);
  for (unsigned type = 0; type < 32; ++type) {
    EXPECT_EQ(ReadItem(*opened.file, type).type, type);
  }
}

TEST(CaptureFileTest, PacketsOfEveryLengthThatADirectoryCanTellAreRead) {
  cCaptureBuilder builder;
  for (const std::size_t length : {1U, 16640U, 65535U, 1U}) {
    builder.Add({1, kNoon, ByteVector(length, static_cast<std::uint8_t>(length % 251)), 7});
  }
  const sOpened opened = OpenBytes(builder.Closed());
  ASSERT_NE(opened.file, nullptr);
  EXPECT_EQ(ReadItem(*opened.file, 1).bytes, ByteVector(16640, 16640 % 251));
  EXPECT_EQ(ReadItem(*opened.file, 2).bytes, ByteVector(65535, 65535 % 251));
  EXPECT_EQ(ReadItem(*opened.file, 3).bytes, ByteVector(1, 1));
}

TEST(CaptureFileTest, BytesBetweenTheRecordsOfAnUnclosedFileAreCounted) {
  cCaptureBuilder builder;
  builder.Add({1, kNoon, {0x01}, {}}).AddGap(5).Add({1, kNoon + 1, {0x02}, {}}).AddGap(30);
  const sOpened opened = OpenBytes(builder.Unclosed());
  ASSERT_NE(opened.file, nullptr);
  EXPECT_EQ(opened.file->State(), eCaptureState::Unclosed);
  EXPECT_EQ(opened.file->ItemCount(), 2U);
  EXPECT_EQ(opened.file->UnclaimedBytes(), 35U);
  EXPECT_THAT(ReadItem(*opened.file, 1).bytes, ElementsAre(0x02));
}

TEST(CaptureFileTest, BytesBeforeTheNextBlockOfAnUnclosedFileAreCounted) {
  cCaptureBuilder builder = BuildNumbered(8192);
  builder.AddGap(11).Add(NumberedItem(8192));
  const sOpened opened = OpenBytes(builder.Unclosed());
  ASSERT_NE(opened.file, nullptr);
  EXPECT_EQ(opened.file->State(), eCaptureState::Unclosed);
  EXPECT_EQ(opened.file->UnclaimedBytes(), 11U);
  ExpectNumberedItem(*opened.file, 8192);
}

TEST(CaptureFileTest, BytesBehindTheLastRecordOfAnUnclosedFileAreNotJudged) {
  for (const std::size_t count : {1U, 15U, 16U, 31U, 32U, 33U, 60000U}) {
    cCaptureBuilder builder;
    builder.Add({1, kNoon, {0x01}, {}}).AddGap(count);
    const sOpened opened = OpenBytes(builder.Unclosed());
    ASSERT_NE(opened.file, nullptr);
    EXPECT_EQ(opened.file->State(), eCaptureState::Unclosed) << count;
    EXPECT_EQ(opened.file->ItemCount(), 1U);
    EXPECT_EQ(opened.file->UnclaimedBytes(), count);
  }
}

TEST(CaptureFileTest, AFirstBlockThatIsPartlyWrittenHoldsNoItems) {
  cCaptureBuilder builder;
  builder.AddBlock(kNoon);
  const auto bytes = std::make_shared<ByteVector>(builder.Unclosed());
  for (std::size_t length = bytes->size() - 1; length >= 4; --length) {
    bytes->resize(length);
    const sOpened opened = OpenBytes(bytes);
    ASSERT_NE(opened.file, nullptr);
    ASSERT_EQ(opened.file->State(), eCaptureState::Unclosed) << length;
    ASSERT_TRUE(opened.file->Blocks().empty());
  }
}

TEST(CaptureFileTest, ABlockWithoutItemsIsTheEndOfAnUnclosedFile) {
  cCaptureBuilder builder;
  builder.AddBlock(kNoon);
  const sOpened opened = OpenBytes(builder.Unclosed());
  ASSERT_NE(opened.file, nullptr);
  EXPECT_EQ(opened.file->State(), eCaptureState::Unclosed);
  EXPECT_EQ(opened.file->Blocks().size(), 1U);
  EXPECT_EQ(opened.file->ItemCount(), 0U);
}

TEST(CaptureFileTest, ThereIsNoItemAtTheCountOrBeyondIt) {
  const sOpened opened = OpenBytes(BuildNumbered(3).Closed());
  ASSERT_NE(opened.file, nullptr);
  sCaptureItem item;
  for (const std::uint64_t number : {std::uint64_t{3}, std::uint64_t{8192}, UINT64_MAX}) {
    const auto error = opened.file->ReadItem(number, item);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->message, "there is no item " + std::to_string(number));
  }
}

TEST(CaptureFileTest, AnItemAfterAnErrorIsReadAsIfThereHadBeenNone) {
  const sOpened opened = OpenBytes(BuildNumbered(3).Closed());
  ASSERT_NE(opened.file, nullptr);
  sCaptureItem item;
  EXPECT_NE(opened.file->ReadItem(3, item), std::nullopt);
  ExpectNumberedItem(*opened.file, 1);
}

TEST(CaptureFileOnDiskTest, AFileIsReadFromItsPath) {
  const cTempDirectory folder;
  sCaptureError error;
  const auto file =
      cCaptureFile::Open(folder.Write("drive.isf", BuildNumbered(8193).Closed()), error);
  ASSERT_NE(file, nullptr) << error.Text();
  EXPECT_TRUE(file->IsComplete());
  for (const std::uint32_t number : {0U, 8192U, 4000U, 4001U, 4002U, 8191U}) {
    ExpectNumberedItem(*file, number);
  }
}

TEST(CaptureFileOnDiskTest, AFileIsReadWhileItsWriterHasItOpen) {
  const cTempDirectory folder;
  std::ofstream writer(folder.Path("drive.isf"), std::ios::binary | std::ios::trunc);
  const ByteVector bytes = BuildNumbered(2).Unclosed();
  writer.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  writer.flush();
  sCaptureError error;
  const auto file = cCaptureFile::Open(folder.Path("drive.isf"), error);
  ASSERT_NE(file, nullptr) << error.Text();
  EXPECT_EQ(file->State(), eCaptureState::Unclosed);
  ExpectNumberedItem(*file, 1);
}

TEST(CaptureFileOnDiskTest, AMissingFileIsRefusedWithTheReason) {
  const cTempDirectory folder;
  sCaptureError error;
  EXPECT_EQ(cCaptureFile::Open(folder.Path("no.isf"), error), nullptr);
  EXPECT_EQ(error.Text(), "the file cannot be opened (No such file or directory)");
}

TEST(CaptureFileOnDiskTest, AFolderIsRefused) {
  const cTempDirectory folder;
  std::filesystem::create_directory(folder.Path("drive.isf"));
  sCaptureError error;
  EXPECT_EQ(cCaptureFile::Open(folder.Path("drive.isf"), error), nullptr);
  EXPECT_EQ(error.Text(), "the file cannot be opened (it is a folder)");
}

}  // namespace
}  // namespace corvane
