#include "capture/receive_path.h"

#include <gtest/gtest.h>

#include <tuple>
#include <utility>
#include <vector>

#include "capture/connection.h"
#include "capture/session_fixture.h"
#include "support/at_allocation.h"
#include "support/failing_allocation.h"

namespace corvane {
namespace {

// Everything that a splitter makes of some bytes.
struct sSplit {
  explicit sSplit(const ByteVector& received) {
    cPrinted output;
    cFrameSplitter splitter(received);
    while (const cBufferReference packet = splitter.Next()) {
      EXPECT_EQ(packet->origin, kOriginDevice);
      EXPECT_EQ(packet->refCount, 1U);
      packets.emplace_back(packet->Bytes().begin(), packet->Bytes().end());
    }
    offset = splitter.Offset();
    ranOutOfMemory = splitter.RanOutOfMemory();
    printed = output.Take();
  }

  std::vector<ByteVector> packets;
  std::size_t offset = 0;
  bool ranOutOfMemory = false;
  std::string printed;
};

TEST(FrameSplitterTest, NoBytesHoldNoPacket) {
  const sSplit split({});
  EXPECT_TRUE(split.packets.empty());
  EXPECT_EQ(split.offset, 0U);
  EXPECT_FALSE(split.ranOutOfMemory);
  EXPECT_EQ(split.printed, "");
}

TEST(FrameSplitterTest, APacketIsTakenOutOfItsFrame) {
  const sSplit split({0x4B, 0x0F, 0x00, 0x00, 0xBB, 0x60, 0x7E});
  EXPECT_EQ(split.packets, (std::vector<ByteVector>{{0x4B, 0x0F, 0x00, 0x00}}));
  EXPECT_EQ(split.offset, 7U);
  EXPECT_FALSE(split.ranOutOfMemory);
}

TEST(FrameSplitterTest, TwoPacketsComeInOrder) {
  const sSplit split({0x1D, 0x1C, 0x3B, 0x7E, 0x00, 0x78, 0xF0, 0x7E});
  EXPECT_EQ(split.packets, (std::vector<ByteVector>{{0x1D}, {0x00}}));
  EXPECT_EQ(split.offset, 8U);
}

TEST(FrameSplitterTest, AnIncompleteFrameIsLeft) {
  const sSplit split({0x1D, 0x1C, 0x3B, 0x7E, 0x00, 0x78, 0xF0});
  EXPECT_EQ(split.packets, std::vector<ByteVector>{{0x1D}});
  EXPECT_EQ(split.offset, 4U);
  EXPECT_EQ(split.printed, "");
}

TEST(FrameSplitterTest, AfterAnOpeningFlagTheClosingFlagIsLeft) {
  const sSplit split({0x7E, 0x1D, 0x1C, 0x3B, 0x7E});
  EXPECT_EQ(split.packets, std::vector<ByteVector>{{0x1D}});
  EXPECT_EQ(split.offset, 4U);
  EXPECT_EQ(split.printed, "");
}

TEST(FrameSplitterTest, OneFlagBetweenTwoFramesClosesTheOneAndOpensTheOther) {
  const sSplit split({0x7E, 0x1D, 0x1C, 0x3B, 0x7E, 0x00, 0x78, 0xF0, 0x7E});
  EXPECT_EQ(split.packets, (std::vector<ByteVector>{{0x1D}, {0x00}}));
  EXPECT_EQ(split.offset, 8U);
  EXPECT_EQ(split.printed, "");
}

TEST(FrameSplitterTest, ACorruptFrameBetweenTwoGoodOnesYieldsOneBadCrcAndTwoPackets) {
  const sSplit split(
      {0x1D, 0x1C, 0x3B, 0x7E, 0x4B, 0x0F, 0x00, 0x01, 0xBB, 0x60, 0x7E, 0x00, 0x78, 0xF0, 0x7E});
  EXPECT_EQ(split.packets, (std::vector<ByteVector>{{0x1D}, {0x00}}));
  EXPECT_EQ(split.printed, "bad CRC\n");
}

TEST(FrameSplitterTest, EachBadFrameIsPrintedOnce) {
  const sSplit split(
      Joined({BadFrame({1, 2, 3}), BadFrame({4, 5, 6}), Framed({7}), BadFrame({8, 9, 10})}));
  EXPECT_EQ(split.packets, std::vector<ByteVector>{{7}});
  EXPECT_EQ(split.printed, "bad CRC\nbad CRC\nbad CRC\n");
}

TEST(FrameSplitterTest, ALoneFlagIsIncomplete) {
  const sSplit split({0x7E});
  EXPECT_TRUE(split.packets.empty());
  EXPECT_EQ(split.offset, 0U);
  EXPECT_EQ(split.printed, "");
}

TEST(FrameSplitterTest, TwoFlagsInARowAreABadFrameWhoseSecondFlagIsLeft) {
  const sSplit split({0x7E, 0x7E});
  EXPECT_TRUE(split.packets.empty());
  EXPECT_EQ(split.offset, 1U);
  EXPECT_EQ(split.printed, "bad CRC\n");
}

TEST(FrameSplitterTest, AFrameOfNothingButAGoodCrcIsAnEmptyPacket) {
  const sSplit split({0x00, 0x00, 0x7E});
  EXPECT_EQ(split.packets, std::vector<ByteVector>{{}});
  EXPECT_EQ(split.offset, 3U);
  EXPECT_EQ(split.printed, "");
}

TEST(FrameSplitterTest, WithoutMemoryForTheCopyTheBytesAreLeft) {
  const ByteVector received = {0x1D, 0x1C, 0x3B, 0x7E};
  for (const eHeap heap : {eHeap::Blocks, eHeap::New}) {
    cFrameSplitter splitter(received);
    cAllocationFailure failure(heap, 1);
    const bool found = static_cast<bool>(splitter.Next());
    EXPECT_TRUE(failure.Disarm());
    EXPECT_FALSE(found);
    EXPECT_TRUE(splitter.RanOutOfMemory());
    EXPECT_EQ(splitter.Offset(), 0U);
  }
}

TEST(FrameSplitterTest, AsManyBytesAsABufferHoldsAreLookedAt) {
  ByteVector received = {0x1D, 0x1C, 0x3B, 0x7E};
  received.resize(16640);
  const sSplit split(received);
  EXPECT_EQ(split.packets, std::vector<ByteVector>{{0x1D}});
  EXPECT_EQ(split.offset, 4U);
}

TEST(FrameSplitterTest, InMoreBytesThanABufferHoldsNothingIsFound) {
  ByteVector received = {0x1D, 0x1C, 0x3B, 0x7E};
  received.resize(16641);
  const sSplit split(received);
  EXPECT_TRUE(split.packets.empty());
  EXPECT_EQ(split.offset, 0U);
  EXPECT_FALSE(split.ranOutOfMemory);
  EXPECT_EQ(split.printed, "");
}

class OnDeviceDataTest : public cSessionTest {
 protected:
  OnDeviceDataTest() {
    UseTransport(broadband);
    Start();
    startItems = Items().size();
  }

  // Delivers one block and returns what that printed.
  std::string Deliver(const ByteVector& block) {
    const cBufferReference data(std::make_unique<sSharedBuffer>(
        block.data(), static_cast<std::int32_t>(block.size()), kOriginDevice));
    cPrinted printed;
    OnDeviceData(&session, data.Get());
    EXPECT_EQ(data->refCount, 1U);  // borrowed for the call
    return printed.Take();
  }

  // The packets stored since the capture was started.
  std::vector<ByteVector> Stored() {
    std::vector<ByteVector> packets;
    const std::vector<sFileItem> items = Items();
    for (std::size_t i = startItems; i < items.size(); ++i) {
      packets.push_back(items[i].packet);
    }
    return packets;
  }

  std::size_t startItems = 0;
};

const ByteVector kLogPacket = {0x10, 0x00, 0x04, 0x00, 0x04, 0x00, 0x34, 0x12};
const ByteVector kReply = {0x4B, 0x0F, 0x00, 0x00, 0x01};
const ByteVector kEventReply = {0x60, 0x00, 0x00};

TEST_F(OnDeviceDataTest, ANullSessionIsIgnored) {
  const cBufferReference data(std::make_unique<sSharedBuffer>("x", 1, kOriginDevice));
  OnDeviceData(nullptr, data.Get());
  OnDeviceData(nullptr, nullptr);
}

TEST_F(OnDeviceDataTest, NothingIsStoredOrSentUnlessCapturing) {
  Push({0x1D});
  session.capturing = false;
  EXPECT_EQ(Deliver(Framed(kReply)), "");
  EXPECT_TRUE(Stored().empty());
  EXPECT_TRUE(broadband.writes.empty());
  EXPECT_EQ(session.outstanding, 0U);
}

TEST_F(OnDeviceDataTest, WithNoDataTheFirstRequestIsSent) {
  Push({0x1D});
  Push({0x00});
  OnDeviceData(&session, nullptr);
  EXPECT_EQ(broadband.writes, (std::vector<ByteVector>{{0x1D, 0x1C, 0x3B, 0x7E}}));
  EXPECT_EQ(session.nextRequest, 1U);
  EXPECT_EQ(session.outstanding, 1U);
}

TEST_F(OnDeviceDataTest, AnEmptyBlockOnlySends) {
  Push({0x1D});
  EXPECT_EQ(Deliver({}), "");
  EXPECT_EQ(broadband.writes.size(), 1U);
  EXPECT_EQ(session.outstanding, 1U);
}

TEST_F(OnDeviceDataTest, ThePacketsOfABlockAreStoredInOrder) {
  EXPECT_EQ(Deliver(Joined({Framed(kLogPacket), Framed({0x79, 1, 2, 3})})), "");
  EXPECT_EQ(Stored(), (std::vector<ByteVector>{kLogPacket, {0x79, 1, 2, 3}}));
}

TEST_F(OnDeviceDataTest, ACorruptFrameBetweenGoodOnesYieldsOneBadCrcAndTwoItems) {
  EXPECT_EQ(Deliver(Joined({Framed(kLogPacket), BadFrame({0x79, 9, 9}), Framed({0x79, 1, 2, 3})})),
            "bad CRC\n");
  EXPECT_EQ(Stored(), (std::vector<ByteVector>{kLogPacket, {0x79, 1, 2, 3}}));
}

TEST_F(OnDeviceDataTest, AnIncompleteFrameAtTheEndOfABlockIsDropped) {
  const ByteVector frame = Framed(kLogPacket);
  const auto middle = frame.begin() + 5;
  EXPECT_EQ(Deliver(ByteVector(frame.begin(), middle)), "");
  EXPECT_EQ(Deliver(ByteVector(middle, frame.end())), "bad CRC\n");
  EXPECT_TRUE(Stored().empty());
}

TEST_F(OnDeviceDataTest, TheNextRequestWaitsForTheReplyToTheLast) {
  Push({0x1D});
  Push({0x00});
  OnDeviceData(&session, nullptr);
  OnDeviceData(&session, nullptr);
  EXPECT_EQ(broadband.writes.size(), 1U);
  EXPECT_EQ(Deliver(Framed(kReply)), "");
  EXPECT_EQ(broadband.writes, (std::vector<ByteVector>{Framed({0x1D}), Framed({0x00})}));
  EXPECT_EQ(session.nextRequest, 2U);
  EXPECT_EQ(session.outstanding, 1U);
}

TEST_F(OnDeviceDataTest, AReplyIsNotComparedWithTheRequest) {
  Push({0x1D});
  Push({0x00});
  OnDeviceData(&session, nullptr);
  EXPECT_EQ(Deliver(Framed({0x13, 0x99})), "");
  EXPECT_EQ(broadband.writes.size(), 2U);
}

TEST_F(OnDeviceDataTest, StreamingPacketsNeverReleaseTheNextRequest) {
  Push({0x1D});
  Push({0x00});
  OnDeviceData(&session, nullptr);
  for (const int code : {0x10, 0x1F, 0x60, 0x74, 0x79, 0x92}) {
    std::ignore = Deliver(Framed({static_cast<std::uint8_t>(code), 1, 2, 3}));
    EXPECT_EQ(broadband.writes.size(), 1U) << code;
    EXPECT_EQ(session.outstanding, 1U) << code;
  }
}

TEST_F(OnDeviceDataTest, TheShortEventReplyReleasesTheNextRequest) {
  Push({0x60, 0x01});
  Push({0x00});
  OnDeviceData(&session, nullptr);
  EXPECT_EQ(Deliver(Framed(kEventReply)), "");
  EXPECT_EQ(broadband.writes.size(), 2U);
}

TEST_F(OnDeviceDataTest, AShortEventReplyWithNothingOutstandingLeavesTheCounterAt0) {
  EXPECT_EQ(Deliver(Framed(kEventReply)), "");
  EXPECT_EQ(session.outstanding, 0U);
  Push({0x1D});
  EXPECT_EQ(Deliver(Framed(kEventReply)), "");
  EXPECT_EQ(broadband.writes.size(), 1U);
}

TEST_F(OnDeviceDataTest, AnUnaskedReplyWrapsTheCounterTo4294967295AndStopsTheSending) {
  EXPECT_EQ(Deliver(Framed(kReply)), "");
  EXPECT_EQ(session.outstanding, 4294967295U);
  Push({0x1D});
  OnDeviceData(&session, nullptr);
  EXPECT_EQ(Deliver(Framed(kLogPacket)), "");
  EXPECT_TRUE(broadband.writes.empty());

  ClearRequests(session);
  Push({0x1D});
  OnDeviceData(&session, nullptr);
  EXPECT_EQ(broadband.writes.size(), 1U);
}

TEST_F(OnDeviceDataTest, TwoRepliesInABlockToOneRequestWrapTheCounter) {
  Push({0x1D});
  Push({0x00});
  OnDeviceData(&session, nullptr);
  EXPECT_EQ(Deliver(Joined({Framed(kReply), Framed(kReply)})), "");
  EXPECT_EQ(session.outstanding, 4294967295U);
  EXPECT_EQ(broadband.writes.size(), 1U);
}

TEST_F(OnDeviceDataTest, OneBlockSendsOneRequestAtMost) {
  Push({0x1D});
  Push({0x00});
  Push({0x7C});
  EXPECT_EQ(Deliver(Joined({Framed(kEventReply), Framed(kEventReply)})), "");
  EXPECT_EQ(broadband.writes.size(), 1U);
}

TEST_F(OnDeviceDataTest, TheNumberIsTakenBeforeTheSendAndTheCounterRaisedAfter) {
  Push({0x1D});
  Push({0x00});
  std::vector<std::pair<std::uint32_t, std::uint32_t>> duringWrites;
  broadband.duringWrite = [&] {
    duringWrites.emplace_back(session.nextRequest.load(), session.outstanding.load());
  };
  OnDeviceData(&session, nullptr);
  std::ignore = Deliver(Framed(kReply));
  EXPECT_EQ(duringWrites, (std::vector<std::pair<std::uint32_t, std::uint32_t>>{{1, 0}, {2, 0}}));
  EXPECT_EQ(session.outstanding, 1U);
}

// A transport that delivers before a write has returned, as a platform may.
class OvertakingReplyTest : public OnDeviceDataTest {
 protected:
  OvertakingReplyTest() {
    for (const ByteVector& request : requests) {
      Push(request);
    }
  }

  // Delivers these packets, each in a block of its own, during the first write.
  void OvertakeTheFirstWriteWith(const std::vector<ByteVector>& packets) {
    broadband.duringWrite = [this, packets] {
      if (broadband.writes.size() > 1) {
        return;
      }
      for (const ByteVector& packet : packets) {
        DeliverQuietly(packet);
        counters.push_back(session.outstanding);
      }
      EXPECT_EQ(broadband.writes.size(), 1U) << "nothing is sent before the write has returned";
    };
    OnDeviceData(&session, nullptr);
  }

  void DeliverQuietly(const ByteVector& packet) {
    const ByteVector frame = Framed(packet);
    sSharedBuffer data(frame.data(), static_cast<std::int32_t>(frame.size()), kOriginDevice);
    OnDeviceData(&session, &data);
  }

  void ExpectSent(std::size_t count) {
    std::vector<ByteVector> expected;
    for (std::size_t i = 0; i < count; ++i) {
      expected.push_back(Framed(requests[i]));
    }
    EXPECT_EQ(broadband.writes, expected);
    EXPECT_EQ(session.nextRequest, count);
  }

  const std::vector<ByteVector> requests = {{0x1D}, {0x00}, {0x7C}};
  std::vector<std::uint32_t> counters;
};

TEST_F(OvertakingReplyTest, WrapsTheCounterWhichComesBackTo0AndTheNextRequestFollows) {
  OvertakeTheFirstWriteWith({kReply});
  EXPECT_EQ(counters, std::vector<std::uint32_t>{4294967295});
  ExpectSent(2);
  EXPECT_EQ(session.outstanding, 1U);
  DeliverQuietly(kReply);
  ExpectSent(3);
}

TEST_F(OvertakingReplyTest, OfEveryRequestSendsThemAllInOneCall) {
  broadband.duringWrite = [this] { DeliverQuietly(kReply); };
  OnDeviceData(&session, nullptr);
  ExpectSent(3);
  EXPECT_EQ(session.outstanding, 0U);
}

TEST_F(OvertakingReplyTest, OfTheShortEventKindDoesTheSame) {
  OvertakeTheFirstWriteWith({kEventReply});
  EXPECT_EQ(counters, std::vector<std::uint32_t>{4294967295});
  ExpectSent(2);
  EXPECT_EQ(session.outstanding, 1U);
}

TEST_F(OvertakingReplyTest, OfTheShortEventKindIsCountedOnce) {
  OvertakeTheFirstWriteWith({kEventReply, kEventReply});
  EXPECT_EQ(counters, (std::vector<std::uint32_t>{4294967295, 4294967295}));
  ExpectSent(2);
  EXPECT_EQ(session.outstanding, 1U);
}

TEST_F(OvertakingReplyTest, LeavesNoRoomForAShortEventReply) {
  OvertakeTheFirstWriteWith({kReply, kEventReply});
  EXPECT_EQ(counters, (std::vector<std::uint32_t>{4294967295, 4294967295}));
  ExpectSent(2);
}

TEST_F(OvertakingReplyTest, ThatComesTwiceStopsTheSending) {
  OvertakeTheFirstWriteWith({kReply, kReply});
  EXPECT_EQ(counters, (std::vector<std::uint32_t>{4294967295, 4294967294}));
  ExpectSent(1);
  EXPECT_EQ(session.outstanding, 4294967295U);
}

TEST_F(OvertakingReplyTest, AnotherPacketSendsNothingEarly) {
  OvertakeTheFirstWriteWith({kLogPacket});
  EXPECT_EQ(counters, std::vector<std::uint32_t>{0});
  ExpectSent(1);
  EXPECT_EQ(session.outstanding, 1U);
}

TEST_F(OvertakingReplyTest, ADisconnectionDuringAWriteStartsTheCountersAnew) {
  broadband.duringWrite = [this] {
    broadband.duringWrite = nullptr;
    ClearRequests(session);
    Push({0x60, 0x01});
    // The late reply of the lost connection does not count for the new one.
    DeliverQuietly(kReply);
    OnDeviceData(&session, nullptr);
  };
  OnDeviceData(&session, nullptr);
  EXPECT_EQ(broadband.writes, (std::vector<ByteVector>{Framed({0x1D}), Framed({0x60, 0x01})}));
  EXPECT_EQ(session.nextRequest, 1U);
  EXPECT_EQ(session.outstanding, 1U);
}

TEST_F(OvertakingReplyTest, ADisconnectionDuringTheLastWriteLeavesNothingOutstanding) {
  broadband.duringWrite = [this] { ClearRequests(session); };
  OnDeviceData(&session, nullptr);
  EXPECT_EQ(broadband.writes, std::vector<ByteVector>{Framed({0x1D})});
  EXPECT_EQ(session.nextRequest, 0U);
  EXPECT_EQ(session.outstanding, 0U);
}

TEST_F(OnDeviceDataTest, AllRequestsGoOutOneAReplyAndThenNoMore) {
  for (const ByteVector& request : kStartUpPackets) {
    Push(request);
  }
  OnDeviceData(&session, nullptr);
  for (std::size_t i = 1; i <= kStartUpPackets.size(); ++i) {
    EXPECT_EQ(broadband.writes.size(), i);
    EXPECT_EQ(Deliver(Framed(kReply)), "");
  }
  std::vector<ByteVector> expected;
  for (const ByteVector& request : kStartUpPackets) {
    expected.push_back(Framed(request));
  }
  EXPECT_EQ(broadband.writes, expected);
  EXPECT_EQ(session.nextRequest, 13U);
  EXPECT_EQ(session.outstanding, 0U);
}

TEST_F(OnDeviceDataTest, AReplyIsInTheCaptureFileBeforeTheNextRequest) {
  Push({0x1D});
  EXPECT_EQ(Deliver(Joined({Framed(kEventReply), Framed(kLogPacket)})), "");
  EXPECT_EQ(Stored(), (std::vector<ByteVector>{kEventReply, kLogPacket, {0x1D}}));
}

TEST_F(OnDeviceDataTest, AFailedWriteCountsAsSent) {
  Push({0x1D});
  Push({0x00});
  broadband.writeResult = false;
  OnDeviceData(&session, nullptr);
  EXPECT_EQ(session.nextRequest, 1U);
  EXPECT_EQ(session.outstanding, 1U);
}

TEST_F(OnDeviceDataTest, ARequestThatWasDroppedAtCapacityCountsAsSent) {
  session.requestQueue.capacity = 1;
  Push({0x1D});
  sSharedBuffer* const dropped = session.requestQueue.entries.front().Get();
  Push({0x00});
  Release(dropped);
  // One of the two is left, so that the count of 1 exceeds number 0, which is gone.
  OnDeviceData(&session, nullptr);
  EXPECT_TRUE(broadband.writes.empty());
  EXPECT_EQ(session.nextRequest, 1U);
  EXPECT_EQ(session.outstanding, 1U);
}

TEST_F(OnDeviceDataTest, WithoutMagicNothingIsSent) {
  Push({0x1D});
  session.requestQueue.magic = 0;
  OnDeviceData(&session, nullptr);
  EXPECT_TRUE(broadband.writes.empty());
  EXPECT_EQ(session.nextRequest, 0U);
  EXPECT_EQ(session.outstanding, 0U);
  session.requestQueue.magic = sRequestQueue::kMagic;
}

TEST_F(OnDeviceDataTest, AReplyThatCannotBeWrittenIsPrintedWithItsErrorAndCounts) {
  Push({0x1D});
  Push({0x00});
  OnDeviceData(&session, nullptr);
  session.Close();
  EXPECT_EQ(Deliver(Joined({Framed(kReply), Framed(kLogPacket)})),
            "error 9 writing item\nerror 9 writing item\n");
  EXPECT_EQ(broadband.writes.size(), 2U);
}

TEST_F(OnDeviceDataTest, APacketThatTheStoreRefusesIsPrintedWithItsError) {
  EXPECT_EQ(Deliver(Framed({0x93})), "error 160 writing item\n");
}

TEST_F(OnDeviceDataTest, AnEmptyPacketIsRefusedByTheStoreAndNoReply) {
  session.outstanding = 1;
  EXPECT_EQ(Deliver({0x00, 0x00, 0x7E}), "error 160 writing item\n");
  EXPECT_EQ(session.outstanding, 1U);
}

// Between the look-up of a request and the taking of its number the connection goes and another one
// comes.
TEST_F(OnDeviceDataTest, AQueueThatIsClearedDuringALookUpIsSentFromNumber0) {
  Push({0x1D});
  // Its bytes are being copied when it leaves the queue.
  const cBufferReference kept = session.requestQueue.entries.front();
  const test::cAtAllocation reconnection(1, [this] {
    ClearRequests(session);
    Push({0x00});
    Push({0x7C});
    OnDeviceData(&session, nullptr);
    EXPECT_TRUE(broadband.writes.empty()) << "the first sender is not done";
  });
  OnDeviceData(&session, nullptr);
  EXPECT_TRUE(reconnection.HasCome());
  EXPECT_EQ(broadband.writes, std::vector<ByteVector>{Framed({0x00})});
  EXPECT_EQ(session.nextRequest, 1U);
  EXPECT_EQ(session.outstanding, 1U);
}

TEST_F(OnDeviceDataTest, ARequestThatThereWasNoMemoryToLookUpIsSentOnTheNextOccasion) {
  Push({0x1D});
  Push({0x00});
  for (const eHeap heap : {eHeap::Blocks, eHeap::New}) {
    cAllocationFailure failure(heap, 1);
    OnDeviceData(&session, nullptr);
    EXPECT_TRUE(failure.Disarm());
    EXPECT_TRUE(broadband.writes.empty());
    EXPECT_EQ(session.nextRequest, 0U);
    EXPECT_EQ(session.outstanding, 0U);
  }
  EXPECT_EQ(Deliver(Framed(kLogPacket)), "");
  EXPECT_EQ(broadband.writes, std::vector<ByteVector>{Framed({0x1D})});
  EXPECT_EQ(Deliver(Framed(kReply)), "");
  EXPECT_EQ(broadband.writes, (std::vector<ByteVector>{Framed({0x1D}), Framed({0x00})}));
}

TEST_F(OnDeviceDataTest, WithoutMemoryForTheCopyNothingIsSent) {
  Push({0x1D});
  for (const eHeap heap : {eHeap::Blocks, eHeap::New}) {
    const cBufferReference data(std::make_unique<sSharedBuffer>("\x7E", 1, kOriginDevice));
    cAllocationFailure failure(heap, 1);
    OnDeviceData(&session, data.Get());
    EXPECT_TRUE(failure.Disarm());
    EXPECT_EQ(session.nextRequest, 0U);
    EXPECT_TRUE(broadband.writes.empty());
  }
}

}  // namespace
}  // namespace corvane
