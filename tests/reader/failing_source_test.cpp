#include <gtest/gtest.h>

#include "reader/capture_builder.h"
#include "reader/capture_file.h"

namespace corvane {
namespace {

constexpr std::size_t kRecords = 4 + 57360;  // where the records of the first block begin
constexpr std::size_t kSecondBlock = kRecords + 8192 * 2;

// A file with one byte that cannot be read, or whose size cannot be found out more than a few
// times.
class cFailingSource final : public cByteSource {
 public:
  explicit cFailingSource(ByteVector bytes)
      : memory(std::make_shared<const ByteVector>(std::move(bytes))) {}

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
