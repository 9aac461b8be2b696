#include <gtest/gtest.h>

#include <map>
#include <string>

#include "capture/connection.h"
#include "capture/session_fixture.h"
#include "support/failing_allocation.h"

namespace corvane {
namespace {

using SetupSessionTest = cSessionTest;

// The requests behind the 13 fixed ones.
std::vector<ByteVector> BehindTheFixedOnes(std::vector<ByteVector> queued) {
  EXPECT_GE(queued.size(), kStartUpPackets.size());
  const auto fixed = static_cast<std::ptrdiff_t>(kStartUpPackets.size());
  EXPECT_EQ(std::vector<ByteVector>(queued.begin(), queued.begin() + fixed), kStartUpPackets);
  queued.erase(queued.begin(), queued.begin() + fixed);
  return queued;
}

// The first bytes of a request: enough to tell which one it is.
ByteVector Head(const ByteVector& request) {
  return {request.begin(), request.begin() + std::min<std::ptrdiff_t>(
                                                 static_cast<std::ptrdiff_t>(request.size()), 9)};
}

TEST_F(SetupSessionTest, WithoutATransportNothingHappens) {
  session.transport = nullptr;
  Push({0x1D});
  session.nextRequest = 1;
  SetupSession(session);
  EXPECT_EQ(Queued(), std::vector<ByteVector>{{0x1D}});
  EXPECT_EQ(session.nextRequest, 1U);
}

TEST_F(SetupSessionTest, WithEmptyFiltersExactlyThe13FixedRequestsAreQueued) {
  cPrinted printed;
  SetupSession(session);
  EXPECT_EQ(Queued(), kStartUpPackets);
  EXPECT_EQ(printed.Take(), "");
}

TEST_F(SetupSessionTest, TheQueueHasTheOneReferenceToEachRequest) {
  session.eventIds = {1};
  session.messageLevels = {{5, {0}}};
  session.logCodes = {0x1234};
  session.sendAllLevelsMask = 1;
  SetupSession(session);
  EXPECT_EQ(session.requestQueue.entries.size(), 17U);
  for (const cBufferReference& request : session.requestQueue.entries) {
    EXPECT_EQ(request->refCount, 1U);
    EXPECT_EQ(request->origin, kOriginLibrary);
  }
}

TEST_F(SetupSessionTest, EventMaskThenLevelsBySsidThenLogMasksByEquipmentIdFollow) {
  session.eventIds = {0, 9};
  session.messageLevels = {{5, {0, 3, 40}}, {3, {1}}};
  session.logCodes = {0xB0C0, 0x1234};
  SetupSession(session);
  const std::vector<ByteVector> requests = BehindTheFixedOnes(Queued());
  ASSERT_EQ(requests.size(), 5U);
  EXPECT_EQ(requests[0], (ByteVector{0x82, 0, 0, 0, 0x0A, 0, 0x01, 0x02}));
  EXPECT_EQ(requests[1], (ByteVector{0x7D, 0x04, 3, 0, 3, 0, 0, 0, 0x02, 0, 0, 0}));
  EXPECT_EQ(requests[2], (ByteVector{0x7D, 0x04, 5, 0, 5, 0, 0, 0, 0x09, 0, 0, 0}));
  EXPECT_EQ(Head(requests[3]), (ByteVector{0x73, 0, 0, 0, 3, 0, 0, 0, 1}));
  EXPECT_EQ(Head(requests[4]), (ByteVector{0x73, 0, 0, 0, 3, 0, 0, 0, 11}));
  EXPECT_EQ(requests[3].size(), 528U);
  EXPECT_EQ(requests[3][16 + 0x46], 0x10);  // item 0x234
  EXPECT_EQ(requests[4][16 + 0x18], 0x01);  // item 0x0C0
}

TEST_F(SetupSessionTest, TheAllLevelsRequestFollowsTheFixedOnesWhenItsFlagIs1) {
  session.eventIds = {0};
  session.sendAllLevelsMask = 1;
  SetupSession(session);
  const std::vector<ByteVector> requests = BehindTheFixedOnes(Queued());
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(requests[0], (ByteVector{0x7D, 0x05, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(requests[1][0], 0x82);
}

TEST_F(SetupSessionTest, AnyOtherValueOfTheFlagQueuesNoAllLevelsRequest) {
  session.sendAllLevelsMask = 2;
  SetupSession(session);
  EXPECT_EQ(Queued(), kStartUpPackets);
}

TEST_F(SetupSessionTest, AnEquipmentIdThatLongCodesNameAgainGetsOneLogMask) {
  session.logCodes = {0x1001, 0xB001, 0x11001, 0xFFFF0002};
  SetupSession(session);
  const std::vector<ByteVector> requests = BehindTheFixedOnes(Queued());
  ASSERT_EQ(requests.size(), 3U);
  EXPECT_EQ(requests[0][8], 0);
  EXPECT_EQ(requests[1][8], 1);
  EXPECT_EQ(requests[2][8], 11);
}

TEST_F(SetupSessionTest, EachOfThe16EquipmentIdsGetsItsLogMask) {
  for (std::uint32_t id = 0; id < 16; ++id) {
    session.logCodes.insert(id << 12);
  }
  SetupSession(session);
  const std::vector<ByteVector> requests = BehindTheFixedOnes(Queued());
  ASSERT_EQ(requests.size(), 16U);
  for (std::size_t id = 0; id < 16; ++id) {
    EXPECT_EQ(requests[id][8], id);
  }
}

TEST_F(SetupSessionTest, AnEventMaskThatCannotBeBuiltIsLeftOut) {
  session.eventIds = {1, 65608};
  session.logCodes = {0x1234};
  cPrinted printed;
  SetupSession(session);
  EXPECT_EQ(printed.Take(), "failed to create event mask\n");
  const std::vector<ByteVector> requests = BehindTheFixedOnes(Queued());
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0][0], 0x73);
  EXPECT_EQ(traffic.readerThreads.size(), 1U);
}

TEST_F(SetupSessionTest, TheLargestEventMaskIsQueued) {
  session.eventIds = {65607};
  cPrinted printed;
  SetupSession(session);
  EXPECT_EQ(printed.Take(), "");
  EXPECT_EQ(BehindTheFixedOnes(Queued())[0].size(), 8207U);
}

// Each allocation in turn fails: one request is missing, all others are there.
TEST_F(SetupSessionTest, ARequestWithoutMemoryIsLeftOutAndTheOthersAreQueued) {
  session.eventIds = {1};
  session.messageLevels = {{3, {1}}, {5, {1}}};
  session.logCodes = {0x1234, 0xB001};
  // Of a kind for which no traffic is started, which takes memory of its own.
  cFakeTransport other(2);
  UseTransport(other);
  SetupSession(session);
  const std::vector<ByteVector> all = Queued();
  ASSERT_EQ(all.size(), 18U);

  for (const eHeap heap : {eHeap::Blocks, eHeap::New}) {
    std::map<std::string, int> printedTexts;
    for (std::uint32_t nth = 1;; ++nth) {
      ClearRequests(session);
      cPrinted printed;
      cAllocationFailure failure(heap, nth);
      SetupSession(session);
      if (!failure.Disarm()) {
        break;
      }
      const std::string text = printed.Take();
      const std::vector<ByteVector> queued = Queued();
      EXPECT_EQ(queued.size(), 17U) << "allocation " << nth;
      if (queued.size() != 17U) {
        continue;
      }

      std::size_t missing = 0;
      while (missing < queued.size() && queued[missing] == all[missing]) {
        ++missing;
      }
      const std::string expected = missing < 13   ? ""
                                   : missing < 14 ? "failed to create event mask\n"
                                   : missing < 16 ? "failed to create msg levels req\n"
                                                  : "failed to create log mask\n";
      EXPECT_EQ(text, expected) << "allocation " << nth;
      ++printedTexts[text];
    }
    EXPECT_GE(printedTexts[""], 13);
    EXPECT_GE(printedTexts["failed to create event mask\n"], 1);
    EXPECT_GE(printedTexts["failed to create msg levels req\n"], 2);
    EXPECT_GE(printedTexts["failed to create log mask\n"], 2);
  }
}

TEST_F(SetupSessionTest, WithoutMagicNothingIsQueuedAndEveryMaskIsReported) {
  session.eventIds = {1};
  session.messageLevels = {{3, {1}}};
  session.logCodes = {0x1234};
  session.requestQueue.magic = 0;
  cPrinted printed;
  SetupSession(session);
  EXPECT_EQ(printed.Take(),
            "failed to create event mask\nfailed to create msg levels req\n"
            "failed to create log mask\n");
  EXPECT_TRUE(session.requestQueue.entries.empty());
}

TEST_F(SetupSessionTest, TheRequestsOfAnEarlierConnectionAreCleared) {
  SetupSession(session);
  session.nextRequest = 5;
  session.outstanding = 1;
  SetupSession(session);
  EXPECT_EQ(Queued(), kStartUpPackets);
  EXPECT_EQ(session.requestQueue.pushedCount, 13U);
  EXPECT_EQ(session.nextRequest, 0U);
  EXPECT_EQ(session.outstanding, 0U);
}

TEST_F(SetupSessionTest, ASerialPortGetsAReaderThread) {
  cPrinted printed;
  SetupSession(session);
  EXPECT_EQ(traffic.readerThreads, std::vector<cCaptureSession*>{&session});
  EXPECT_TRUE(traffic.dataDeliveries.empty());
  EXPECT_TRUE(serial.writes.empty());
  EXPECT_EQ(printed.Take(), "");
}

TEST_F(SetupSessionTest, WithoutAReaderThreadTheQueueStaysFilledAndNothingIsSent) {
  traffic.readerThreadCanStart = false;
  cPrinted printed;
  SetupSession(session);
  EXPECT_EQ(printed.Take(), "Failed to create io thread\n");
  EXPECT_EQ(session.readerThread, nullptr);
  EXPECT_EQ(Queued(), kStartUpPackets);
  EXPECT_TRUE(serial.writes.empty());
}

TEST_F(SetupSessionTest, AMobileBroadbandDeviceGetsTheFirstRequestAtOnce) {
  UseTransport(broadband);
  session.capturing = true;
  SetupSession(session);
  EXPECT_EQ(traffic.dataDeliveries, std::vector<cCaptureSession*>{&session});
  EXPECT_TRUE(traffic.readerThreads.empty());
  EXPECT_EQ(broadband.writes, (std::vector<ByteVector>{{0x1D, 0x1C, 0x3B, 0x7E}}));
  EXPECT_EQ(session.nextRequest, 1U);
  EXPECT_EQ(session.outstanding, 1U);
}

TEST_F(SetupSessionTest, ATransportOfAnotherKindIsQueuedForButNotStarted) {
  cFakeTransport other(2);
  UseTransport(other);
  session.capturing = true;
  SetupSession(session);
  EXPECT_EQ(Queued(), kStartUpPackets);
  EXPECT_TRUE(traffic.readerThreads.empty());
  EXPECT_TRUE(traffic.dataDeliveries.empty());
  EXPECT_TRUE(other.writes.empty());
}

}  // namespace
}  // namespace corvane
