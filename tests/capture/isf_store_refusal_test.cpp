#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <mutex>

#include "capture/store_fixture.h"
#include "platform/error_codes.h"

namespace corvane {
namespace {

class IsfStoreRefusalTest : public cStoreTest {
 protected:
  // A buffer that claims so many bytes, whatever its constructors allow.
  [[nodiscard]] static OwnedBuffer Oversized(std::uint32_t size) {
    HeapBlock block(static_cast<std::uint8_t*>(std::calloc(size, 1)));
    auto item = std::make_unique<sSharedBuffer>(1, std::move(block), kOriginDevice);
    item->size = size;
    return item;
  }

  [[nodiscard]] std::uint32_t AddRaw(sSharedBuffer* item, std::uint32_t type) {
    const std::lock_guard guard(store.storeLock);
    return store.AddItem(item, type);
  }

  void ExpectNothingRecorded() { EXPECT_EQ(Contents().size(), 4U); }
};

TEST_F(IsfStoreRefusalTest, NoItemIsABadArgument) {
  EXPECT_EQ(AddRaw(nullptr, kAutomaticType), 160U);
  EXPECT_EQ(AddRaw(nullptr, 7), 160U);
  ExpectNothingRecorded();
}

TEST_F(IsfStoreRefusalTest, AnItemWithoutBytesIsABadArgument) {
  EXPECT_EQ(Add({}), 160U);
  EXPECT_EQ(Add({}, 7), 160U);
  ExpectNothingRecorded();
}

TEST_F(IsfStoreRefusalTest, APacketOf16641BytesOrMoreIsABadArgument) {
  for (const std::uint32_t size : {16641U, 65535U, 65536U, 70000U}) {
    const OwnedBuffer item = Oversized(size);
    EXPECT_EQ(AddRaw(item.get(), 1), 160U) << size;
    EXPECT_EQ(AddRaw(item.get(), kAutomaticType), 160U) << size;
  }
  EXPECT_EQ(Add(ByteVector(16641)), 160U);
  ExpectNothingRecorded();
}

TEST_F(IsfStoreRefusalTest, APacketOf16640BytesIsRecorded) {
  ByteVector packet = Packet({0x0A}, 16640);
  packet.back() = 0x77;
  EXPECT_EQ(Add(packet), 0U);
  EXPECT_EQ(Items().at(0).packet, packet);
}

TEST_F(IsfStoreRefusalTest, AnItemThatClaimsALengthOfZeroIsABadArgument) {
  sSharedBuffer item("x", 1, kOriginDevice);
  item.size = 0;
  EXPECT_EQ(AddRaw(&item, 1), 160U);
}

TEST_F(IsfStoreRefusalTest, ACommandCodeAbove92IsABadArgumentWhenTheTypeIsToBeChosen) {
  for (unsigned code = 0x93; code <= 0xFF; ++code) {
    EXPECT_EQ(Add({static_cast<std::uint8_t>(code), 0, 0, 0}), 160U) << code;
    EXPECT_EQ(AddRequest({static_cast<std::uint8_t>(code), 0, 0, 0}), 160U) << code;
  }
  ExpectNothingRecorded();
}

TEST_F(IsfStoreRefusalTest, CommandCode92IsStillTaken) { EXPECT_EQ(Add({0x92}), 0U); }

TEST_F(IsfStoreRefusalTest, ACommandCodeAbove92IsTakenWithAGivenType) {
  EXPECT_EQ(Add({0xC0, 0xFF, 0xFF, 0xFF}, 7, kOriginLibrary), 0U);
  EXPECT_EQ(Items().size(), 1U);
}

TEST_F(IsfStoreRefusalTest, WithoutAFileAnItemIsRefusedWithCode9) {
  store.Close();
  EXPECT_EQ(Add({0x0A}), 9U);
  EXPECT_EQ(Add({0x0A}, 7), 9U);
}

TEST_F(IsfStoreRefusalTest, ABadItemIsToldBeforeAMissingFile) {
  store.Close();
  EXPECT_EQ(Add({}), 160U);
  EXPECT_EQ(Add({0x93}), 160U);
}

TEST_F(IsfStoreRefusalTest, AStoreThatNeverHadAFileRefusesItemsAndClosesQuietly) {
  cISFStore unused;
  sSharedBuffer item("\x0A", 1, kOriginDevice);
  EXPECT_EQ(unused.AddItem(&item, 1), 9U);
  unused.Close();
}

TEST_F(IsfStoreRefusalTest, AStreamThatIsNotOpenIsNotAttachedButTheFileBeforeIsFinished) {
  ASSERT_EQ(Add({0x0A}), 0U);
  store.Attach(std::make_unique<std::ofstream>());
  EXPECT_EQ(DecodeEnd(Contents(), 1).itemCount, 1U);
  EXPECT_EQ(Add({0x0A}), 9U);
  const std::uint8_t byte = 1;
  EXPECT_EQ(store.WriteAt(0, &byte, 1), 160U) << "there is no file, rather than a failed one";
  Attach("second.isf");
  store.Attach(nullptr);
  EXPECT_EQ(DecodeEnd(ReadFile(scratch.Path("second.isf")), 0).itemCount, 0U);
  EXPECT_EQ(Add({0x0A}), 9U);
}

TEST_F(IsfStoreRefusalTest, AnItemCountOutOfStepWithTheBlocksIsRefusedWithCode9) {
  ASSERT_EQ(Add({0x0A}), 0U);
  const std::size_t size = Contents().size();
  sStoreCounters counters(store);
  for (const std::uint32_t wrong : {0U, 2U, 8193U}) {
    counters.itemCount = wrong;
    EXPECT_EQ(Add({0x0A}), 9U) << wrong;
    EXPECT_EQ(counters.itemCount, wrong);
  }
  EXPECT_EQ(Contents().size(), size);
  counters.itemCount = 1;
  EXPECT_EQ(Add({0x0A}), 0U);
}

TEST_F(IsfStoreRefusalTest, ItemsWithoutAnyBlockAreRefusedWithCode9) {
  ASSERT_EQ(Add({0x0A}), 0U);
  sStoreCounters counters(store);
  counters.DropBlocks();
  counters.itemCount = 1U - 8192U;
  EXPECT_EQ(Add({0x0A}), 9U);
}

// 2^19 + 1 blocks would hold 2^32 items before the newest one.
TEST_F(IsfStoreRefusalTest, TheItemCountIsComparedIn32Bits) {
  ASSERT_EQ(Add({0x0A}), 0U);
  sStoreCounters counters(store);
  counters.PutBlocksBeforeTheNewest(std::size_t{1} << 19);
  ASSERT_EQ(counters.itemCount, 1U);
  EXPECT_EQ(Add({0x0A}), 0U);
  EXPECT_EQ(counters.itemCount, 2U);
  counters.DropBlocks();
}

TEST_F(IsfStoreRefusalTest, AFileThatEndsWithinTheNewestBlockIsRefusedWithCode9) {
  ASSERT_EQ(Add({0x0A}), 0U);
  std::filesystem::resize_file(scratch.Path(kFileName), 4 + 57359);
  EXPECT_EQ(Add({0x0A}), 9U);
  std::filesystem::resize_file(scratch.Path(kFileName), 4 + 57360);
  EXPECT_EQ(Add({0x0A}), 0U);
}

TEST_F(IsfStoreRefusalTest, WriteAtRefusesNoFileNoBytesAndNoLength) {
  const std::uint8_t byte = 1;
  EXPECT_EQ(store.WriteAt(0, nullptr, 1), 160U);
  EXPECT_EQ(store.WriteAt(0, &byte, 0), 160U);
  store.Close();
  EXPECT_EQ(store.WriteAt(0, &byte, 1), 160U);
}

TEST_F(IsfStoreRefusalTest, WriteAtRefusesAFailedStreamWithCode9) {
  const std::uint8_t byte = 1;
  stream->setstate(std::ios::failbit);
  EXPECT_EQ(store.WriteAt(0, &byte, 1), 9U);
  stream->clear();
  EXPECT_EQ(store.WriteAt(0, &byte, 1), 0U);
}

TEST_F(IsfStoreRefusalTest, WriteAtRefusesAPositionThatNoFileHas) {
  const std::uint8_t byte = 1;
  EXPECT_EQ(store.WriteAt(0x8000000000000000, &byte, 1), 9U);
}

}  // namespace
}  // namespace corvane
