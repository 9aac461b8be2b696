#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "capture/ota_recorder.h"
#include "capture/store_fixture.h"
#include "platform/error_codes.h"
#include "support/failing_allocation.h"

namespace corvane {
namespace {

class IsfStoreFailureTest : public cStoreTest {
 protected:
  void SetUp() override { Restart(); }

  // A new file with so many items in it, and nothing failing.
  void Restart(std::uint32_t items = 0) {
    StartAnew();
    file = &Intercept(*stream);
    for (std::uint32_t i = 0; i < items; ++i) {
      ASSERT_EQ(Add({0x0A}), kErrorSuccess);
    }
    file->writes.clear();
  }

  void Heal() {
    file->Heal();
    stream->clear();
  }

  // What must not change when an item is not recorded.
  struct sState {
    std::uint32_t itemCount;
    std::uint32_t blockItems;
    std::size_t blocks;
    friend bool operator==(const sState&, const sState&) = default;
  };
  [[nodiscard]] sState State() {
    const sStoreCounters counters(store);
    return {counters.itemCount, counters.blockItems, counters.Blocks()};
  }

  // Lets each write of the item after `items` ones fail in turn. The first `blockWrites` of them
  // start a block: once these are done the block counts, still without an item.
  void FailEachWriteOfAnItem(std::uint32_t items, std::uint32_t blockWrites, std::uint32_t writes);

  const ByteVector packet = {0x0A, 0xBB, 0xCC};
  cFailingFile* file = nullptr;
};

void IsfStoreFailureTest::FailEachWriteOfAnItem(std::uint32_t items, std::uint32_t blockWrites,
                                                std::uint32_t writes) {
  Restart(items);
  ASSERT_EQ(Add(packet), kErrorSuccess);
  ASSERT_EQ(file->writes.size(), writes);

  for (std::uint32_t nth = 1; nth <= writes; ++nth) {
    SCOPED_TRACE(nth);
    Restart(items);
    sState expected = State();
    if (blockWrites != 0 && nth > blockWrites) {
      expected = {items, 0, expected.blocks + 1};
    }
    file->FailWrite(nth);
    EXPECT_EQ(Add(packet), 9U);
    EXPECT_EQ(State(), expected);
    EXPECT_EQ(file->writes.size(), nth) << "nothing is written after the failure";

    // The stream stays failed: the next item is refused, and the end is not written.
    EXPECT_EQ(Add({0x0A, 0xDD}), 9U);
    EXPECT_EQ(State(), expected);
    EXPECT_EQ(file->writes.size(), nth);
    store.Close();
    EXPECT_EQ(file->writes.size(), nth);
    EXPECT_EQ(State(), (sState{0, 0, 0}));
    EXPECT_EQ(DecodeCapture(Contents()).Items().size(), items);
  }
}

TEST_F(IsfStoreFailureTest, EachFailingWriteOfTheFirstItemIsCode9AndLeavesTheCounters) {
  FailEachWriteOfAnItem(0, 4, 4 + 2);
}

TEST_F(IsfStoreFailureTest, EachFailingWriteOfAnOrdinaryItemIsCode9AndLeavesTheCounters) {
  FailEachWriteOfAnItem(2, 0, 2);
}

TEST_F(IsfStoreFailureTest, EachFailingWriteOfItem8193IsCode9AndLeavesTheItemCount) {
  FailEachWriteOfAnItem(8192, 4 + 1, 4 + 1 + 2);
}

TEST_F(IsfStoreFailureTest, OnceTheStreamWorksAgainTheNextItemGoesBehindThePartialOne) {
  for (std::uint32_t nth = 1; nth <= 2; ++nth) {
    SCOPED_TRACE(nth);
    Restart(2);
    const std::uint64_t end = Items().back().end;
    file->FailWrite(nth);
    ASSERT_EQ(Add(packet), 9U);
    Heal();
    const std::uint64_t partial = Contents().size() - end;
    EXPECT_EQ(partial, nth == 1 ? 0U : 1U + packet.size());

    ASSERT_EQ(Add({0x0A, 0xDD}), kErrorSuccess);
    const auto items = Items();
    ASSERT_EQ(items.size(), 3U);
    EXPECT_EQ(items[2].packet, (ByteVector{0x0A, 0xDD}));
    EXPECT_EQ(items[2].position, end + partial);
    store.Close();
    EXPECT_EQ(DecodeEnd(Contents(), 1).itemCount, 3U);
  }
}

TEST_F(IsfStoreFailureTest, OnceTheStreamWorksAgainTheBlockGoesBehindThePartialOne) {
  for (std::uint32_t nth = 1; nth <= 5; ++nth) {
    SCOPED_TRACE(nth);
    Restart(8192);
    const std::uint64_t end = Items().back().end;
    file->FailWrite(nth);
    ASSERT_EQ(Add(packet), 9U);
    Heal();
    const std::uint64_t partial = std::min(16384U * (nth - 1), 57360U);
    ASSERT_EQ(Contents().size(), end + partial);

    ASSERT_EQ(Add(packet), kErrorSuccess);
    const sDecodedCapture capture = DecodeCapture(Contents());
    ASSERT_EQ(capture.blocks.size(), 2U);
    EXPECT_EQ(capture.blocks[0].nextBlock, end + partial);
    EXPECT_EQ(capture.blocks[1].items.at(0).packet, packet);
    store.Close();
    const sDecodedEnd fileEnd = DecodeEnd(Contents(), 2);
    EXPECT_EQ(fileEnd.itemCount, 8193U);
    EXPECT_EQ(fileEnd.index[1].blockOffset, end + partial);
  }
}

// Such a block stands in the index without an item, so that the counters no longer agree.
TEST_F(IsfStoreFailureTest, ABlockThatLostItsFirstItemRefusesAllItemsUntilANewFile) {
  for (const std::uint32_t items : {0U, 8192U}) {
    Restart(items);
    file->FailWrite(items == 0 ? 5 : 6);
    ASSERT_EQ(Add(packet), 9U);
    Heal();
    EXPECT_EQ(Add(packet), 9U);
    EXPECT_EQ(Add(packet), 9U);
    Restart();
    EXPECT_EQ(Add(packet), kErrorSuccess);
  }
}

// What a file stream still holds goes out when it seeks or is flushed; a full disk shows there.
TEST_F(IsfStoreFailureTest, EachFailingHandOverOfAnItemIsCode9) {
  std::uint32_t failed = 0;
  bool wasReached = true;
  for (std::uint32_t nth = 1; wasReached; ++nth) {
    SCOPED_TRACE(nth);
    Restart(1);
    const sState before = State();
    file->FailHandOver(nth);
    const std::uint32_t result = Add(packet);
    wasReached = file->hasFailed;
    EXPECT_EQ(result, wasReached ? 9U : 0U);
    if (wasReached) {
      ++failed;
      EXPECT_EQ(State(), before);
    }
    Heal();
  }
  // To the file's end, to the entry, and the flush.
  EXPECT_EQ(failed, 3U);
}

TEST_F(IsfStoreFailureTest, EachFailingHandOverOfTheFirstItemIsCode9) {
  std::uint32_t failed = 0;
  bool wasReached = true;
  for (std::uint32_t nth = 1; wasReached; ++nth) {
    SCOPED_TRACE(nth);
    Restart();
    file->FailHandOver(nth);
    const std::uint32_t result = Add(packet);
    wasReached = file->hasFailed;
    EXPECT_EQ(result, wasReached ? 9U : 0U);
    failed += wasReached ? 1 : 0;
    EXPECT_EQ(State().itemCount, wasReached ? 0U : 1U);
    Heal();
  }
  // To the file's end, to the block and back, and the three of an item.
  EXPECT_EQ(failed, 3U + 3U);
}

TEST_F(IsfStoreFailureTest, AWriteThatThrowsIsCode9) {
  file->FailWrite(2, cFailingFile::eFailure::Throws);
  EXPECT_EQ(Add(packet), 9U);
}

TEST_F(IsfStoreFailureTest, AStreamThatReportsByExceptionsReportsByCodesOnceAttached) {
  auto second = Create("second.isf");
  second->exceptions(std::ios::failbit | std::ios::badbit);
  cFailingFile& secondFile = Intercept(*second);
  store.Attach(std::move(second));
  secondFile.FailWrite(1);
  EXPECT_EQ(Add(packet), 9U);
  store.Close();
}

TEST_F(IsfStoreFailureTest, AHeaderThatCannotBeWrittenLeavesAFileThatRefusesItems) {
  auto second = Create("second.isf");
  cFailingFile& secondFile = Intercept(*second);
  secondFile.FailWrite(1);
  store.Attach(std::move(second));
  EXPECT_EQ(Add(packet), 9U);
  store.Close();
  EXPECT_TRUE(ReadFile(scratch.Path("second.isf")).empty());
}

TEST_F(IsfStoreFailureTest, EachFailingWriteOfCloseEndsTheFileThereAndFreesTheStore) {
  Restart(8193);
  const std::uint64_t end = Contents().size();
  store.Close();
  ASSERT_EQ(file->writes.size(), 3U);  // two blocks and the trailer
  const ByteVector whole = Contents();
  ASSERT_EQ(whole.size(), end + 3 * 16);

  for (std::uint32_t nth = 1; nth <= 3; ++nth) {
    SCOPED_TRACE(nth);
    Restart(8193);
    file->FailWrite(nth);
    store.Close();
    EXPECT_EQ(file->writes.size(), nth);
    const ByteVector part = Contents();
    EXPECT_EQ(part.size(), end + 16 * (nth - 1));
    EXPECT_TRUE(std::equal(part.begin(), part.end(), whole.begin()));
    EXPECT_EQ(State(), (sState{0, 0, 0}));
    EXPECT_EQ(Add(packet), 9U) << "no file is attached any more";

    // Another file is complete again.
    Attach("next.isf");
    ASSERT_EQ(Add(packet), kErrorSuccess);
    store.Close();
    EXPECT_EQ(DecodeEnd(ReadFile(scratch.Path("next.isf")), 1).itemCount, 1U);
  }
}

TEST_F(IsfStoreFailureTest, AFailingTrailerOfAFileWithoutItemsLeavesTheHeader) {
  file->FailWrite(1);
  store.Close();
  EXPECT_EQ(Contents().size(), 4U);
}

TEST_F(IsfStoreFailureTest, EventsThatCannotBeWrittenAreLostQuietlyAndFreed) {
  ASSERT_EQ(Add(packet), kErrorSuccess);
  file->writes.reserve(100);
  const std::int64_t before = LiveNewAllocations();
  file->FailWrite(1);
  const std::uint32_t result = Add({0x60, 0x04, 0x00, 0x01, 0x80, 0xAA, 0xBB});
  const std::int64_t after = LiveNewAllocations();
  EXPECT_EQ(result, kErrorSuccess);
  EXPECT_EQ(after, before);
  EXPECT_EQ(Items().size(), 1U);
}

class IsfStoreMemoryTest : public IsfStoreFailureTest {
 protected:
  struct sAttempt {
    bool failed = false;  // an allocation was made to fail
    std::uint32_t result = 0;
    std::uint64_t written = 0;
  };

  [[nodiscard]] sAttempt AddWithout(eHeap heap, std::uint32_t nth, const ByteVector& added) {
    const cBufferReference item(std::make_unique<sSharedBuffer>(
        added.data(), static_cast<std::int32_t>(added.size()), kOriginDevice));
    const std::uint64_t before = Contents().size();
    sAttempt attempt;
    {
      cAllocationFailure failure(heap, nth);
      attempt.result = store.AddItem(item.Get(), kAutomaticType);
      attempt.failed = failure.Disarm();
    }
    attempt.written = Contents().size() - before;
    return attempt;
  }

  // A file that nothing stands between: the stand-in allocates too.
  void RestartPlain(std::uint32_t items = 0) {
    StartAnew();
    for (std::uint32_t i = 0; i < items; ++i) {
      ASSERT_EQ(Add({0x0A}), kErrorSuccess);
    }
  }
};

TEST_F(IsfStoreMemoryTest, WithoutMemoryForABlockOrTheIndexTheResultIsCode8) {
  // A store of its own: closing a file keeps the room that the index had.
  cISFStore fresh;
  fresh.Attach(Create("fresh.isf"));
  const sStoreCounters counters(fresh);
  sSharedBuffer item(packet.data(), 3, kOriginDevice);
  for (const std::uint32_t items : {0U, 8192U}) {
    while (counters.itemCount < items) {
      ASSERT_EQ(fresh.AddItem(&item, 1), kErrorSuccess);
    }
    const std::size_t size = ReadFile(scratch.Path("fresh.isf")).size();
    for (std::uint32_t nth = 1; nth <= 2; ++nth) {  // the block, the index
      SCOPED_TRACE(nth);
      cAllocationFailure failure(eHeap::New, nth);
      const std::uint32_t result = fresh.AddItem(&item, 1);
      ASSERT_TRUE(failure.Disarm());
      EXPECT_EQ(result, 8U);
      EXPECT_EQ(ReadFile(scratch.Path("fresh.isf")).size(), size);
      EXPECT_EQ(counters.itemCount, items);
      EXPECT_EQ(counters.Blocks(), items / 8192);
    }
    cAllocationFailure failure(eHeap::New, 3);
    const std::uint32_t result = fresh.AddItem(&item, 1);
    EXPECT_FALSE(failure.Disarm()) << "nothing else needs memory";
    EXPECT_EQ(result, kErrorSuccess);
  }
  EXPECT_EQ(DecodeCapture(ReadFile(scratch.Path("fresh.isf"))).Items().size(), 8193U);
}

TEST_F(IsfStoreMemoryTest, WithoutMemoryToSplitAReportNothingOfItIsRecorded) {
  const ByteVector report = {0x60, 0x08, 0x00, 0x01, 0x80, 0xAA, 0xBB, 0x02, 0x80, 0xCC, 0xDD};
  RestartPlain(1);
  std::uint32_t nth = 1;
  for (;; ++nth) {
    SCOPED_TRACE(nth);
    const std::int64_t before = LiveNewAllocations();
    const sAttempt attempt = AddWithout(eHeap::New, nth, report);
    const std::int64_t after = LiveNewAllocations();
    if (!attempt.failed) {
      break;
    }
    EXPECT_EQ(attempt.result, 8U);
    EXPECT_EQ(attempt.written, 0U);
    EXPECT_EQ(after, before);
  }
  EXPECT_GT(nth, 3U);  // the copy and two events at least
  EXPECT_EQ(Items().size(), 3U);
}

TEST_F(IsfStoreMemoryTest, AReportOrAnEventWhoseBytesFindNoMemoryIsSkipped) {
  const ByteVector report = {0x60, 0x08, 0x00, 0x01, 0x80, 0xAA, 0xBB, 0x02, 0x80, 0xCC, 0xDD};
  const std::vector<std::vector<std::uint8_t>> recordedIds = {{}, {2}, {1}, {1, 2}};
  for (std::uint32_t nth = 1; nth <= 4; ++nth) {  // the copy, the events, none
    SCOPED_TRACE(nth);
    RestartPlain();
    const sAttempt attempt = AddWithout(eHeap::Blocks, nth, report);
    EXPECT_EQ(attempt.failed, nth < 4);
    EXPECT_EQ(attempt.result, kErrorSuccess);
    std::vector<std::uint8_t> ids;
    for (const sDecodedItem& item : Items()) {
      ids.push_back(item.packet.at(3));
    }
    EXPECT_EQ(ids, recordedIds[nth - 1]);
  }
}

TEST_F(IsfStoreMemoryTest, WithoutMemoryForTheInnerPacketOnlyTheResponseIsThere) {
  ByteVector response = Packet({0x4B, 0x25, 0x08, 0x00}, 13);
  response.push_back(0x0A);
  for (const eHeap heap : {eHeap::New, eHeap::Blocks}) {
    RestartPlain(1);
    const sAttempt attempt = AddWithout(heap, 1, response);
    EXPECT_TRUE(attempt.failed);
    EXPECT_EQ(attempt.result, kErrorSuccess);
    EXPECT_EQ(Items().size(), 2U);
    EXPECT_EQ(Items().back().type, 9U);
  }
}

TEST_F(IsfStoreMemoryTest, CloseNeedsNoMemory) {
  RestartPlain(8193);
  cAllocationFailure newFailure(eHeap::New, 1, eFailures::AllSince);
  cAllocationFailure blockFailure(eHeap::Blocks, 1, eFailures::AllSince);
  store.Close();
  newFailure.Disarm();
  blockFailure.Disarm();
  EXPECT_EQ(DecodeEnd(Contents(), 2).itemCount, 8193U);
}

}  // namespace
}  // namespace corvane
