#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "reader/capture_builder.h"
#include "reader/capture_file.h"

namespace corvane {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::size_t kRecords = 4 + 57360;  // where the records of the first block begin
constexpr std::size_t kSecondBlock = kRecords + 8192 * 2;

TEST(ClosedCaptureTest, AnyChangedByteOfTheBlockIndexIsDamageAtItsField) {
  const ByteVector good = TwoBlocks().Closed();
  const std::size_t index = good.size() - 16 - 2 * 16;
  for (std::size_t place = 0; place < 32; ++place) {
    ByteVector file = good;
    file[index + place] = static_cast<std::uint8_t>(file[index + place] ^ 0x01);
    const char* const field = place % 16 < 8 ? "position" : "base time";
    EXPECT_EQ(ErrorOf(file), "block index entry " + std::to_string(place / 16) +
                                 " does not have its block's " + field + ", at offset " +
                                 std::to_string(index + place / 8 * 8));
  }
}

TEST(ClosedCaptureTest, AnyChangedByteOfTheTrailerIsDamageAtItsField) {
  const ByteVector good = TwoBlocks().Closed();
  const std::size_t trailer = good.size() - 16;
  for (std::size_t place = 0; place < 16; ++place) {
    ByteVector file = good;
    file[trailer + place] = static_cast<std::uint8_t>(file[trailer + place] ^ 0x80);
    std::string expected;
    if (place < 8) {
      expected = "the first 64 bits of the trailer are not zero, at offset ";
    } else if (place < 12) {
      expected = "the trailer counts " + std::to_string(8193 ^ (0x80U << 8 * (place - 8))) +
                 " items, the directories hold 8193, at offset ";
    } else {
      expected = "the trailer does not end in its closing number, at offset ";
    }
    const std::size_t field = place < 8 ? 0 : (place < 12 ? 8 : 12);
    EXPECT_EQ(ErrorOf(file), expected + std::to_string(trailer + field));
  }
}

TEST(ClosedCaptureTest, AHugeItemCountInTheTrailerCostsNothing) {
  const ByteVector file = SmallCapture().Closed();
  EXPECT_EQ(ErrorOf(With(file, file.size() - 8, 0xFFFFFFFF, 4)),
            "the trailer counts 4294967295 items, the directories hold 3, at offset " +
                std::to_string(file.size() - 8));
}

TEST(ClosedCaptureTest, ATrailerWithoutABlockIndexIsDamage) {
  ByteVector file = SmallCapture().Unclosed();
  const std::size_t end = file.size();
  Append(file, 0, 8);
  Append(file, 3, 4);
  Append(file, 0xAB603107, 4);
  EXPECT_EQ(ErrorOf(file),
            "the block index does not fit between the last record and the trailer, at offset " +
                std::to_string(end));
}

TEST(ClosedCaptureTest, AClosedFileWhoseLastBlockHasNoItemsIsDamaged) {
  cCaptureBuilder builder;
  builder.AddBlock(kNoon);
  EXPECT_EQ(ErrorOf(builder.Closed()), "the last block has no items, at offset 4");
}

// `cat one.isf other.isf`
[[nodiscard]] ByteVector Joined(ByteVector one, const ByteVector& other) {
  one.insert(one.end(), other.begin(), other.end());
  return one;
}

TEST(ClosedCaptureTest, ASecondCaptureBehindTheFirstIsToldWithItsOffset) {
  const ByteVector empty = cCaptureBuilder().Closed();
  for (const ByteVector& one : {SmallCapture().Closed(), SmallCapture().Unclosed(),
                                TwoBlocks().Closed(), TwoBlocks().Unclosed(), empty}) {
    for (const ByteVector& other :
         {SmallCapture().Closed(), TwoBlocks().Closed(), TwoBlocks().Unclosed(), empty,
          Joined(SmallCapture().Closed(), SmallCapture().Closed())}) {
      const sOpened opened = OpenBytes(Joined(one, other));
      ASSERT_NE(opened.file, nullptr);
      EXPECT_EQ(opened.file->SecondCapture(), one.size());
      EXPECT_THAT(TextsOf(opened.file->AllDamage()),
                  testing::Contains("a second capture begins here: files were joined, and only the "
                                    "first one is read, at offset " +
                                    std::to_string(one.size())));
      const std::vector<std::string> told = TextsOf(opened.file->AllDamage());
      opened.file->Refresh();
      EXPECT_EQ(opened.file->SecondCapture(), one.size());
      EXPECT_EQ(TextsOf(opened.file->AllDamage()), told);
      if (one != empty) {
        EXPECT_EQ(opened.file->AllDamage().Count(), 1U);
        EXPECT_EQ(opened.file->ItemCount(), OpenBytes(one).file->ItemCount());
      }
    }
  }
}

// Wherever the first one was cut off, it is read as it would be without the second one.
TEST(ClosedCaptureTest, ACaptureBehindOneThatWasCutOffIsToldWithItsOffset) {
  const ByteVector whole = TwoBlocks().Closed();
  const std::size_t records = 4 + isf::kBlockSize;
  for (const ByteVector& other : {SmallCapture().Closed(), TwoBlocks().Unclosed()}) {
    for (const std::size_t size : {std::size_t{4}, std::size_t{2000}, records - 10, records + 500,
                                   whole.size() - 1000, whole.size() - 40, whole.size() - 5}) {
      const ByteVector one(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
      const sOpened alone = OpenBytes(one);
      const sOpened opened = OpenBytes(Joined(one, other));
      ASSERT_NE(opened.file, nullptr);
      EXPECT_EQ(opened.file->State(), eCaptureState::Damaged);
      EXPECT_EQ(opened.file->SecondCapture(), size);
      EXPECT_EQ(opened.file->IsCutOffBySecond(), size != 4);
      EXPECT_EQ(opened.file->ItemCount(), alone.file->ItemCount()) << size;
      EXPECT_EQ(opened.file->Size(), size + other.size());
      std::vector<std::string> expected = TextsOf(alone.file->AllDamage());
      expected.insert(expected.begin(),
                      std::string("a second capture begins here") +
                          (size == 4 ? "" : ", and the first one was cut off in front of it") +
                          ": files were joined, and only the first one is read, at offset " +
                          std::to_string(size));
      EXPECT_EQ(TextsOf(opened.file->AllDamage()), expected) << size;
    }
  }
}

TEST(ClosedCaptureTest, AHeaderAloneBehindACaptureIsNoSecondOne) {
  const ByteVector header = cCaptureBuilder().Unclosed();
  const ByteVector file = Joined(SmallCapture().Closed(), Joined(header, ByteVector(100, 0x55)));
  const sOpened opened = OpenBytes(file);
  ASSERT_NE(opened.file, nullptr);
  EXPECT_EQ(opened.file->SecondCapture(), std::nullopt);
}

// --- What the recorder cannot have written

// A closed file whose first item is a good one of 1 byte at kNoon, at record offset kRecords, and
// whose next record is as given.
[[nodiscard]] ByteVector WithSecond(unsigned flags, unsigned length, const ByteVector& record) {
  cCaptureBuilder builder;
  builder.Add({1, kNoon, {0x42}, {}});
  builder.AddRaw(flags, length, record);
  builder.Add({1, kNoon + 3, {0x43}, {}});
  return builder.Closed();
}

// All that is wrong with such a file, in which every item is there all the same.
[[nodiscard]] std::vector<std::string> WrongWith(const ByteVector& file, std::uint64_t items = 3) {
  const sOpened opened = OpenBytes(file);
  EXPECT_NE(opened.file, nullptr);
  EXPECT_EQ(opened.file->ItemCount(), items);
  EXPECT_EQ(opened.file->PassedOver(), 0U);
  sCaptureItem item;
  for (std::uint64_t number = 0; number < items; ++number) {
    EXPECT_EQ(opened.file->ReadItem(number, item), std::nullopt) << number;
    EXPECT_EQ(item.number, number);
  }
  EXPECT_EQ(opened.file->State() == eCaptureState::Damaged, opened.file->AllDamage().Count() != 0);
  return TextsOf(opened.file->AllDamage());
}

TEST(ClosedCaptureTest, TypesThatNoItemHasAreDamage) {
  for (unsigned type = 0; type < 32; ++type) {
    if (type <= 10 && type != 3) {
      EXPECT_THAT(WrongWith(WithSecond(type, 1, Hex("01 42"))), IsEmpty()) << type;
    } else {
      EXPECT_THAT(WrongWith(WithSecond(type, 1, Hex("01 42"))),
                  ElementsAre("item 1 has a type that no item has, at offset 11"))
          << type;
    }
  }
}

TEST(ClosedCaptureTest, ExtraFieldsOfTypesThatHaveNoneAreDamage) {
  for (const unsigned type : {0U, 1U, 2U, 4U, 5U, 6U, 7U, 9U, 10U}) {
    EXPECT_THAT(
        WrongWith(WithSecond(type + 128, 1, Hex("01 05 00 00 00 42"))),
        ElementsAre("item 1 has an extra field, which items of its type never have, at offset 11"))
        << type;
  }
  EXPECT_THAT(WrongWith(WithSecond(8 + 128, 1, Hex("01 05 00 00 00 42"))), IsEmpty());
}

TEST(ClosedCaptureTest, AnExtraFieldThatStandsForNoneIsDamage) {
  EXPECT_THAT(WrongWith(WithSecond(8 + 128, 1, Hex("01 FF FF FF FF 42"))),
              ElementsAre("item 1 has an extra field of 0xFFFFFFFF, which stands for none, at "
                          "offset 57366"));
  EXPECT_THAT(WrongWith(WithSecond(8 + 128, 1, Hex("01 FE FF FF FF 42"))), IsEmpty());
}

TEST(ClosedCaptureTest, AFirstItemThatIsNotAtTheBaseTimeIsDamage) {
  cCaptureBuilder builder;
  builder.AddBlock(kNoon);
  builder.AddRaw(1, 1, Hex("01 42"));
  EXPECT_THAT(WrongWith(builder.Closed(), 1),
              ElementsAre("item 0 is the first of its block, but not at the block's base time, at "
                          "offset 57364"));
  ByteVector second = TwoBlocks().Closed();
  second[kSecondBlock + 57360] = 1;
  EXPECT_THAT(WrongWith(second, 8193),
              ElementsAre("item 8192 is the first of its block, but not at the block's base time, "
                          "at offset 131108"));
}

TEST(ClosedCaptureTest, AFirstItemWithAWideTimeIsDamage) {
  cCaptureBuilder builder;
  builder.AddBlock(kNoon);
  builder.AddRaw(1 + 32, 1, Hex("00 00 42"));
  EXPECT_THAT(WrongWith(builder.Closed(), 1),
              ElementsAre("item 0 has a wider time field than it needs, at offset 57364"));
}

TEST(ClosedCaptureTest, ATimeWiderThanNeededIsDamage) {
  const std::vector<std::string> wide = {
      "item 1 has a wider time field than it needs, at offset 57366"};
  EXPECT_EQ(WrongWith(WithSecond(1 + 32, 1, Hex("FE 00 42"))), wide);
  EXPECT_THAT(WrongWith(WithSecond(1 + 32, 1, Hex("FF 00 42"))), IsEmpty());
  EXPECT_EQ(WrongWith(WithSecond(1 + 64, 1, Hex("FE FF 00 00 42"))), wide);
  EXPECT_THAT(WrongWith(WithSecond(1 + 64, 1, Hex("FF FF 00 00 42"))), IsEmpty());
  ByteVector absolute;
  Append(absolute, kNoon + 0xFFFFFFFE, 8);
  absolute.push_back(0x42);
  EXPECT_EQ(WrongWith(WithSecond(1 + 96, 1, absolute)), wide);
  Put(absolute, 0, kNoon + 0xFFFFFFFF, 8);
  EXPECT_THAT(WrongWith(WithSecond(1 + 96, 1, absolute)), IsEmpty());
  Put(absolute, 0, kNoon - 1, 8);
  EXPECT_THAT(WrongWith(WithSecond(1 + 96, 1, absolute)), IsEmpty());
}

TEST(ClosedCaptureTest, ATimeFieldWithAllItsBitsSetIsDamage) {
  EXPECT_THAT(WrongWith(WithSecond(1, 1, Hex("FF 42"))),
              ElementsAre("item 1 has a time field with all its bits set, at offset 57366"));
  EXPECT_THAT(WrongWith(WithSecond(1 + 32, 1, Hex("FF FF 42"))),
              ElementsAre("item 1 has a time field with all its bits set, at offset 57366"));
  EXPECT_THAT(WrongWith(WithSecond(1 + 64, 1, Hex("FF FF FF FF 42"))),
              ElementsAre("item 1 has a time field with all its bits set, at offset 57366"));
}

TEST(ClosedCaptureTest, APacketLongerThanTheRecordersIsDamage) {
  ByteVector record(1 + 16640, 0x01);
  EXPECT_THAT(WrongWith(WithSecond(1, 16640, record)), IsEmpty());
  record.push_back(0x01);
  EXPECT_THAT(WrongWith(WithSecond(1, 16641, record)),
              ElementsAre("item 1 has a packet longer than 16640 bytes, at offset 11"));
}

TEST(ClosedCaptureTest, APacketOfNoBytesIsPassedOver) {
  const sOpened opened = OpenBytes(WithSecond(1, 0, Hex("01")));
  ASSERT_NE(opened.file, nullptr);
  EXPECT_THAT(TextsOf(opened.file->AllDamage()),
              ElementsAre("directory entry 1 of the block at offset 4 has length 0 (1 entry passed "
                          "over), at offset 11"));
  EXPECT_EQ(opened.file->ItemCount(), 2U);
  EXPECT_EQ(opened.file->PassedOver(), 1U);
  EXPECT_EQ(opened.file->NextItem(1), 2U);
}

TEST(ClosedCaptureTest, BytesThatBelongToNoRecordAreDamage) {
  cCaptureBuilder builder;
  builder.Add({1, kNoon, {0x01}, {}}).AddGap(5).Add({1, kNoon + 1, {0x02}, {}}).AddGap(1);
  EXPECT_THAT(WrongWith(builder.Closed(), 2),
              ElementsAre("5 bytes before the next record belong to no record, at offset 57366",
                          "1 byte before the block index belong to no record, at offset 57373"));
}

TEST(ClosedCaptureTest, BytesBeforeABlocksFirstRecordAreDamage) {
  cCaptureBuilder builder;
  builder.AddBlock(kNoon).AddGap(4).AddRaw(1, 1, Hex("00 42"));
  EXPECT_THAT(WrongWith(builder.Closed(), 1),
              ElementsAre("4 bytes before the next record belong to no record, at offset 57364"));
}

TEST(ClosedCaptureTest, BytesBeforeTheNextBlockAreDamage) {
  cCaptureBuilder builder = BuildNumbered(8192);
  const std::size_t end = builder.Unclosed().size();
  builder.AddGap(11).Add(NumberedItem(8192));
  EXPECT_THAT(WrongWith(builder.Closed(), 8193),
              ElementsAre("11 bytes before the next block belong to no record, at offset " +
                          std::to_string(end)));
}

TEST(ClosedCaptureTest, AllThatIsWrongIsCountedAndTheFirstOnesAreKept) {
  cCaptureBuilder builder;
  builder.Add({1, kNoon, {0x42}, {}});
  for (int number = 0; number < 100; ++number) {
    builder.Add({3, kNoon, {0x42}, {}});
  }
  const sOpened opened = OpenBytes(builder.Closed());
  ASSERT_NE(opened.file, nullptr);
  EXPECT_EQ(opened.file->AllDamage().Count(), 100U);
  EXPECT_EQ(opened.file->AllDamage().Kept().size(), cDamage::kMostKept);
  EXPECT_EQ(opened.file->AllDamage().Kept().back().message, "item 20 has a type that no item has");
}

TEST(ClosedCaptureTest, AnUnclosedFileIsNotHeldToTheRecordersRules) {
  cCaptureBuilder builder;
  builder.AddBlock(kNoon);
  builder.AddRaw(31 + 32 + 128, 1, Hex("05 00 FF FF FF FF 42"));
  EXPECT_EQ(ErrorOf(builder.Unclosed()), "");
}
TEST(ClosedCaptureTest, BytesBehindTheTrailerAreDamage) {
  for (const cCaptureBuilder& builder : {cCaptureBuilder(), SmallCapture(), TwoBlocks()}) {
    ByteVector file = builder.Closed();
    const std::size_t end = file.size();
    file.push_back('x');
    EXPECT_EQ(ErrorOf(file), "1 byte stands behind the trailer, at offset " + std::to_string(end));
    file.resize(end + 70'000);
    const sOpened opened = OpenBytes(file);
    EXPECT_TRUE(opened.file->IsClosed());
    EXPECT_EQ(opened.file->ClosedEnd(), end);
    EXPECT_EQ(opened.file->ItemCount(), OpenBytes(builder.Closed()).file->ItemCount());
  }
}

TEST(ClosedCaptureTest, ACaptureWithoutItemsEndsAtItsTrailer) {
  ByteVector file = cCaptureBuilder().Closed();
  const ByteVector second = SmallCapture().Closed();
  file.insert(file.end(), second.begin(), second.end());
  const sOpened opened = OpenBytes(file);
  EXPECT_EQ(opened.file->AllDamage().Count(), 1U);
  EXPECT_EQ(opened.file->SecondCapture(), 20U);
  EXPECT_TRUE(opened.file->IsClosed());
  EXPECT_EQ(opened.file->ItemCount(), 0U);
}

}  // namespace
}  // namespace corvane
