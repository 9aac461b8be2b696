#include "diag/shared_buffer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <utility>

#include "diag/made_packets.h"
#include "support/failing_allocation.h"
#include "support/member_order.h"

namespace corvane {
namespace {

constexpr std::int32_t kMaxLength = 16640;

HeapBlock MakeBlock(std::size_t size, std::uint8_t firstByte = 0xAA) {
  HeapBlock block(static_cast<std::uint8_t*>(std::calloc(size, 1)));
  block[0] = firstByte;
  return block;
}

void ExpectEmpty(const sSharedBuffer& buffer) {
  EXPECT_EQ(buffer.data, nullptr);
  EXPECT_EQ(buffer.size, 0U);
  EXPECT_FALSE(buffer.IsUsable());
  EXPECT_TRUE(buffer.Bytes().empty());
}

// A buffer that tells of its end.
int destroyedCount = 0;
struct sWatchedBuffer : sSharedBuffer {
  using sSharedBuffer::sSharedBuffer;
  ~sWatchedBuffer() override { ++destroyedCount; }
};

class SharedBufferTest : public testing::Test {
 protected:
  SharedBufferTest() { destroyedCount = 0; }

  static sSharedBuffer* MakeWatched() {
    return new sWatchedBuffer("abc", 3, kOriginDevice);  // for Release to destroy
  }
};

TEST_F(SharedBufferTest, TheBoundAndTheOriginsAreWhatTheyAreInEveryBuild) {
  EXPECT_EQ(kMaxBufferSize, 0x4100U);
  EXPECT_EQ(kOriginDevice, 3U);
  EXPECT_EQ(kOriginLibrary, 4U);
}

TEST_F(SharedBufferTest, TheMembersStandBehindTheVirtualTableInTheirOrder) {
  const sSharedBuffer buffer("abc", 3, kOriginDevice);
  EXPECT_EQ(static_cast<const void*>(reinterpret_cast<const char*>(&buffer) + sizeof(void*)),
            &buffer.data);
  EXPECT_TRUE(AreInMemoryOrder(buffer.data, buffer.size, buffer.origin, buffer.refCount));
}

TEST_F(SharedBufferTest, ACopyHoldsTheBytesTheOriginAndNoReference) {
  ByteVector source = {1, 2, 3};
  const sSharedBuffer buffer(source.data(), 3, kOriginLibrary);
  source[0] = 9;
  EXPECT_EQ(buffer.size, 3U);
  EXPECT_EQ(ByteVector(buffer.data, buffer.data + 3), (ByteVector{1, 2, 3}));
  EXPECT_EQ(buffer.origin, kOriginLibrary);
  EXPECT_EQ(buffer.refCount, 0U);
  EXPECT_TRUE(buffer.IsUsable());
}

TEST_F(SharedBufferTest, ACopyOfLengthZeroIsEmpty) {
  ExpectEmpty(sSharedBuffer("abc", 0, kOriginDevice));
}

TEST_F(SharedBufferTest, ACopyOfLength16641IsEmpty) {
  const ByteVector source(16641);
  ExpectEmpty(sSharedBuffer(source.data(), 16641, kOriginDevice));
}

TEST_F(SharedBufferTest, ACopyOfANullSourceIsEmpty) {
  ExpectEmpty(sSharedBuffer(nullptr, 3, kOriginDevice));
}

TEST_F(SharedBufferTest, ACopyOfANegativeLengthIsEmpty) {
  ExpectEmpty(sSharedBuffer("abc", -1, kOriginDevice));
  ExpectEmpty(sSharedBuffer("abc", std::numeric_limits<std::int32_t>::min(), kOriginDevice));
}

TEST_F(SharedBufferTest, ACopyOfLength16640Holds16640Bytes) {
  ByteVector source(16640);
  source.front() = 1;
  source.back() = 2;
  const sSharedBuffer buffer(source.data(), kMaxLength, kOriginDevice);
  EXPECT_EQ(buffer.size, 16640U);
  EXPECT_EQ(ByteVector(buffer.Bytes().begin(), buffer.Bytes().end()), source);
  EXPECT_TRUE(buffer.IsUsable());
}

TEST_F(SharedBufferTest, ACopyIsEmptyWhenMemoryRunsOut) {
  cAllocationFailure failure(eHeap::Blocks, 1);
  const sSharedBuffer buffer("abc", 3, kOriginLibrary);
  EXPECT_TRUE(failure.Disarm());
  ExpectEmpty(buffer);
  EXPECT_EQ(buffer.origin, kOriginLibrary);
}

TEST_F(SharedBufferTest, AnEmptyBufferStillHasItsOrigin) {
  EXPECT_EQ(sSharedBuffer(nullptr, 3, kOriginLibrary).origin, kOriginLibrary);
  EXPECT_EQ(sSharedBuffer(0, nullptr, kOriginLibrary).origin, kOriginLibrary);
}

TEST_F(SharedBufferTest, AnAdoptedBlockIsNotCopied) {
  HeapBlock block = MakeBlock(kMaxBufferSize);
  const std::uint8_t* const bytes = block.get();
  const sSharedBuffer buffer(kMaxLength, std::move(block), kOriginDevice);
  EXPECT_EQ(buffer.data, bytes);
  EXPECT_EQ(buffer.size, 16640U);
  EXPECT_EQ(buffer.origin, kOriginDevice);
  EXPECT_EQ(buffer.refCount, 0U);
  EXPECT_TRUE(buffer.IsUsable());
}

TEST_F(SharedBufferTest, AdoptingNoBlockGivesAnEmptyBuffer) {
  ExpectEmpty(sSharedBuffer(3, nullptr, kOriginDevice));
}

const void* watchedBlock = nullptr;
int freedCount = 0;
std::uint8_t firstByteWhenFreed = 0;

void WatchFree(const void* block) {
  if (block != watchedBlock) {
    return;
  }
  ++freedCount;
  firstByteWhenFreed = *static_cast<const std::uint8_t*>(block);
}

void ExpectRefusedBlockIsFreed(std::int32_t length) {
  HeapBlock block = MakeBlock(16641);
  watchedBlock = block.get();
  freedCount = 0;
  const cFreeObserver observer(WatchFree);
  const sSharedBuffer buffer(length, std::move(block), kOriginDevice);
  EXPECT_EQ(freedCount, 1) << "length " << length;
  ExpectEmpty(buffer);
}

TEST_F(SharedBufferTest, AdoptingLength16641FreesTheBlockAndGivesAnEmptyBuffer) {
  ExpectRefusedBlockIsFreed(16641);
}

TEST_F(SharedBufferTest, AdoptingLengthZeroOrLessFreesTheBlockAndGivesAnEmptyBuffer) {
  ExpectRefusedBlockIsFreed(0);
  ExpectRefusedBlockIsFreed(-1);
}

TEST_F(SharedBufferTest, TheFirstByteIsZeroWhenTheBlockIsFreed) {
  const ByteVector bytes = {0x10, 0x20};
  OwnedBuffer buffer = MakePacket(bytes);
  watchedBlock = buffer->data;
  freedCount = 0;
  firstByteWhenFreed = 0xFF;
  const cFreeObserver observer(WatchFree);
  buffer.reset();
  EXPECT_EQ(freedCount, 1);
  EXPECT_EQ(firstByteWhenFreed, 0);
}

TEST_F(SharedBufferTest, DataWithoutALengthOrWithTooMuchOfItIsUnusable) {
  sSharedBuffer buffer("abc", 3, kOriginDevice);
  buffer.size = 0;
  EXPECT_FALSE(buffer.IsUsable());
  buffer.size = 16641;
  EXPECT_FALSE(buffer.IsUsable());
  buffer.size = 16640;
  EXPECT_TRUE(buffer.IsUsable());
  buffer.size = 1;
  EXPECT_TRUE(buffer.IsUsable());
}

TEST_F(SharedBufferTest, ALengthWithoutDataIsUnusable) {
  sSharedBuffer buffer(nullptr, 0, kOriginDevice);
  buffer.size = 3;
  EXPECT_FALSE(buffer.IsUsable());
}

TEST_F(SharedBufferTest, AdoptBlockMakesABufferOfTheBlock) {
  const OwnedBuffer buffer = AdoptBlock(2, MakeBlock(2, 0x73), kOriginLibrary);
  EXPECT_EQ(ContentOf(buffer), (ByteVector{0x73, 0x00}));
  EXPECT_EQ(buffer->origin, kOriginLibrary);
}

TEST_F(SharedBufferTest, AdoptBlockFreesTheBlockWhenThereIsNoMemoryForTheBuffer) {
  HeapBlock block = MakeBlock(2);
  watchedBlock = block.get();
  freedCount = 0;
  const cFreeObserver observer(WatchFree);
  cAllocationFailure failure(eHeap::New, 1);
  const OwnedBuffer buffer = AdoptBlock(2, std::move(block), kOriginLibrary);
  EXPECT_TRUE(failure.Disarm());
  EXPECT_EQ(buffer, nullptr);
  EXPECT_EQ(freedCount, 1);
}

TEST_F(SharedBufferTest, ReleaseWithoutAnyReferenceDestroysTheBuffer) {
  Release(MakeWatched());
  EXPECT_EQ(destroyedCount, 1);
}

TEST_F(SharedBufferTest, AddRefThenReleaseOnAFreshBufferDestroysIt) {
  sSharedBuffer* const buffer = MakeWatched();
  AddRef(buffer);
  EXPECT_EQ(buffer->refCount, 1U);
  EXPECT_EQ(destroyedCount, 0);
  Release(buffer);
  EXPECT_EQ(destroyedCount, 1);
}

TEST_F(SharedBufferTest, OnlyTheLastReleaseDestroysTheBuffer) {
  sSharedBuffer* const buffer = MakeWatched();
  AddRef(buffer);
  AddRef(buffer);
  EXPECT_EQ(buffer->refCount, 2U);
  Release(buffer);
  EXPECT_EQ(buffer->refCount, 1U);
  EXPECT_EQ(destroyedCount, 0);
  Release(buffer);
  EXPECT_EQ(destroyedCount, 1);
}

TEST_F(SharedBufferTest, TheCreatorDestroysABufferThatNobodyKeepsWithoutRelease) {
  { const OwnedBuffer buffer(MakeWatched()); }
  EXPECT_EQ(destroyedCount, 1);
}

TEST_F(SharedBufferTest, AReferenceTakesItsCreatorsBufferOver) {
  {
    const cBufferReference reference{OwnedBuffer(MakeWatched())};
    EXPECT_TRUE(reference);
    EXPECT_EQ(reference->refCount, 1U);
    EXPECT_EQ((*reference).size, 3U);
  }
  EXPECT_EQ(destroyedCount, 1);
}

TEST_F(SharedBufferTest, CopiesOfAReferenceCountAndMovesDoNot) {
  cBufferReference first{OwnedBuffer(MakeWatched())};
  cBufferReference second(first);
  EXPECT_EQ(first->refCount, 2U);
  const cBufferReference third(std::move(second));
  EXPECT_EQ(first->refCount, 2U);
  first = cBufferReference();
  EXPECT_FALSE(first);
  EXPECT_EQ(third->refCount, 1U);
  first = third;
  EXPECT_EQ(third->refCount, 2U);
  first = *&first;
  EXPECT_EQ(third->refCount, 2U);
  EXPECT_EQ(destroyedCount, 0);
}

TEST_F(SharedBufferTest, AnotherReferenceToAKeptBufferIsOneMore) {
  const cBufferReference first{OwnedBuffer(MakeWatched())};
  const cBufferReference second(first.Get());
  EXPECT_EQ(first->refCount, 2U);
}

TEST_F(SharedBufferTest, ADetachedReferenceIsTheCallersToRelease) {
  cBufferReference reference{OwnedBuffer(MakeWatched())};
  sSharedBuffer* const buffer = reference.Detach();
  EXPECT_FALSE(reference);
  EXPECT_EQ(buffer->refCount, 1U);
  EXPECT_EQ(destroyedCount, 0);
  Release(buffer);
  EXPECT_EQ(destroyedCount, 1);
}

TEST_F(SharedBufferTest, AReferenceToNothingIsNone) {
  const cBufferReference none;
  const cBufferReference ofNull(static_cast<sSharedBuffer*>(nullptr));
  const cBufferReference ofNoBuffer{OwnedBuffer()};
  const cBufferReference copy(none);
  EXPECT_FALSE(none || ofNull || ofNoBuffer || copy);
  EXPECT_EQ(none.Get(), nullptr);
}

}  // namespace
}  // namespace corvane
