#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

#include "reader/capture_builder.h"
#include "reader/capture_file.h"

namespace corvane {
namespace {

using ::testing::ElementsAre;

constexpr std::size_t kRecords = 4 + 57360;  // where the records of the first block begin
constexpr std::size_t kSecondBlock = kRecords + 8192 * 2;

// Reads all that the file claims to hold, which must neither crash nor go on without end.
void ReadEverything(cCaptureFile& file) {
  sCaptureItem item;
  for (auto number = file.NextItem(0); number; number = file.NextItem(*number + 1)) {
    std::ignore = file.ReadItem(*number, item);
  }
}

// --- Beginnings

TEST(CaptureDamageTest, AFileShorterThanTheHeaderIsRefused) {
  EXPECT_EQ(ErrorOf({}), "the file is too short to be a capture file, at offset 0");
  EXPECT_EQ(ErrorOf(Hex("08 31 60")), "the file is too short to be a capture file, at offset 3");
}

TEST(CaptureDamageTest, AnyChangedByteOfTheHeaderIsRefused) {
  for (std::size_t place = 0; place < 4; ++place) {
    for (unsigned bit = 0; bit < 8; ++bit) {
      ByteVector file = SmallCapture().Closed();
      file[place] = static_cast<std::uint8_t>(file[place] ^ 1U << bit);
      const sOpened opened = OpenBytes(file);
      EXPECT_EQ(opened.file, nullptr);
      EXPECT_EQ(opened.error.Text(), "the file does not begin as a capture file does, at offset 0");
    }
  }
}

TEST(CaptureDamageTest, SixteenBytesBehindTheHeaderAreTrailerOrBlock) {
  const ByteVector empty = cCaptureBuilder().Closed();
  EXPECT_EQ(ErrorOf(With(empty, 16, 0xAB603108, 4)),
            "what follows the header is neither a block nor a trailer, at offset 16");
  EXPECT_EQ(ErrorOf(With(empty, 12, 1, 4)),
            "the trailer counts 1 items, the directories hold 0, at offset 12");
  EXPECT_EQ(ErrorOf(With(empty, 5, 1, 1)),
            "the first 64 bits of the trailer are not zero, at offset 4");
}

// --- Cut off

TEST(CaptureDamageTest, AClosedFileCutOffAnywhereIsNeverComplete) {
  const auto bytes = std::make_shared<ByteVector>(SmallCapture().Closed());
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
    ReadEverything(*opened.file);
    if (!damaged) {
      continue;
    }
    const std::uint64_t good = opened.file->ItemCount();
    std::string expected = "directory entry " + std::to_string(good) +
                           " of the block at offset 4 points past the end of the file (" +
                           std::to_string(3 - good) + (good == 2 ? " entry" : " entries") +
                           " passed over), at offset " + std::to_string(4 + 7 * good);
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
  const ByteVector whole = TwoBlocks().Unclosed();
  for (const std::size_t length :
       {kSecondBlock, kSecondBlock + 1, kSecondBlock + 57359, kSecondBlock + 57360}) {
    const sOpened opened =
        OpenBytes(ByteVector(whole.begin(), whole.begin() + static_cast<int>(length)));
    ASSERT_NE(opened.file, nullptr);
    ASSERT_TRUE(opened.file->Damage().has_value());
    EXPECT_EQ(
        opened.file->Damage()->Text(),
        length < kSecondBlock + 57360
            ? "the block at offset 4 names a next block that runs past the end of the file, at "
              "offset 57348"
            : "directory entry 0 of the block at offset 73748 points past the end of the file (1 "
              "entry passed over), at offset 73748");
    EXPECT_EQ(opened.file->ItemCount(), 8192U);
    ReadEverything(*opened.file);
  }
}

// --- Directory

TEST(CaptureDamageTest, AnEntryOfLengthZeroIsDamage) {
  EXPECT_EQ(ErrorOf(With(SmallCapture().Closed(), 4 + 7 * 1 + 5, 0, 2)),
            "directory entry 1 of the block at offset 4 has length 0 (1 entry passed over), at "
            "offset 11");
}

TEST(CaptureDamageTest, AnEntryThatPointsIntoTheRecordBeforeItsOwnIsDamage) {
  EXPECT_EQ(ErrorOf(With(SmallCapture().Closed(), 4 + 7 * 1 + 1, 8, 4)),
            "directory entry 1 of the block at offset 4 points into the record before its own (1 "
            "entry passed over), at offset 11");
  EXPECT_EQ(ErrorOf(With(SmallCapture().Closed(), 4 + 7 * 2 + 1, 0, 4)),
            "directory entry 2 of the block at offset 4 points into the record before its own (1 "
            "entry passed over), at offset 18");
}

TEST(CaptureDamageTest, AnEntryWhoseRecordRunsIntoTheNextOneIsDamageThere) {
  // A length of 6 instead of 5, and a time field of 2 bytes instead of 1.
  const std::string expected =
      "directory entry 1 of the block at offset 4 runs into the record after its own (1 entry "
      "passed over), at offset 11";
  EXPECT_EQ(ErrorOf(With(SmallCapture().Closed(), 4 + 7 * 1 + 5, 6, 2)), expected);
  EXPECT_EQ(ErrorOf(With(SmallCapture().Closed(), 4 + 7 * 1, 2 + 32, 1)), expected);
  EXPECT_EQ(ErrorOf(With(SmallCapture().Closed(), 4 + 7 * 1, 2 + 128, 1)), expected);
}

TEST(CaptureDamageTest, AnEntryThatPointsPastTheEndOfTheFileIsDamage) {
  const std::string expected =
      "directory entry 2 of the block at offset 4 points past the end of the file (1 entry passed "
      "over), at "
      "offset 18";
  const ByteVector file = SmallCapture().Unclosed();
  const std::size_t last = file.size() - kRecords - 7;
  EXPECT_EQ(ErrorOf(With(file, 4 + 7 * 2 + 1, last, 4)), "");
  EXPECT_EQ(ErrorOf(With(file, 4 + 7 * 2 + 1, last + 1, 4)), expected);
  EXPECT_EQ(ErrorOf(With(file, 4 + 7 * 2 + 1, 0xFFFFFFFF, 4)), expected);
  EXPECT_EQ(ErrorOf(With(file, 4 + 7 * 2 + 5, 3, 2)), expected);
  EXPECT_EQ(ErrorOf(With(file, 4 + 7 * 2 + 5, 0xFFFF, 2)), expected);
}

TEST(CaptureDamageTest, ARecordThatReachesIntoTheBlockIndexIsDamage) {
  const ByteVector file = SmallCapture().Closed();
  EXPECT_EQ(
      ErrorOf(With(file, 4 + 7 * 2 + 5, 3, 2)),
      "directory entry 2 of the block at offset 4 points into the block index (1 entry passed "
      "over), at offset 18");
}

TEST(CaptureDamageTest, AnEntryAfterAnUnusedOneIsDamage) {
  EXPECT_EQ(
      ErrorOf(With(SmallCapture().Closed(), 4 + 7 * 1, 0, 7)),
      "directory entry 1 of the block at offset 4 is unused, but entries after it are used (1 "
      "entry passed over), at offset 11");
  EXPECT_EQ(
      ErrorOf(With(SmallCapture().Closed(), 4 + 7 * 8191 + 6, 1, 1)),
      "directory entry 3 of the block at offset 4 is unused, but entries after it are used (8189 "
      "entries passed over), at offset 25");
}

TEST(CaptureDamageTest, AnEntryWithoutARecordIsDamageThoughTheTrailerCountsIt) {
  ByteVector file = With(SmallCapture().Closed(), 4 + 7 * 3, 0x01, 1);
  Put(file, 4 + 7 * 3 + 1, 1000, 4);
  Put(file, 4 + 7 * 3 + 5, 1, 2);
  Put(file, file.size() - 8, 4, 4);
  EXPECT_EQ(ErrorOf(file),
            "directory entry 3 of the block at offset 4 points past the end of the file (1 entry "
            "passed over), at offset 25");
}

TEST(CaptureDamageTest, AnyChangedByteOfAnUnusedEntryIsDamage) {
  const auto bytes = std::make_shared<ByteVector>(SmallCapture().Closed());
  const std::size_t end = 4 + 57344;
  for (std::size_t place = 4 + 7 * 3; place < end; ++place) {
    // All bytes near both ends, and some of every kind between them.
    if (place == 4 + 7 * 40) {
      place += 7 * 8000;
    } else if (place > 4 + 7 * 20 && place < 4 + 7 * 40) {
      (*bytes)[place + 7 * 4000] = 0x10;
      ASSERT_EQ(OpenBytes(bytes).file->State(), eCaptureState::Damaged) << place;
      (*bytes)[place + 7 * 4000] = 0;
    }
    (*bytes)[place] = 0x10;
    const sOpened opened = OpenBytes(bytes);
    ASSERT_NE(opened.file, nullptr);
    ASSERT_EQ(opened.file->State(), eCaptureState::Damaged) << place;
    (*bytes)[place] = 0;
  }
}

TEST(CaptureDamageTest, AnyChangedByteAnywhereIsReadWithoutHarm) {
  ByteVector file = SmallCapture().Closed();
  for (std::size_t place = 0; place < file.size(); ++place) {
    // Unused entries have a test of their own.
    if (place == 4 + 7 * 4) {
      place = 4 + 57344 - 7;
    }
    for (unsigned value = 0; value < 256; ++value) {
      const std::uint8_t before = file[place];
      file[place] = static_cast<std::uint8_t>(value);
      const sOpened opened = OpenBytes(std::make_shared<const ByteVector>(file));
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
  const ByteVector file = TwoBlocks().Closed();
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
            "the block at offset 4 names no next block, although one follows, at offset 57348");
}

TEST(CaptureDamageTest, TheLastBlockOfTheChainHasNoNext) {
  const std::size_t link = kSecondBlock + 57344;
  EXPECT_EQ(ErrorOf(With(TwoBlocks().Closed(), link, 4, 8)),
            "the block at offset 73748 names a next block although its directory is not full, at "
            "offset " +
                std::to_string(link));
}

TEST(CaptureDamageTest, ABaseTimeThatNoClockCanShowIsDamage) {
  const ByteVector file = SmallCapture().Unclosed();
  // 2^64 units of 100 ns are 1,844,674,407,370,955 whole milliseconds.
  EXPECT_EQ(ErrorOf(With(file, 4 + 57352, 1'844'674'407'370'955, 8)), "");
  EXPECT_EQ(
      ErrorOf(With(file, 4 + 57352, 1'844'674'407'370'956, 8)),
      "the base time of the block at offset 4 is later than any clock can be (3 entries passed "
      "over), at offset 57356");
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
  EXPECT_THAT(TextsOf(opened.file->AllDamage()),
              ElementsAre("item 1 has a time later than any clock can be, at offset 57366",
                          "item 2 has a time later than any clock can be, at offset 57368"));
  sCaptureItem item;
  EXPECT_EQ(opened.file->ReadItem(0, item), std::nullopt);
  EXPECT_EQ(opened.file->ReadItem(1, item)->Text(),
            "the time of item 1 is later than any clock can be, at offset 57366");
  EXPECT_EQ(opened.file->ReadItem(2, item)->Text(),
            "the time of item 2 is later than any clock can be, at offset 57368");
  EXPECT_EQ(opened.file->ReadItem(3, item), std::nullopt);
}

}  // namespace
}  // namespace corvane
