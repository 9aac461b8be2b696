#include <gtest/gtest.h>

#include "capture/store_fixture.h"
#include "platform/error_codes.h"
#include "support/failing_allocation.h"

namespace corvane {
namespace {

class IsfStoreEventsTest : public cStoreTest {};

// Three events: a full time and no payload, and two short times with payloads.
const ByteVector kThreeEvents = {0x60, 0x15, 0x00, 0x23, 0x01, 0x01, 0x02, 0x03,
                                 0x04, 0x05, 0x06, 0x07, 0x08, 0x56, 0xA4, 0xAA,
                                 0xBB, 0x11, 0xFF, 0xEF, 0xCC, 0xDD, 0x01, 0x21};
const std::vector<ByteVector> kSingleEvents = {
    {0x60, 0x0A, 0x00, 0x23, 0x01, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08},
    {0x60, 0x0B, 0x00, 0x56, 0x24, 0x01, 0xAA, 0xBB, 0x04, 0x05, 0x06, 0x07, 0x08, 0x11},
    {0x60, 0x0C, 0x00, 0xFF, 0x6F, 0x01, 0xCC, 0xDD, 0x04, 0x05, 0x06, 0x07, 0x08, 0x01, 0x21}};

// The same, with nothing behind the last event word.
[[nodiscard]] ByteVector BrokenReport() {
  ByteVector report(kThreeEvents.begin(), kThreeEvents.end() - 4);
  report[1] = 0x11;
  return report;
}

TEST_F(IsfStoreEventsTest, AReportOfThreeEventsYieldsThreeType4ItemsAndNoType1Item) {
  EXPECT_EQ(Add(kThreeEvents), kErrorSuccess);
  const auto items = Items();
  ASSERT_EQ(items.size(), 3U);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(items[i].type, 4U);
    EXPECT_EQ(items[i].packet, kSingleEvents[i]);
    EXPECT_EQ(items[i].extra, std::nullopt);
  }
}

TEST_F(IsfStoreEventsTest, TheOtherReportCodeIsSplitToo) {
  ByteVector report = kThreeEvents;
  report[0] = 0x74;
  EXPECT_EQ(Add(report), kErrorSuccess);
  const auto items = Items();
  ASSERT_EQ(items.size(), 3U);
  EXPECT_EQ(items[0].packet[0], 0x74);
}

TEST_F(IsfStoreEventsTest, OfABrokenReportNothingIsRecordedAndTheResultIsSuccess) {
  EXPECT_EQ(Add(BrokenReport()), kErrorSuccess);
  EXPECT_EQ(Contents().size(), 4U);
}

TEST_F(IsfStoreEventsTest, OnlyTheExactShortAnswerEscapesTheSplitting) {
  for (const ByteVector& packet :
       {ByteVector{0x60}, ByteVector{0x60, 0x00}, ByteVector{0x60, 0x01, 0x00},
        ByteVector{0x60, 0x00, 0x01}, ByteVector{0x60, 0x00, 0x00, 0x00},
        ByteVector{0x74, 0x00, 0x00}}) {
    EXPECT_EQ(Add(packet), kErrorSuccess);
  }
  EXPECT_EQ(Contents().size(), 4U);
  EXPECT_EQ(Add({0x60, 0x00, 0x00}), kErrorSuccess);
  EXPECT_EQ(Items().size(), 1U);
}

TEST_F(IsfStoreEventsTest, AReportOfUnknownOriginIsNotSplit) {
  EXPECT_EQ(Add(kThreeEvents, kAutomaticType, 5), kErrorSuccess);
  EXPECT_EQ(Contents().size(), 4U);
}

TEST_F(IsfStoreEventsTest, AReportIsSplitAndForgottenWithoutAFileToo) {
  store.Close();
  EXPECT_EQ(Add(kThreeEvents), kErrorSuccess);
}

TEST_F(IsfStoreEventsTest, TheEventsOfAWholeReportAreFreed) {
  const std::int64_t before = LiveNewAllocations();
  for (int i = 0; i < 10; ++i) {
    ASSERT_EQ(Add(kThreeEvents), kErrorSuccess);
  }
  const std::int64_t after = LiveNewAllocations();
  // The index of the first block.
  EXPECT_EQ(after - before, 1);
}

TEST_F(IsfStoreEventsTest, TheEventsBeforeTheBreakOfAReportAreNeverFreed) {
  ASSERT_EQ(Add(kThreeEvents), kErrorSuccess);
  const std::int64_t before = LiveNewAllocations();
  ASSERT_EQ(Add(BrokenReport()), kErrorSuccess);
  const std::int64_t after = LiveNewAllocations();
  EXPECT_EQ(after - before, 2);
}

TEST_F(IsfStoreEventsTest, AStoreCanFreeTheEventsBeforeTheBreak) {
  cISFStore freeing{{.keepsBrokenEvents = false}};
  const ByteVector report = BrokenReport();
  const cBufferReference item(MakeBuffer(report, kOriginDevice));
  const std::int64_t before = LiveNewAllocations();
  const std::uint32_t result = freeing.AddItem(item.Get(), kAutomaticType);
  const std::int64_t after = LiveNewAllocations();
  EXPECT_EQ(result, kErrorSuccess);
  EXPECT_EQ(after, before);
}

TEST_F(IsfStoreEventsTest, AStoreThatFreesThoseEventsDoesNotRecordThemEither) {
  cISFStore freeing{{.keepsBrokenEvents = false}};
  freeing.Attach(Create("freed.isf"));
  const cBufferReference item(MakeBuffer(BrokenReport(), kOriginDevice));
  EXPECT_EQ(freeing.AddItem(item.Get(), kAutomaticType), kErrorSuccess);
  EXPECT_EQ(ReadFile(scratch.Path("freed.isf")).size(), 4U);
}

TEST_F(IsfStoreEventsTest, TheClockIsAskedForEachEventInItsOrder) {
  std::uint64_t now = 0;
  cISFStore counting{{.now = [&now] { return now += 10'000; }}};
  counting.Attach(Create("counted.isf"));
  const cBufferReference item(MakeBuffer(kThreeEvents, kOriginDevice));
  EXPECT_EQ(counting.AddItem(item.Get(), kAutomaticType), kErrorSuccess);
  const auto items = DecodeCapture(ReadFile(scratch.Path("counted.isf"))).Items();
  ASSERT_EQ(items.size(), 3U);
  EXPECT_EQ(items[0].time, 1U);
  EXPECT_EQ(items[1].time, 2U);
  EXPECT_EQ(items[2].time, 3U);
}

TEST_F(IsfStoreEventsTest, AReportThatBreaksInItsFirstEventLeavesNothingBehind) {
  const std::int64_t before = LiveNewAllocations();
  ASSERT_EQ(Add({0x60, 0x01, 0x00, 0x23}), kErrorSuccess);
  const std::int64_t after = LiveNewAllocations();
  EXPECT_EQ(after, before);
}

}  // namespace
}  // namespace corvane
