#include <gtest/gtest.h>

#include "reader/capture_builder.h"
#include "reader/capture_file.h"
#include "support/temp_directory.h"

namespace corvane {
namespace {

// A capture larger than 4 GiB, most of which are holes that take no room on the disk.
class LargeCaptureTest : public ::testing::Test {
 protected:
  static constexpr std::uint64_t kTime = 13'360'420'800'000;
  static constexpr std::uint64_t kGiB = 1024ULL * 1024 * 1024;

  void WriteAt(std::uint64_t offset, const ByteVector& bytes) {
    file.seekp(static_cast<std::streamoff>(offset));
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    ASSERT_TRUE(file.good()) << "at " << offset;
  }

  [[nodiscard]] static ByteVector Number(std::uint64_t value, std::size_t size) {
    ByteVector bytes;
    Append(bytes, value, size);
    return bytes;
  }

  void WriteEntry(std::uint64_t block, unsigned entry, std::uint64_t position, unsigned length) {
    ByteVector bytes = {0x01};
    Append(bytes, position, 4);
    Append(bytes, length, 2);
    WriteAt(block + 7 * entry, bytes);
  }

  cTempDirectory folder;
  std::ofstream file{folder.Path("large.isf"), std::ios::binary | std::ios::trunc};
};

TEST_F(LargeCaptureTest, ItemsBeyondFourGigabytesAreRead) {
  // Block 1 is full; its last record lies as far behind it as a directory entry can say. Block 2
  // stands at 5 GiB and has one item, 6 GiB into the file.
  cCaptureBuilder first;
  for (int number = 0; number < 8191; ++number) {
    first.Add({1, kTime, {0x42}, {}});
  }
  const std::uint64_t block2 = 5 * kGiB;
  WriteAt(0, first.Unclosed());
  const std::uint64_t farthest = 0xFFFFFFF0;
  WriteEntry(4, 8191, farthest, 3);
  WriteAt(4 + 57360 + farthest, Hex("07 AA BB CC"));
  WriteAt(block2 + 57352, Number(kTime + 1000, 8));
  WriteAt(4 + 57344, Number(block2, 8));
  WriteEntry(block2, 0, 1 * kGiB - 57360, 2);
  WriteAt(6 * kGiB, Hex("00 DD EE"));
  ByteVector closing = Number(4, 8);
  Append(closing, kTime, 8);
  Append(closing, block2, 8);
  Append(closing, kTime + 1000, 8);
  Append(closing, 0, 8);
  Append(closing, 8193, 4);
  Append(closing, 0xAB603107, 4);
  WriteAt(6 * kGiB + 3, closing);
  file.close();
  ASSERT_TRUE(file.good());

  sCaptureError error;
  const auto capture = cCaptureFile::Open(folder.Path("large.isf"), error);
  ASSERT_NE(capture, nullptr) << error.Text();
  // The holes belong to no record: no recorder writes such a file, but its items are where its
  // directories say.
  EXPECT_EQ(capture->State(), eCaptureState::Damaged);
  EXPECT_EQ(capture->AllDamage().Count(), 3U);
  EXPECT_EQ(capture->PassedOver(), 0U);
  EXPECT_EQ(capture->Size(), 6 * kGiB + 3 + 48);
  ASSERT_EQ(capture->ItemCount(), 8193U);
  sCaptureItem item;
  ASSERT_EQ(capture->ReadItem(8192, item), std::nullopt);
  EXPECT_EQ(item.bytes, Hex("DD EE"));
  EXPECT_EQ(item.time, kTime + 1000);
  EXPECT_EQ(item.offset, 6 * kGiB);
  ASSERT_EQ(capture->ReadItem(8191, item), std::nullopt);
  EXPECT_EQ(item.bytes, Hex("AA BB CC"));
  ASSERT_EQ(capture->ReadItem(8190, item), std::nullopt);
  EXPECT_EQ(item.bytes, Hex("42"));
}

}  // namespace
}  // namespace corvane
