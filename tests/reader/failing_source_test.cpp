#include <gtest/gtest.h>

#include <climits>

#include "reader/capture_builder.h"
#include "reader/capture_file.h"
#include "reader/joined_captures.h"

namespace corvane {
namespace {

constexpr std::size_t kRecords = 4 + 57360;  // where the records of the first block begin
constexpr std::size_t kSecondBlock = kRecords + 8192 * 2;

// A file with one byte that cannot be read, ever or at first, or whose size cannot be found out
// more than a few times.
class cFailingSource final : public cByteSource {
 public:
  explicit cFailingSource(ByteVector bytes)
      : memory(std::make_shared<const ByteVector>(std::move(bytes))) {}

  std::uint64_t badByte = UINT64_MAX;
  int badReads = INT_MAX;  // so many reads of it fail
  int sizesLeft = 1000;

  [[nodiscard]] std::optional<std::uint64_t> Size() override {
    return sizesLeft-- > 0 ? memory.Size() : std::nullopt;
  }
  [[nodiscard]] std::size_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
    const std::size_t count = memory.ReadAt(offset, bytes);
    if (badByte < offset || badByte - offset >= count || badReads == 0) {
      return count;
    }
    --badReads;
    return static_cast<std::size_t>(badByte - offset);
  }

 private:
  cMemorySource memory;
};

[[nodiscard]] std::string ErrorWithBadByte(const ByteVector& file, std::uint64_t badByte) {
  auto source = std::make_unique<cFailingSource>(file);
  source->badByte = badByte;
  sCaptureError error;
  const auto opened = cCaptureFile::Open(std::move(source), error);
  if (opened == nullptr) {
    return error.Text();
  }
  return opened->Damage() ? opened->Damage()->Text() : "";
}

TEST(FailingSourceTest, BytesThatCannotBeReadAreDamageWhereTheyAre) {
  const ByteVector file = TwoBlocks().Closed();
  const std::size_t index = file.size() - 48;
  EXPECT_EQ(ErrorWithBadByte(file, 2), "the file is too short to be a capture file, at offset 2");
  EXPECT_EQ(ErrorWithBadByte(file, 4 + 57352),
            "the block at offset 4 cannot be read, at offset 57356");
  EXPECT_EQ(ErrorWithBadByte(file, 1000), "the block at offset 4 cannot be read, at offset 1000");
  EXPECT_EQ(ErrorWithBadByte(file, kSecondBlock + 57359),
            "the block at offset 73748 cannot be read, at offset 131107");
  EXPECT_EQ(ErrorWithBadByte(file, kSecondBlock + 57344),
            "the block at offset 73748 cannot be read, at offset 131092");
  EXPECT_EQ(ErrorWithBadByte(file, index + 20),
            "block index entry 1 cannot be read, at offset " + std::to_string(index + 16));
  EXPECT_EQ(ErrorWithBadByte(file, file.size() - 1),
            "the end of the file cannot be read, at offset " + std::to_string(file.size() - 16));
  EXPECT_EQ(ErrorWithBadByte(file, kRecords + 2),
            "the record of item 1 cannot be read, at offset 57366");
}

TEST(FailingSourceTest, AFileBegunThatCannotBeReadIsDamaged) {
  ByteVector file = cCaptureBuilder().Unclosed();
  file.resize(30);
  EXPECT_EQ(ErrorWithBadByte(file, 20), "the end of the file cannot be read, at offset 14");
  EXPECT_EQ(ErrorWithBadByte(file, 5), "the first block cannot be read, at offset 4");
}

TEST(FailingSourceTest, BytesThatCanBeReadTheNextTimeAreNoDamage) {
  for (const std::size_t badByte : {std::size_t{1000}, kRecords + 2, kSecondBlock + 57359}) {
    auto source = std::make_unique<cFailingSource>(TwoBlocks().Closed());
    source->badByte = badByte;
    source->badReads = 1;
    sCaptureError error;
    const auto file = cCaptureFile::Open(std::move(source), error);
    ASSERT_NE(file, nullptr);
    EXPECT_TRUE(file->IsComplete()) << badByte << ": " << file->Damage()->Text();
    EXPECT_EQ(file->ItemCount(), 8193U);
  }
}

// Where the link to it is wrong and there is no index, only its look tells that a block stands
// there.
TEST(FailingSourceTest, ABlockThatCannotBeLookedAtIsNone) {
  for (const std::size_t inBlock : {3U, 57344U, 57360U}) {
    auto source = std::make_unique<cFailingSource>(
        With(TwoBlocks().Unclosed(), 4 + 57344, kSecondBlock + 1, 8));
    source->badByte = kSecondBlock + inBlock;
    sCaptureError error;
    const auto file = cCaptureFile::Open(std::move(source), error);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->Blocks().size(), 1U) << inBlock;
    EXPECT_EQ(file->ItemCount(), 8192U);
    EXPECT_EQ(file->State(), eCaptureState::Damaged);
  }
}

TEST(FailingSourceTest, ARecordBehindAGapWhoseHeadCannotBeReadIsNone) {
  cCaptureBuilder builder = SmallCapture();
  const ByteVector file = builder.AddGap(5).Add({1, kNoon, {0x42}, {}}).Unclosed();
  EXPECT_EQ(ErrorWithBadByte(file, UINT64_MAX), "");
  EXPECT_EQ(ErrorWithBadByte(file, file.size() - 2),
            "directory entry 3 of the block at offset 4 does not point to a record (1 entry passed "
            "over), at offset 25");
}

TEST(FailingSourceTest, TheLastItemStandsInTheLastDirectoryThatCanBeRead) {
  auto owned = std::make_unique<cFailingSource>(TwoBlocks().Closed());
  cFailingSource& source = *owned;
  sCaptureError error;
  const auto file = cCaptureFile::Open(std::move(owned), error);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->LastItem(), 8192U);
  EXPECT_EQ(file->TypeOf(0), 1U);  // another directory is at hand
  source.badByte = kSecondBlock + 100;
  EXPECT_EQ(file->LastItem(), 8191U);
  EXPECT_EQ(file->TypeOf(8192), std::nullopt);
}

TEST(FailingSourceTest, AnotherCaptureIsLookedForAsFarAsTheFileCanBeRead) {
  const ByteVector zeros(60'000, 0);
  cFailingSource readable(zeros);
  EXPECT_EQ(FindCaptureBehind(readable, 0, zeros.size()), std::nullopt);
  ByteVector joined(100'000, 0);
  const ByteVector capture = SmallCapture().Unclosed();
  joined.insert(joined.end(), capture.begin(), capture.end());
  cFailingSource failing(joined);
  EXPECT_EQ(FindCaptureBehind(failing, 0, joined.size()), 100'000U);
  failing.badByte = 50'000;
  EXPECT_EQ(FindCaptureBehind(failing, 0, joined.size()), std::nullopt);
}

TEST(FailingSourceTest, ACaptureWhoseFirstRecordIsMissingIsNoOther) {
  // A header and a block, whose first entry leads to a record that is not there any more.
  ByteVector file = SmallCapture().Unclosed();
  file.resize(kRecords);
  cFailingSource source(file);
  EXPECT_TRUE(IsCaptureAt(source, 0, file.size()));
  EXPECT_EQ(FindCaptureBehind(source, 0, file.size()), std::nullopt);
}

TEST(FailingSourceTest, AFileWhoseSizeCannotBeFoundOutIsDamaged) {
  int sizes = 0;
  for (;; ++sizes) {
    auto source = std::make_unique<cFailingSource>(TwoBlocks().Closed());
    source->sizesLeft = sizes;
    sCaptureError error;
    const auto file = cCaptureFile::Open(std::move(source), error);
    ASSERT_NE(file, nullptr);
    // What was found stays where it is.
    for (std::size_t number = 0; number < file->Blocks().size(); ++number) {
      EXPECT_EQ(file->Blocks()[number].offset, number == 0 ? 4 : kSecondBlock);
    }
    if (!file->Damage()) {
      break;
    }
    EXPECT_EQ(file->Damage()->Text(), "the file's size cannot be found out");
  }
  // Before the first block, after the directory of each, and at the end.
  EXPECT_EQ(sizes, 4);
}

TEST(FailingSourceTest, AnItemThatCannotBeReadIsAnErrorOfThatItem) {
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
  std::uint64_t time = 0;
  EXPECT_EQ(file->ReadTime(1, time), std::nullopt);  // it stands in front of that byte
  source.badByte = kRecords + 9;
  EXPECT_EQ(file->ReadTime(1, time)->Text(),
            "the record of item 1 cannot be read, at offset 57373");
  EXPECT_EQ(file->ReadItem(0, item), std::nullopt);
  EXPECT_EQ(file->ReadItem(2, item), std::nullopt);
  source.badByte = UINT64_MAX;
  EXPECT_EQ(file->ReadItem(1, item), std::nullopt);
}

TEST(FailingSourceTest, AFileThatWasChangedAfterItWasOpenedIsAnErrorOfTheItem) {
  const auto bytes = std::make_shared<ByteVector>(SmallCapture().Closed());
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
