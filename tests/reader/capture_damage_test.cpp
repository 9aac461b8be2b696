#include <gtest/gtest.h>

#include <functional>

#include "reader/capture_builder.h"
#include "reader/capture_file.h"

namespace corvane {
namespace {

constexpr std::uint64_t kStart = 13'360'420'800'000;
constexpr std::size_t kRecords = 4 + 57360;  // where the records of the first block begin

// Three items. The records are 9 ("text" and so on), 6 and 7 bytes long.
[[nodiscard]] cCaptureBuilder SmallCapture() {
  cCaptureBuilder builder;
  builder.Add({7, kStart, Hex("C0 FF FF FF 41 00 00 00"), {}});
  builder.Add({2, kStart + 1, Hex("4B 0F 00 00 01"), {}});
  builder.Add({8, kStart + 2, Hex("10 00"), 0x01020304});
  return builder;
}

// 8,192 items of one byte, in records of two, then one item in a second block.
[[nodiscard]] cCaptureBuilder TwoBlocks() {
  cCaptureBuilder builder;
  for (int number = 0; number < 8193; ++number) {
    builder.Add({1, kStart, {0x42}, {}});
  }
  return builder;
}
constexpr std::size_t kSecondBlock = kRecords + 8192 * 2;

[[nodiscard]] Bytes With(Bytes file, std::size_t offset, std::uint64_t value, std::size_t size) {
  Put(file, offset, value, size);
  return file;
}

// Reads all that the file claims to hold, which must neither crash nor go on without end. Returns
// whether everything could be read.
bool ReadEverything(cCaptureFile& file) {
  sCaptureItem item;
  bool good = true;
  for (std::uint64_t number = 0; number < file.ItemCount(); ++number) {
    good = file.ReadItem(number, item) == std::nullopt && good;
  }
  return good;
}

// --- Beginnings

TEST(CaptureDamageTest, AFileShorterThanTheHeaderIsRefused) {
  EXPECT_EQ(ErrorOf({}), "the file is too short to be a capture file, at offset 0");
  EXPECT_EQ(ErrorOf(Hex("08 31 60")), "the file is too short to be a capture file, at offset 3");
}

TEST(CaptureDamageTest, AnyChangedByteOfTheHeaderIsRefused) {
  for (std::size_t place = 0; place < 4; ++place) {
    for (unsigned bit = 0; bit < 8; ++bit) {
      Bytes file = SmallCapture().Closed();
      file[place] = static_cast<std::uint8_t>(file[place] ^ 1U << bit);
      const sOpened opened = OpenBytes(file);
      EXPECT_EQ(opened.file, nullptr);
      EXPECT_EQ(opened.error.Text(), "the file does not begin as a capture file does, at offset 0");
    }
  }
}

TEST(CaptureDamageTest, SixteenBytesBehindTheHeaderAreATrailerOrTheBeginningOfABlock) {
  const Bytes empty = cCaptureBuilder().Closed();
  EXPECT_EQ(ErrorOf(With(empty, 16, 0xAB603108, 4)),
            "what follows the header is neither a block nor a trailer, at offset 16");
  EXPECT_EQ(ErrorOf(With(empty, 12, 1, 4)),
            "the trailer counts 1 items, the directories hold 0, at offset 12");
  EXPECT_EQ(ErrorOf(With(empty, 5, 1, 1)),
            "the first 64 bits of the trailer are not zero, at offset 4");
}

// --- Cut off

TEST(CaptureDamageTest, AClosedFileCutOffAnywhereIsDamagedOrUnclosedButNeverComplete) {
  const auto bytes = std::make_shared<Bytes>(SmallCapture().Closed());
  const std::size_t recordsEnd = SmallCapture().Unclosed().size();
  for (std::size_t length = bytes->size(); length-- > 0;) {
    bytes->resize(length);
    const sOpened opened = OpenBytes(bytes);
    if (length < 4) {
      ASSERT_EQ(opened.file, nullptr) << length;
      continue;
    }
    ASSERT_NE(opened.file, nullptr) << length;
    // The header alone could be a file just begun; a block that lacks bytes but has entries cannot.
    const bool damaged = length > 4 && length < recordsEnd;
    ASSERT_EQ(opened.file->State(), damaged ? eCaptureState::Damaged : eCaptureState::Unclosed)
        << length;
    ASSERT_EQ(opened.file->ItemCount(),
              length < kRecords + 9 ? 0U : (length < kRecords + 15 ? 1U : (damaged ? 2U : 3U)))
        << length;
    ASSERT_EQ(opened.file->Size(), length);
    ASSERT_TRUE(ReadEverything(*opened.file));
    if (!damaged) {
      continue;
    }
    const std::string entry = std::to_string(opened.file->ItemCount());
    std::string expected = "directory entry " + entry +
                           " of the block at offset 4 points past the end of the file, at offset " +
                           std::to_string(4 + 7 * opened.file->ItemCount());
    if (length < kRecords) {
      expected = "the first block is cut off, although its directory is in use, at offset 4";
    }
    if (length == 20) {
      expected = "what follows the header is neither a block nor a trailer, at offset 4";
    }
    ASSERT_EQ(opened.file->Damage()->Text(), expected) << length;
  }
}

TEST(CaptureDamageTest, ASecondBlockThatIsCutOffLeavesTheFirstReadable) {
  const Bytes whole = TwoBlocks().Unclosed();
  for (const std::size_t length :
       {kSecondBlock, kSecondBlock + 1, kSecondBlock + 57359, kSecondBlock + 57360}) {
    const sOpened opened =
        OpenBytes(Bytes(whole.begin(), whole.begin() + static_cast<int>(length)));
    ASSERT_NE(opened.file, nullptr);
    ASSERT_TRUE(opened.file->Damage().has_value());
    EXPECT_EQ(
        opened.file->Damage()->Text(),
        length < kSecondBlock + 57360
            ? "the block at offset 4 names a next block that runs past the end of the file, at "
              "offset 57348"
            : "directory entry 0 of the block at offset 73748 points past the end of the file, "
              "at offset 73748");
    EXPECT_EQ(opened.file->ItemCount(), 8192U);
    EXPECT_TRUE(ReadEverything(*opened.file));
  }
}

// --- Directory

TEST(CaptureDamageTest, AnEntryOfLengthZeroIsDamage) {
  EXPECT_EQ(ErrorOf(With(SmallCapture().Closed(), 4 + 7 * 1 + 5, 0, 2)),
            "directory entry 1 of the block at offset 4 has length 0, at offset 11");
}

TEST(CaptureDamageTest, AnEntryThatPointsIntoTheRecordBeforeItsOwnIsDamage) {
  EXPECT_EQ(ErrorOf(With(SmallCapture().Closed(), 4 + 7 * 1 + 1, 8, 4)),
            "directory entry 1 of the block at offset 4 points into the record before its own, at "
            "offset 11");
  EXPECT_EQ(ErrorOf(With(SmallCapture().Closed(), 4 + 7 * 2 + 1, 0, 4)),
            "directory entry 2 of the block at offset 4 points into the record before its own, at "
            "offset 18");
}

TEST(CaptureDamageTest, AnEntryWhoseRecordRunsIntoTheNextOneIsDamageThere) {
  // A length of 6 instead of 5, and a time field of 2 bytes instead of 1.
  const std::string expected =
      "directory entry 2 of the block at offset 4 points into the record before its own, at offset "
      "18";
  EXPECT_EQ(ErrorOf(With(SmallCapture().Closed(), 4 + 7 * 1 + 5, 6, 2)), expected);
  EXPECT_EQ(ErrorOf(With(SmallCapture().Closed(), 4 + 7 * 1, 2 + 32, 1)), expected);
  EXPECT_EQ(ErrorOf(With(SmallCapture().Closed(), 4 + 7 * 1, 2 + 128, 1)), expected);
}

TEST(CaptureDamageTest, AnEntryThatPointsPastTheEndOfTheFileIsDamage) {
  const std::string expected =
      "directory entry 2 of the block at offset 4 points past the end of the file, at offset 18";
  const Bytes file = SmallCapture().Unclosed();
  const std::size_t last = file.size() - kRecords - 7;
  EXPECT_EQ(ErrorOf(With(file, 4 + 7 * 2 + 1, last, 4)), "");
  EXPECT_EQ(ErrorOf(With(file, 4 + 7 * 2 + 1, last + 1, 4)), expected);
  EXPECT_EQ(ErrorOf(With(file, 4 + 7 * 2 + 1, 0xFFFFFFFF, 4)), expected);
  EXPECT_EQ(ErrorOf(With(file, 4 + 7 * 2 + 5, 3, 2)), expected);
  EXPECT_EQ(ErrorOf(With(file, 4 + 7 * 2 + 5, 0xFFFF, 2)), expected);
}

TEST(CaptureDamageTest, ARecordThatReachesIntoTheBlockIndexIsDamage) {
  const Bytes file = SmallCapture().Closed();
  EXPECT_EQ(ErrorOf(With(file, 4 + 7 * 2 + 5, 3, 2)),
            "the block index does not fit between the last record and the trailer, at offset " +
                std::to_string(file.size() - 31));
}

TEST(CaptureDamageTest, AnEntryAfterAnUnusedOneIsDamage) {
  EXPECT_EQ(
      ErrorOf(With(SmallCapture().Closed(), 4 + 7 * 1, 0, 7)),
      "directory entry 1 of the block at offset 4 is unused, but entries after it are used, at "
      "offset 11");
  EXPECT_EQ(
      ErrorOf(With(SmallCapture().Closed(), 4 + 7 * 8191 + 6, 1, 1)),
      "directory entry 3 of the block at offset 4 is unused, but entries after it are used, at "
      "offset 25");
}

TEST(CaptureDamageTest, AnEntryWithoutARecordForItIsDamageEvenWhenTheTrailerCountsIt) {
  Bytes file = With(SmallCapture().Closed(), 4 + 7 * 3, 0x01, 1);
  Put(file, 4 + 7 * 3 + 1, 1000, 4);
  Put(file, 4 + 7 * 3 + 5, 1, 2);
  Put(file, file.size() - 8, 4, 4);
  EXPECT_EQ(ErrorOf(file),
            "directory entry 3 of the block at offset 4 points past the end of the file, at offset "
            "25");
}

TEST(CaptureDamageTest, AnyChangedByteOfAnUnusedEntryIsDamage) {
  const auto bytes = std::make_shared<Bytes>(SmallCapture().Closed());
  for (std::size_t place = 4 + 7 * 3; place < 4 + 57344; ++place) {
    (*bytes)[place] = 0x10;
    const sOpened opened = OpenBytes(bytes);
    ASSERT_NE(opened.file, nullptr);
    ASSERT_EQ(opened.file->State(), eCaptureState::Damaged) << place;
    (*bytes)[place] = 0;
  }
}

TEST(CaptureDamageTest, AnyChangedByteAnywhereIsReadWithoutHarm) {
  Bytes file = SmallCapture().Closed();
  for (std::size_t place = 0; place < file.size(); ++place) {
    // Unused entries have a test of their own.
    if (place == 4 + 7 * 4) {
      place = 4 + 57344 - 7;
    }
    for (unsigned value = 0; value < 256; ++value) {
      const std::uint8_t before = file[place];
      file[place] = static_cast<std::uint8_t>(value);
      const sOpened opened = OpenBytes(std::make_shared<const Bytes>(file));
      file[place] = before;
      if (opened.file != nullptr) {
        ASSERT_LE(opened.file->ItemCount(), 4U);
        ReadEverything(*opened.file);
        // Beyond the used entries and the records, every byte is checked.
        const bool checked =
            place < 4 || (place >= 4 + 7 * 3 && place < kRecords) || place >= file.size() - 32;
        if (checked && value != before) {
          ASSERT_NE(opened.file->Damage(), std::nullopt) << place;
        }
      }
    }
  }
}

// --- The chain of blocks

TEST(CaptureDamageTest, ANextBlockOfABlockThatIsNotFullIsDamage) {
  EXPECT_EQ(
      ErrorOf(With(SmallCapture().Closed(), 4 + 57344, kRecords, 8)),
      "the block at offset 4 names a next block although its directory is not full, at offset "
      "57348");
}

TEST(CaptureDamageTest, ANextBlockThatPointsBackIsDamageAndNoEndlessLoop) {
  const std::string expected =
      "the block at offset 4 names a next block that lies before the end of its own records, at "
      "offset 57348";
  for (const std::uint64_t next : {std::uint64_t{1}, std::uint64_t{4}, std::uint64_t{57364},
                                   std::uint64_t{kSecondBlock - 1}}) {
    EXPECT_EQ(ErrorOf(With(TwoBlocks().Closed(), 4 + 57344, next, 8)), expected) << next;
  }
}

TEST(CaptureDamageTest, ANextBlockPastTheEndOfTheFileIsDamage) {
  const Bytes file = TwoBlocks().Closed();
  for (const std::uint64_t next : {std::uint64_t{file.size() - 57359}, std::uint64_t{file.size()},
                                   UINT64_MAX, UINT64_MAX / 2}) {
    EXPECT_EQ(ErrorOf(With(file, 4 + 57344, next, 8)),
              "the block at offset 4 names a next block that runs past the end of the file, at "
              "offset 57348")
        << next;
  }
}

TEST(CaptureDamageTest, ANextBlockThatIsNotWhereTheIndexHasItIsDamage) {
  // One byte later: the directory found there is that of the second block, moved by a byte.
  EXPECT_NE(ErrorOf(With(TwoBlocks().Closed(), 4 + 57344, kSecondBlock + 1, 8)), "");
}

TEST(CaptureDamageTest, AMissingLinkToTheSecondBlockIsDamage) {
  EXPECT_EQ(ErrorOf(With(TwoBlocks().Closed(), 4 + 57344, 0, 8)),
            "the trailer counts 8193 items, the directories hold 8192, at offset " +
                std::to_string(TwoBlocks().Closed().size() - 8));
}

TEST(CaptureDamageTest, TheLastBlockOfTheChainHasNoNext) {
  const std::size_t link = kSecondBlock + 57344;
  EXPECT_EQ(ErrorOf(With(TwoBlocks().Closed(), link, 4, 8)),
            "the block at offset 73748 names a next block although its directory is not full, at "
            "offset " +
                std::to_string(link));
}

TEST(CaptureDamageTest, ABaseTimeThatNoClockCanShowIsDamage) {
  const Bytes file = SmallCapture().Unclosed();
  // 2^64 units of 100 ns are 1,844,674,407,370,955 whole milliseconds.
  EXPECT_EQ(ErrorOf(With(file, 4 + 57352, 1'844'674'407'370'955, 8)), "");
  EXPECT_EQ(
      ErrorOf(With(file, 4 + 57352, 1'844'674'407'370'956, 8)),
      "the base time of the block at offset 4 is later than any clock can be, at offset 57356");
}

TEST(CaptureDamageTest, AnItemTimeThatNoClockCanShowIsAnErrorOfThatItemOnly) {
  cCaptureBuilder builder;
  builder.AddBlock(1'844'674'407'370'955);
  builder.AddRaw(1, 1, Hex("00 42"));
  builder.AddRaw(1, 1, Hex("01 42"));
  builder.AddRaw(1 + 3 * 32, 1, Hex("FF FF FF FF FF FF FF FF 42"));
  builder.AddRaw(1, 1, Hex("00 42"));
  const sOpened opened = OpenBytes(builder.Closed());
  ASSERT_NE(opened.file, nullptr);
  EXPECT_TRUE(opened.file->IsComplete());
  sCaptureItem item;
  EXPECT_EQ(opened.file->ReadItem(0, item), std::nullopt);
  EXPECT_EQ(opened.file->ReadItem(1, item)->Text(),
            "the time of item 1 is later than any clock can be, at offset 57366");
  EXPECT_EQ(opened.file->ReadItem(2, item)->Text(),
            "the time of item 2 is later than any clock can be, at offset 57368");
  EXPECT_EQ(opened.file->ReadItem(3, item), std::nullopt);
}

// --- Block index and trailer

TEST(CaptureDamageTest, AnyChangedByteOfTheBlockIndexIsDamageAtItsField) {
  const Bytes good = TwoBlocks().Closed();
  const std::size_t index = good.size() - 16 - 2 * 16;
  for (std::size_t place = 0; place < 32; ++place) {
    Bytes file = good;
    file[index + place] = static_cast<std::uint8_t>(file[index + place] ^ 0x01);
    const char* const field = place % 16 < 8 ? "position" : "base time";
    EXPECT_EQ(ErrorOf(file), "block index entry " + std::to_string(place / 16) +
                                 " does not have its block's " + field + ", at offset " +
                                 std::to_string(index + place / 8 * 8));
  }
}

TEST(CaptureDamageTest, AnyChangedByteOfTheTrailerIsDamageAtItsField) {
  const Bytes good = TwoBlocks().Closed();
  const std::size_t trailer = good.size() - 16;
  for (std::size_t place = 0; place < 16; ++place) {
    Bytes file = good;
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

TEST(CaptureDamageTest, AHugeItemCountInTheTrailerCostsNothing) {
  const Bytes file = SmallCapture().Closed();
  EXPECT_EQ(ErrorOf(With(file, file.size() - 8, 0xFFFFFFFF, 4)),
            "the trailer counts 4294967295 items, the directories hold 3, at offset " +
                std::to_string(file.size() - 8));
}

TEST(CaptureDamageTest, ATrailerWithoutABlockIndexIsDamage) {
  Bytes file = SmallCapture().Unclosed();
  const std::size_t end = file.size();
  Append(file, 0, 8);
  Append(file, 3, 4);
  Append(file, 0xAB603107, 4);
  EXPECT_EQ(ErrorOf(file),
            "the block index does not fit between the last record and the trailer, at offset " +
                std::to_string(end));
}

TEST(CaptureDamageTest, AClosedFileWhoseLastBlockHasNoItemsIsDamaged) {
  cCaptureBuilder builder;
  builder.AddBlock(kStart);
  EXPECT_EQ(ErrorOf(builder.Closed()), "the last block has no items, at offset 4");
}

TEST(CaptureDamageTest, BytesBehindTheTrailerMakeAFileUnclosed) {
  Bytes file = SmallCapture().Closed();
  file.push_back(0);
  const sOpened opened = OpenBytes(file);
  ASSERT_NE(opened.file, nullptr);
  EXPECT_EQ(opened.file->State(), eCaptureState::Unclosed);
  EXPECT_EQ(opened.file->UnclaimedBytes(), 33U);
}

// --- Sources that fail

// A file with one byte that cannot be read, or whose size cannot be found out more than a few
// times.
class cFailingSource final : public cByteSource {
 public:
  explicit cFailingSource(Bytes bytes) : memory(std::make_shared<const Bytes>(std::move(bytes))) {}

  std::uint64_t badByte = UINT64_MAX;
  int sizesLeft = 1000;

  [[nodiscard]] std::optional<std::uint64_t> Size() override {
    return sizesLeft-- > 0 ? memory.Size() : std::nullopt;
  }
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
    const std::size_t count = memory.ReadAt(offset, bytes);
    if (badByte < offset || badByte - offset >= count) {
      return count;
    }
    return static_cast<std::size_t>(badByte - offset);
  }

 private:
  cMemorySource memory;
};

[[nodiscard]] std::string ErrorWithBadByte(const Bytes& file, std::uint64_t badByte) {
  auto source = std::make_unique<cFailingSource>(file);
  source->badByte = badByte;
  sCaptureError error;
  const auto opened = cCaptureFile::Open(std::move(source), error);
  if (opened == nullptr) {
    return error.Text();
  }
  return opened->Damage() ? opened->Damage()->Text() : "";
}

TEST(CaptureDamageTest, BytesThatCannotBeReadAreDamageWhereTheyAre) {
  const Bytes file = TwoBlocks().Closed();
  const std::size_t index = file.size() - 48;
  EXPECT_EQ(ErrorWithBadByte(file, 2), "the file is too short to be a capture file, at offset 2");
  EXPECT_EQ(ErrorWithBadByte(file, 4 + 57352),
            "the base time of the block at offset 4 cannot be read, at offset 57356");
  EXPECT_EQ(ErrorWithBadByte(file, 1000), "the block at offset 4 cannot be read, at offset 1000");
  EXPECT_EQ(ErrorWithBadByte(file, kSecondBlock + 57359),
            "the base time of the block at offset 73748 cannot be read, at offset 131100");
  EXPECT_EQ(ErrorWithBadByte(file, kSecondBlock + 57344),
            "the block at offset 73748 cannot be read, at offset 131092");
  EXPECT_EQ(ErrorWithBadByte(file, index + 20),
            "block index entry 0 cannot be read, at offset " + std::to_string(index));
  EXPECT_EQ(ErrorWithBadByte(file, file.size() - 1),
            "the end of the file cannot be read, at offset " + std::to_string(file.size() - 16));
  EXPECT_EQ(ErrorWithBadByte(file, kRecords), "");
}

TEST(CaptureDamageTest, AFileBegunThatCannotBeReadIsDamaged) {
  Bytes file = cCaptureBuilder().Unclosed();
  file.resize(30);
  EXPECT_EQ(ErrorWithBadByte(file, 20), "the end of the file cannot be read, at offset 14");
  EXPECT_EQ(ErrorWithBadByte(file, 5), "the first block cannot be read, at offset 4");
}

TEST(CaptureDamageTest, AFileWhoseSizeCannotBeFoundOutIsDamaged) {
  int sizes = 0;
  for (;; ++sizes) {
    auto source = std::make_unique<cFailingSource>(TwoBlocks().Closed());
    source->sizesLeft = sizes;
    sCaptureError error;
    const auto file = cCaptureFile::Open(std::move(source), error);
    ASSERT_NE(file, nullptr);
    if (!file->Damage()) {
      break;
    }
    EXPECT_EQ(file->Damage()->Text(), "the file's size cannot be found out");
  }
  // Before the first block, after the directory of each, and at the end.
  EXPECT_EQ(sizes, 4);
}

TEST(CaptureDamageTest, AnItemThatCannotBeReadIsAnErrorOfThatItem) {
  auto owned = std::make_unique<cFailingSource>(SmallCapture().Closed());
  cFailingSource& source = *owned;
  sCaptureError error;
  const auto file = cCaptureFile::Open(std::move(owned), error);
  ASSERT_NE(file, nullptr);
  sCaptureItem item;
  source.badByte = 100;
  EXPECT_EQ(file->ReadItem(1, item)->Text(),
            "the directory of the block at offset 4 cannot be read, at offset 4");
  source.badByte = kRecords + 9 + 5;
  EXPECT_EQ(file->ReadItem(1, item)->Text(),
            "the record of item 1 cannot be read, at offset 57373");
  EXPECT_EQ(file->ReadItem(0, item), std::nullopt);
  EXPECT_EQ(file->ReadItem(2, item), std::nullopt);
  source.badByte = UINT64_MAX;
  EXPECT_EQ(file->ReadItem(1, item), std::nullopt);
}

TEST(CaptureDamageTest, AFileThatWasChangedAfterItWasOpenedIsAnErrorOfTheItem) {
  const auto bytes = std::make_shared<Bytes>(SmallCapture().Closed());
  const sOpened opened = OpenBytes(bytes);
  ASSERT_NE(opened.file, nullptr);
  Put(*bytes, 4 + 7 * 1, 0, 7);
  sCaptureItem item;
  const auto error = opened.file->ReadItem(1, item);
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->Text(), "item 1 is no longer in its directory, at offset 11");
}

}  // namespace
}  // namespace corvane
