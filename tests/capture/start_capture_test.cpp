#include <gtest/gtest.h>

#include <fstream>
#include <memory>

#include "capture/connection.h"
#include "capture/isf/layout.h"
#include "capture/reader_loop.h"
#include "capture/session_fixture.h"
#include "support/failing_allocation.h"
#include "support/member_order.h"

namespace corvane {
namespace {

using StartCaptureTest = cSessionTest;

TEST_F(StartCaptureTest, ANewSessionHasItsInitialValues) {
  cCaptureSession fresh(traffic);
  EXPECT_EQ(fresh.deviceName, nullptr);
  EXPECT_EQ(fresh.transport, nullptr);
  EXPECT_EQ(fresh.readerThread, nullptr);
  EXPECT_TRUE(fresh.readers.empty());
  EXPECT_EQ(fresh.requestQueue.magic, sRequestQueue::kMagic);
  EXPECT_EQ(fresh.requestQueue.event, nullptr);
  EXPECT_EQ(fresh.requestQueue.signalOnPush, 0);
  EXPECT_EQ(fresh.requestQueue.capacity, 1000U);
  EXPECT_EQ(fresh.requestQueue.pushedCount, 0U);
  EXPECT_TRUE(fresh.requestQueue.entries.empty());
  EXPECT_EQ(fresh.nextRequest, 0U);
  EXPECT_EQ(fresh.outstanding, 0U);
  EXPECT_EQ(fresh.sendAllLevelsMask, 0);
  EXPECT_TRUE(fresh.eventIds.empty());
  EXPECT_TRUE(fresh.logCodes.empty());
  EXPECT_TRUE(fresh.messageLevels.empty());
  EXPECT_FALSE(fresh.capturing);
  EXPECT_TRUE(fresh.SibAssemblies().empty());
}

TEST_F(StartCaptureTest, TheMembersOfASessionStandInTheirOrder) {
  EXPECT_TRUE(AreInMemoryOrder(session.storeLock, session.deviceName, session.transport,
                               session.readerThread, session.requestQueue, session.nextRequest,
                               session.outstanding, session.sendAllLevelsMask, session.eventIds,
                               session.logCodes, session.messageLevels, session.capturing));
}

TEST_F(StartCaptureTest, TheFileBeginsWithItsSignatureAndTheInformationItem) {
  const cPrinted printed;
  ASSERT_TRUE(StartCapture(session, OpenFile(), {}, {}, {}));
  const ByteVector file = ReadFileBytes(capturePath);
  ASSERT_GE(file.size(), 4U);
  EXPECT_EQ(ByteVector(file.begin(), file.begin() + 4), (ByteVector{0x08, 0x31, 0x60, 0xAB}));
  EXPECT_EQ(Items(), (std::vector<sFileItem>{InformationItem()}));
  EXPECT_TRUE(session.capturing);
}

TEST_F(StartCaptureTest, PrintsNothingWhenItSucceeds) {
  cPrinted printed;
  ASSERT_TRUE(StartCapture(session, OpenFile(), {}, {}, {}));
  EXPECT_EQ(printed.Take(), "");
}

TEST_F(StartCaptureTest, TheFilterRecordsReplaceTheSessionsOwn) {
  session.eventIds = {1};
  session.logCodes = {0x412F};
  session.messageLevels = {{1, {1}}};
  Start({256, 257}, {0x1234}, {{18, {2}}});
  EXPECT_EQ(session.eventIds, (EventIdSet{256, 257}));
  EXPECT_EQ(session.logCodes, LogCodeSet{0x1234});
  EXPECT_EQ(session.messageLevels, (MessageLevelMap{{18, {2}}}));
}

TEST_F(StartCaptureTest, TheSessionsOwnRecordsMayBeGiven) {
  session.eventIds = {256};
  session.logCodes = {0x1234};
  session.messageLevels = {{18, {2}}};
  Start(session.eventIds, session.logCodes, session.messageLevels);
  EXPECT_EQ(session.eventIds, EventIdSet{256});
  EXPECT_EQ(session.logCodes, LogCodeSet{0x1234});
  EXPECT_EQ(session.messageLevels, (MessageLevelMap{{18, {2}}}));
}

TEST_F(StartCaptureTest, WithoutAFileTheInformationItemCannotBeStored) {
  cPrinted printed;
  EXPECT_FALSE(StartCapture(session, nullptr, {256}, {}, {}));
  EXPECT_EQ(printed.Take(), "Unable to write info string\n");
  EXPECT_FALSE(session.capturing);
  EXPECT_EQ(session.eventIds, EventIdSet{256});
}

TEST_F(StartCaptureTest, AFileThatIsNotOpenIsNotAttached) {
  auto file = OpenFile();
  file->close();
  cPrinted printed;
  EXPECT_FALSE(StartCapture(session, std::move(file), {}, {}, {}));
  EXPECT_EQ(printed.Take(), "Unable to write info string\n");
  EXPECT_FALSE(session.capturing);
  EXPECT_TRUE(ReadFileBytes(capturePath).empty());
}

TEST_F(StartCaptureTest, AStreamThatFailedCannotTakeTheInformationItem) {
  auto file = OpenFile();
  file->setstate(std::ios::badbit);
  cPrinted printed;
  EXPECT_FALSE(StartCapture(session, std::move(file), {}, {}, {}));
  EXPECT_EQ(printed.Take(), "Unable to write info string\n");
  EXPECT_FALSE(session.capturing);
}

TEST_F(StartCaptureTest, AnEarlierFileIsFinishedFirst) {
  Start();
  const std::string earlierPath = capturePath;
  capturePath = folder.Path("second.isf");
  Start();
  EXPECT_TRUE(IsClosedCapture(earlierPath));
  EXPECT_FALSE(IsClosedCapture(capturePath));
  EXPECT_EQ(Items(), (std::vector<sFileItem>{InformationItem()}));
}

TEST_F(StartCaptureTest, AnEarlierFileIsFinishedAlsoWhenNoneFollows) {
  Start();
  cPrinted printed;
  EXPECT_FALSE(StartCapture(session, nullptr, {}, {}, {}));
  EXPECT_EQ(printed.Take(), "Unable to write info string\n");
  EXPECT_TRUE(IsClosedCapture(capturePath));
}

// Sets the connection up a second time it does not: the capture was running all the while.
TEST_F(StartCaptureTest, AnotherStartWhileCapturingDoesNotConnectAgain) {
  serial.open = true;
  Start();
  capturePath = folder.Path("second.isf");
  cPrinted printed;
  EXPECT_TRUE(StartCapture(session, OpenFile(), {}, {}, {}));
  EXPECT_EQ(printed.Take(), "");
  EXPECT_EQ(Items(), (std::vector<sFileItem>{InformationItem()}));
  EXPECT_EQ(traffic.readerThreads.size(), 1U);
}

TEST_F(StartCaptureTest, WithThePortOpenBothTextItemsPrecedeTheFirstRequest) {
  serial.open = true;
  cPrinted printed;
  ASSERT_TRUE(StartCapture(session, OpenFile(), {}, {}, {}));
  EXPECT_EQ(printed.Take(), "Port COM3 connected\n");
  EXPECT_EQ(Queued(), kStartUpPackets);
  EXPECT_EQ(traffic.readerThreads, std::vector<cCaptureSession*>{&session});

  cReaderLoop(session).Pump();
  EXPECT_EQ(Items(),
            (std::vector<sFileItem>{
                InformationItem(), TextItem("Port COM3 connected"), {isf::kRequestItem, {0x1D}}}));
}

TEST_F(StartCaptureTest, WithThePortClosedNothingIsConnected) {
  Start();
  EXPECT_TRUE(Queued().empty());
  EXPECT_TRUE(traffic.readerThreads.empty());
}

TEST_F(StartCaptureTest, WithoutATransportNothingIsConnected) {
  session.transport = nullptr;
  Start();
  EXPECT_TRUE(session.capturing);
  EXPECT_EQ(Items(), (std::vector<sFileItem>{InformationItem()}));
}

TEST_F(StartCaptureTest, WithoutMemoryItFailsAndOnlyTheStoresRefusalIsPrinted) {
  std::uint32_t silent = 0;
  for (const eHeap heap : {eHeap::Blocks, eHeap::New}) {
    for (std::uint32_t nth = 1;; ++nth) {
      auto file = OpenFile();
      cPrinted printed;
      cAllocationFailure failure(heap, nth);
      const bool started = StartCapture(session, std::move(file), {}, {}, {});
      const bool failed = failure.Disarm();
      const std::string text = printed.Take();
      if (!failed) {
        EXPECT_TRUE(started);
        break;
      }
      EXPECT_FALSE(started);
      EXPECT_FALSE(session.capturing);
      if (text.empty()) {
        ++silent;
      } else {
        EXPECT_EQ(text, "Unable to write info string\n");
      }
    }
    session.capturing = false;
  }
  // The item's bytes and the buffer around them.
  EXPECT_EQ(silent, 2U);
}

}  // namespace
}  // namespace corvane
