#include "support/failing_allocation.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <tuple>
#include <vector>

#include "diag/shared_buffer.h"

namespace corvane {
namespace {

TEST(FailingAllocationTest, OnlyTheChosenBlockFails) {
  cAllocationFailure failure(eHeap::Blocks, 2);
  const HeapBlock first = AllocateBlock(10);
  const HeapBlock second = AllocateBlock(10);
  const HeapBlock third = AllocateBlock(10);
  EXPECT_TRUE(failure.Disarm());
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(second, nullptr);
  EXPECT_NE(third, nullptr);
}

TEST(FailingAllocationTest, ZeroedBlocksCountToo) {
  cAllocationFailure failure(eHeap::Blocks, 2);
  const HeapBlock first = AllocateBlock(10);
  const HeapBlock second = AllocateZeroedBlock(10);
  failure.Disarm();
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(second, nullptr);
}

TEST(FailingAllocationTest, AllSinceTheChosenAllocationFail) {
  cAllocationFailure failure(eHeap::Blocks, 2, eFailures::AllSince);
  const HeapBlock first = AllocateBlock(10);
  const HeapBlock second = AllocateBlock(10);
  const HeapBlock third = AllocateZeroedBlock(10);
  EXPECT_TRUE(failure.Disarm());
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(second, nullptr);
  EXPECT_EQ(third, nullptr);
}

TEST(FailingAllocationTest, AllocationsSucceedAgainOnceDisarmed) {
  { cAllocationFailure failure(eHeap::Blocks, 1, eFailures::AllSince); }
  const HeapBlock block = AllocateBlock(10);
  EXPECT_NE(block, nullptr);
}

TEST(FailingAllocationTest, AFailureThatWasNotReachedIsReportedAsSuch) {
  cAllocationFailure failure(eHeap::Blocks, 1000);
  std::ignore = AllocateBlock(10);
  EXPECT_FALSE(failure.Disarm());
}

TEST(FailingAllocationTest, OperatorNewThrows) {
  cAllocationFailure failure(eHeap::New, 1);
  std::unique_ptr<int> made;
  bool thrown = false;
  try {
    made = std::make_unique<int>(1);
  } catch (const std::bad_alloc&) {
    thrown = true;
  }
  EXPECT_TRUE(failure.Disarm());
  EXPECT_TRUE(thrown);
}

TEST(FailingAllocationTest, OperatorNewWithoutExceptionsReturnsNull) {
  cAllocationFailure failure(eHeap::New, 1);
  const std::unique_ptr<int> made(new (std::nothrow) int(1));
  EXPECT_TRUE(failure.Disarm());
  EXPECT_EQ(made, nullptr);
}

TEST(FailingAllocationTest, ContainersOfTheStandardLibraryMeetTheFailure) {
  cAllocationFailure failure(eHeap::New, 1);
  bool thrown = false;
  try {
    const std::string text(1000, 'x');
  } catch (const std::bad_alloc&) {
    thrown = true;
  }
  EXPECT_TRUE(failure.Disarm());
  EXPECT_TRUE(thrown);
}

TEST(FailingAllocationTest, OperatorNewIsNoBlockAndABlockNoOperatorNew) {
  cAllocationFailure blockFailure(eHeap::Blocks, 1);
  const auto made = std::make_unique<std::vector<int>>(100);
  EXPECT_FALSE(blockFailure.Disarm());

  cAllocationFailure newFailure(eHeap::New, 1);
  std::ignore = AllocateBlock(10);
  EXPECT_FALSE(newFailure.Disarm());
}

TEST(FailingAllocationTest, LiveAllocationsAreCounted) {
  const std::int64_t before = LiveNewAllocations();
  auto one = std::make_unique<int>(1);
  const auto many = std::make_unique<int[]>(100);
  // The compiler may leave out an allocation whose address nothing asks for.
  const volatile void* volatile addresses[] = {one.get(), many.get()};
  const std::int64_t both = LiveNewAllocations();
  one.reset();
  const std::int64_t rest = LiveNewAllocations();
  EXPECT_NE(addresses[0], addresses[1]);
  EXPECT_EQ(both - before, 2);
  EXPECT_EQ(rest - before, 1);
}

TEST(FailingAllocationTest, OverAlignedObjectsAreAlignedAndCounted) {
  struct alignas(256) sAligned {
    char byte = 'a';
  };
  const std::int64_t before = LiveNewAllocations();
  auto made = std::make_unique<sAligned>();
  const auto address = reinterpret_cast<std::uintptr_t>(made.get());
  const std::int64_t with = LiveNewAllocations();
  made.reset();
  EXPECT_EQ(address % 256, 0U);
  EXPECT_EQ(with - before, 1);
  EXPECT_EQ(LiveNewAllocations(), before);
}

const void* lastFreed = nullptr;
char firstByteOfLastFreed = 0;

TEST(FailingAllocationTest, TheObserverSeesABlockBeforeItIsFreed) {
  HeapBlock block = AllocateBlock(10);
  ASSERT_NE(block, nullptr);
  const void* const address = block.get();
  block[0] = 'z';
  {
    const cFreeObserver observer([](const void* freed) {
      lastFreed = freed;
      firstByteOfLastFreed = *static_cast<const char*>(freed);
    });
    block.reset();
    block.reset();
  }
  EXPECT_EQ(lastFreed, address);
  EXPECT_EQ(firstByteOfLastFreed, 'z');
}

}  // namespace
}  // namespace corvane
