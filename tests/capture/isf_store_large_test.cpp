#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <string>

#include "capture/store_fixture.h"
#include "platform/error_codes.h"

namespace corvane {
namespace {

using ::testing::ElementsAre;

constexpr std::uint64_t kGiB = std::uint64_t{1} << 30;

// Captures larger than a test can write. Their gaps take no room where the file system keeps sparse
// files, and their counters are put forward instead of counted up.
class IsfStoreLargeTest : public cStoreTest {
 protected:
  // Lets the file end at `position`: whatever is added next goes there.
  void ContinueAt(std::uint64_t position) {
    const std::uint8_t last = 0x5A;
    ASSERT_EQ(store.WriteAt(position - 1, &last, 1), kErrorSuccess);
  }

  // Lets the newest block count as full, so that the next item starts a block.
  void FillNewestBlock() {
    sStoreCounters counters(store);
    counters.blockItems = 8192;
    counters.itemCount = static_cast<std::uint32_t>(counters.Blocks() * 8192);
  }

  [[nodiscard]] ByteVector Bytes(std::uint64_t position, std::size_t count) const {
    std::ifstream file(scratch.Path(kFileName), std::ios::binary);
    file.seekg(static_cast<std::streamoff>(position));
    ByteVector bytes(count);
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(count));
    EXPECT_TRUE(file) << position;
    return bytes;
  }

  // The link of the block at `position` to the block after it.
  [[nodiscard]] ByteVector LinkOf(std::uint64_t position) const {
    return Bytes(position + 57344, 8);
  }
};

TEST_F(IsfStoreLargeTest, PositionsBeyondTwoAndFourGibibytesWork) {
  for (const std::uint64_t far : {2 * kGiB, 4 * kGiB + 5}) {
    StartAnew();
    ContinueAt(far);
    ASSERT_EQ(Add({0x0A, 0xBB}), kErrorSuccess);
    ASSERT_EQ(Add({0x0A, 0xCC}), kErrorSuccess);
    store.Close();

    // From the block on the file is one item's file, at another place.
    std::ifstream file(scratch.Path(kFileName), std::ios::binary);
    file.seekg(static_cast<std::streamoff>(far));
    const ByteVector tail{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    ASSERT_EQ(tail.size(), 57360U + 6U + 16U + 16U);
    EXPECT_THAT(ByteVector(tail.begin(), tail.begin() + 14),
                ElementsAre(1, 0, 0, 0, 0, 2, 0, 1, 3, 0, 0, 0, 2, 0));
    EXPECT_THAT(ByteVector(tail.begin() + 57360, tail.begin() + 57366),
                ElementsAre(0, 0x0A, 0xBB, 0, 0x0A, 0xCC));
    const sDecodedEnd end = DecodeEnd(tail, 1);
    EXPECT_EQ(end.index[0].blockOffset, far);
    EXPECT_EQ(end.itemCount, 2U);
  }
}

TEST_F(IsfStoreLargeTest, ALinkNamesABlockBeyondFourGibibytes) {
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  FillNewestBlock();
  ContinueAt(4 * kGiB + 0x12345);
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  EXPECT_THAT(LinkOf(4), ElementsAre(0x45, 0x23, 0x01, 0, 1, 0, 0, 0));
}

TEST_F(IsfStoreLargeTest, ALinkIsWrittenIntoABlockBeyondFourGibibytes) {
  const std::uint64_t second = 4 * kGiB + 0x12345;
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  FillNewestBlock();
  ContinueAt(second);
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  FillNewestBlock();
  ContinueAt(2 * second);
  EXPECT_THAT(LinkOf(second), ElementsAre(0, 0, 0, 0, 0, 0, 0, 0));
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  EXPECT_THAT(LinkOf(second), ElementsAre(0x8A, 0x46, 0x02, 0, 2, 0, 0, 0));
  EXPECT_THAT(LinkOf(2 * second), ElementsAre(0, 0, 0, 0, 0, 0, 0, 0));
}

// A full block of long packets reaches 130 MiB behind its directory.
TEST_F(IsfStoreLargeTest, AnEntrysPositionTakesAllFourBytes) {
  const std::uint64_t behindBlock = 0x07'89'AB'CD;
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  ContinueAt(4 + 57360 + behindBlock);
  ASSERT_EQ(Add({0x0A, 0xBB}), kErrorSuccess);
  EXPECT_THAT(Bytes(4 + 7, 7), ElementsAre(1, 0xCD, 0xAB, 0x89, 0x07, 2, 0));
  EXPECT_THAT(Bytes(4 + 57360 + behindBlock, 3), ElementsAre(0, 0x0A, 0xBB));
}

TEST_F(IsfStoreLargeTest, TheIndexHasEveryOneOfFiveThousandBlocks) {
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  sStoreCounters(store).PutBlocksBeforeTheNewest(4998);
  FillNewestBlock();
  const std::uint64_t newest = Contents().size();
  ASSERT_EQ(Add({0x0A}), kErrorSuccess);
  store.Close();

  const sDecodedEnd end = DecodeEnd(Contents(), 5000);
  EXPECT_EQ(end.indexPosition, newest + 57360 + 2);
  EXPECT_EQ(end.itemCount, 4999U * 8192U + 1U);
  for (std::uint32_t i = 0; i < 4998; ++i) {
    ASSERT_EQ(end.index[i].blockOffset, i);
    ASSERT_EQ(end.index[i].baseTime, 2 * i);
  }
  EXPECT_EQ(end.index[4998].blockOffset, 4U);
  EXPECT_EQ(end.index[4999].blockOffset, newest);
}

}  // namespace
}  // namespace corvane
