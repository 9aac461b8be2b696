#include "support/failing_allocation.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace corvane {
namespace {

// Behind volatile pointers, so that the compiler drops no pair of allocation and release.
void* (*volatile allocate)(std::size_t) = [](std::size_t size) { return std::malloc(size); };
void* (*volatile allocateZeroed)(std::size_t) = [](std::size_t size) {
  return std::calloc(size, 1);
};
void (*volatile giveBack)(void*) = [](void* block) { std::free(block); };

TEST(FailingAllocationTest, OnlyTheChosenMallocFails) {
  cAllocationFailure failure(eHeap::Malloc, 2);
  void* const first = allocate(10);
  void* const second = allocate(10);
  void* const third = allocate(10);
  EXPECT_TRUE(failure.Disarm());
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(second, nullptr);
  EXPECT_NE(third, nullptr);
  giveBack(first);
  giveBack(third);
}

TEST(FailingAllocationTest, CallocCountsWithMalloc) {
  cAllocationFailure failure(eHeap::Malloc, 2);
  void* const first = allocate(10);
  void* const second = allocateZeroed(10);
  failure.Disarm();
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(second, nullptr);
  giveBack(first);
}

TEST(FailingAllocationTest, AllSinceTheChosenAllocationFail) {
  cAllocationFailure failure(eHeap::Malloc, 2, eFailures::AllSince);
  void* const first = allocate(10);
  void* const second = allocate(10);
  void* const third = allocateZeroed(10);
  EXPECT_TRUE(failure.Disarm());
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(second, nullptr);
  EXPECT_EQ(third, nullptr);
  giveBack(first);
}

TEST(FailingAllocationTest, AllocationsSucceedAgainOnceDisarmed) {
  { cAllocationFailure failure(eHeap::Malloc, 1, eFailures::AllSince); }
  void* const block = allocate(10);
  EXPECT_NE(block, nullptr);
  giveBack(block);
}

TEST(FailingAllocationTest, AFailureThatWasNotReachedIsReportedAsSuch) {
  cAllocationFailure failure(eHeap::Malloc, 1000);
  giveBack(allocate(10));
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

TEST(FailingAllocationTest, OperatorNewIsNoMallocAndMallocNoOperatorNew) {
  cAllocationFailure mallocFailure(eHeap::Malloc, 1);
  const auto made = std::make_unique<std::vector<int>>(100);
  EXPECT_FALSE(mallocFailure.Disarm());

  cAllocationFailure newFailure(eHeap::New, 1);
  giveBack(allocate(10));
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
  char* const block = static_cast<char*>(allocate(10));
  ASSERT_NE(block, nullptr);
  block[0] = 'z';
  {
    const cFreeObserver observer([](const void* freed) {
      lastFreed = freed;
      firstByteOfLastFreed = *static_cast<const char*>(freed);
    });
    giveBack(block);
    giveBack(nullptr);
  }
  EXPECT_EQ(lastFreed, block);
  EXPECT_EQ(firstByteOfLastFreed, 'z');
}

}  // namespace
}  // namespace corvane
