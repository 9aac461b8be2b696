#include "capture/request_queue.h"

#include <gtest/gtest.h>

#include <memory>
#include <tuple>
#include <vector>

#include "capture/session_fixture.h"
#include "support/failing_allocation.h"
#include "support/member_order.h"

namespace corvane {
namespace {

// A queue whose entries the test can tell apart by their bytes. Each entry has two references: the
// queue's and one of the test's own, so that the test sees what becomes of the queue's.
class RequestQueueTest : public testing::Test {
 protected:
  ~RequestQueueTest() override {
    for (sSharedBuffer* request : requests) {
      while (request->refCount > 1) {
        Release(request);
      }
      Release(request);
    }
  }

  sSharedBuffer* Make() {
    const auto number = static_cast<std::uint32_t>(requests.size());
    const std::uint8_t bytes[2] = {static_cast<std::uint8_t>(number),
                                   static_cast<std::uint8_t>(number >> 8)};
    requests.push_back(new sSharedBuffer(bytes, 2, kOriginLibrary));
    AddRef(requests.back());
    return requests.back();
  }

  void Push(std::uint32_t count = 1) {
    for (std::uint32_t i = 0; i < count; ++i) {
      ASSERT_TRUE(PushRequest(queue, cBufferReference(Make())));
    }
  }

  static ByteVector BytesOf(const sRequestQueue::sFound& found) {
    EXPECT_FALSE(found.outOfMemory);
    if (!found.copy) {
      return {};
    }
    return {found.copy->Bytes().begin(), found.copy->Bytes().end()};
  }

  // Whether there is no such entry, which needs no memory to find out.
  bool HasNone(std::uint32_t sequenceNumber) {
    const sRequestQueue::sFound found = queue.Find(sequenceNumber);
    return !found.copy && !found.outOfMemory;
  }

  std::vector<sSharedBuffer*> requests;
  sRequestQueue queue;
};

TEST_F(RequestQueueTest, ANewQueueIsEmptyAndHasItsInitialValues) {
  EXPECT_EQ(queue.magic, 0x1799A2BCU);
  EXPECT_EQ(queue.event, nullptr);
  EXPECT_EQ(queue.signalOnPush, 0);
  EXPECT_EQ(queue.capacity, 1000U);
  EXPECT_EQ(queue.pushedCount, 0U);
  EXPECT_TRUE(queue.entries.empty());
  EXPECT_EQ(queue.Size(), 0U);
}

TEST_F(RequestQueueTest, TheMembersStandInTheirOrder) {
  EXPECT_TRUE(AreInMemoryOrder(queue.magic, queue.lock, queue.event, queue.signalOnPush,
                               queue.capacity, queue.pushedCount, queue.entries));
}

TEST_F(RequestQueueTest, TheNthEntryPushedHasTheSequenceNumberBeforeN) {
  Push(3);
  EXPECT_EQ(queue.Size(), 3U);
  EXPECT_EQ(queue.PushedCount(), 3U);
  EXPECT_EQ(BytesOf(queue.Find(0)), (ByteVector{0, 0}));
  EXPECT_EQ(BytesOf(queue.Find(2)), (ByteVector{2, 0}));
  EXPECT_TRUE(HasNone(3));
  EXPECT_TRUE(HasNone(0xFFFFFFFF));
}

TEST_F(RequestQueueTest, AnEntryWithoutUsableBytesCountsAsNone) {
  Push();
  requests[0]->size = 0;
  EXPECT_TRUE(HasNone(0));
  requests[0]->size = 2;
}

TEST_F(RequestQueueTest, FindLeavesTheEntryInItsPlace) {
  Push();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(BytesOf(queue.Find(0)), (ByteVector{0, 0}));
  }
  EXPECT_EQ(queue.Size(), 1U);
  EXPECT_EQ(requests[0]->refCount, 2U);
}

TEST_F(RequestQueueTest, WhatFindReturnsOutlivesTheEntry) {
  Push();
  const sRequestQueue::sFound found = queue.Find(0);
  std::ignore = queue.Take(0);
  queue.Discard();
  EXPECT_EQ(BytesOf(found), (ByteVector{0, 0}));
  EXPECT_EQ(found.copy->origin, kOriginLibrary);
  EXPECT_EQ(found.copy->refCount, 1U);
}

TEST_F(RequestQueueTest, TakeLeavesAnEmptyPlaceAndTheOtherNumbersAlone) {
  Push(3);
  {
    const cBufferReference taken = queue.Take(1);
    EXPECT_EQ(taken.Get(), requests[1]);
    EXPECT_EQ(requests[1]->refCount, 2U);  // the queue's reference is the caller's now
  }
  EXPECT_EQ(requests[1]->refCount, 1U);
  EXPECT_FALSE(queue.Take(1));
  EXPECT_TRUE(HasNone(1));
  EXPECT_EQ(BytesOf(queue.Find(2)), (ByteVector{2, 0}));
  EXPECT_EQ(queue.Size(), 3U);
}

TEST_F(RequestQueueTest, TakeOfAnUnknownNumberGivesNone) {
  Push();
  EXPECT_FALSE(queue.Take(1));
}

TEST_F(RequestQueueTest, DiscardStartsTheNumbersAgainAndReleasesNothing) {
  Push(2);
  queue.Discard();
  EXPECT_EQ(queue.Size(), 0U);
  EXPECT_EQ(queue.PushedCount(), 0U);
  EXPECT_EQ(requests[0]->refCount, 2U);
  Push();
  EXPECT_EQ(BytesOf(queue.Find(0)), (ByteVector{2, 0}));
}

TEST_F(RequestQueueTest, AThousandEntriesFit) {
  Push(1000);
  EXPECT_EQ(queue.Size(), 1000U);
  EXPECT_EQ(BytesOf(queue.Find(0)), (ByteVector{0, 0}));
  EXPECT_EQ(BytesOf(queue.Find(999)), (ByteVector{0xE7, 0x03}));
}

TEST_F(RequestQueueTest, AtCapacityTheOldestEntryIsDroppedWithoutARelease) {
  Push(1001);
  EXPECT_EQ(queue.Size(), 1000U);
  EXPECT_EQ(queue.PushedCount(), 1001U);
  EXPECT_EQ(requests[0]->refCount, 2U);
  EXPECT_TRUE(HasNone(0));
  EXPECT_EQ(BytesOf(queue.Find(1)), (ByteVector{1, 0}));
  EXPECT_EQ(BytesOf(queue.Find(1000)), (ByteVector{0xE8, 0x03}));
  EXPECT_TRUE(HasNone(1001));
}

TEST_F(RequestQueueTest, APushSetsTheEventOnlyWhenTheFlagIs1) {
  queue.event = std::make_unique<cEvent>();
  Push();
  EXPECT_FALSE(queue.event->IsSet());
  queue.signalOnPush = 2;
  Push();
  EXPECT_FALSE(queue.event->IsSet());
  queue.signalOnPush = 1;
  Push();
  EXPECT_TRUE(queue.event->IsSet());
}

TEST_F(RequestQueueTest, TheFlagWithoutAnEventDoesNothing) {
  queue.signalOnPush = 1;
  Push();
  EXPECT_EQ(queue.Size(), 1U);
}

TEST_F(RequestQueueTest, WithoutMagicEveryOperationDoesNothing) {
  Push(2);
  queue.magic = 0;
  sSharedBuffer* const refused = Make();
  EXPECT_FALSE(PushRequest(queue, cBufferReference(refused)));
  EXPECT_EQ(queue.Size(), 0U);
  EXPECT_EQ(queue.PushedCount(), 0U);
  EXPECT_TRUE(HasNone(0));
  EXPECT_FALSE(queue.Take(0));
  queue.Discard();
  EXPECT_EQ(queue.entries.size(), 2U);
  EXPECT_EQ(queue.pushedCount, 2U);
  EXPECT_EQ(refused->refCount, 1U);
}

TEST_F(RequestQueueTest, DestroyingAQueueReleasesNoEntry) {
  sSharedBuffer* const request = Make();
  for (const std::uint32_t magic : {sRequestQueue::kMagic, 0U}) {
    sRequestQueue other;
    other.event = std::make_unique<cEvent>();
    ASSERT_TRUE(PushRequest(other, cBufferReference(request)));
    other.magic = magic;
  }
  EXPECT_EQ(request->refCount, 3U);
}

TEST_F(RequestQueueTest, APushWithoutMemoryKeepsNothing) {
  // Enough pushes for the entries to need memory more than once.
  std::uint32_t refused = 0;
  for (std::uint32_t i = 0; i < 200; ++i) {
    sSharedBuffer* const request = Make();
    const std::size_t before = queue.Size();
    cAllocationFailure failure(eHeap::New, 1);
    const bool pushed = PushRequest(queue, cBufferReference(request));
    const bool failed = failure.Disarm();
    EXPECT_EQ(pushed, !failed);
    EXPECT_EQ(request->refCount, pushed ? 2U : 1U);
    EXPECT_EQ(queue.Size(), before + (pushed ? 1 : 0));
    EXPECT_EQ(queue.PushedCount(), queue.Size());
    refused += pushed ? 0 : 1;
  }
  EXPECT_GT(refused, 0U);
}

TEST_F(RequestQueueTest, AnEntryWithoutMemoryForItsCopyIsToldFromNoEntry) {
  Push();
  for (const eHeap heap : {eHeap::Blocks, eHeap::New}) {
    cAllocationFailure failure(heap, 1);
    const sRequestQueue::sFound found = queue.Find(0);
    EXPECT_TRUE(failure.Disarm());
    EXPECT_FALSE(found.copy);
    EXPECT_TRUE(found.outOfMemory);
  }
  EXPECT_EQ(BytesOf(queue.Find(0)), (ByteVector{0, 0}));
}

}  // namespace
}  // namespace corvane
