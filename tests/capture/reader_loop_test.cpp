#include "capture/reader_loop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "capture/session_fixture.h"
#include "support/at_allocation.h"
#include "support/failing_allocation.h"

namespace corvane {
namespace {

class ReaderLoopTest : public cSessionTest {
 protected:
  ReaderLoopTest() { AttachFile(); }

  // One read that gives `bytes`, and the pump before the next read.
  void Read(const ByteVector& bytes) {
    ASSERT_LE(bytes.size(), loop.Room().size());
    std::copy(bytes.begin(), bytes.end(), loop.Room().begin());
    loop.Received(bytes.size());
    loop.Pump();
  }

  std::vector<ByteVector> Stored() {
    std::vector<ByteVector> packets;
    for (const sFileItem& item : Items()) {
      packets.push_back(item.packet);
    }
    return packets;
  }

  cReaderLoop loop{session};
};

const ByteVector kLogPacket = {0x10, 0x00, 0x04, 0x00, 0x04, 0x00, 0x34, 0x12};
const ByteVector kReply = {0x4B, 0x0F, 0x00, 0x00, 0x01};
const ByteVector kEventReply = {0x60, 0x00, 0x00};

// The port of a connection that ends when the test says so.
class cFakePort final : public cReaderPort {
 public:
  [[nodiscard]] bool HasEnded() const override { return hasEnded; }
  [[nodiscard]] bool Write(const void* data, std::uint32_t length) override {
    const auto* const first = static_cast<const std::uint8_t*>(data);
    writes.emplace_back(first, first + length);
    hasEnded = hasEnded || writes.size() == endsAtWrite;
    return !hasEnded;
  }

  bool hasEnded = false;
  std::size_t endsAtWrite = 0;
  std::vector<ByteVector> writes;
};

class ReaderLoopWithPortTest : public ReaderLoopTest {
 protected:
  // One read, and no pump.
  void Receive(const ByteVector& bytes) {
    std::copy(bytes.begin(), bytes.end(), ported.Room().begin());
    ported.Received(bytes.size());
  }

  cFakePort port;
  cReaderLoop ported{session, &port};
};

TEST_F(ReaderLoopWithPortTest, RequestsGoToThePortAndNotToTheTransport) {
  Push({0x1D});
  ported.Pump();
  EXPECT_EQ(port.writes, std::vector<ByteVector>{Framed({0x1D})});
  EXPECT_TRUE(serial.writes.empty());
  EXPECT_EQ(Stored(), std::vector<ByteVector>{{0x1D}});
}

TEST_F(ReaderLoopWithPortTest, OnceItsConnectionHasEndedNothingIsSent) {
  Push({0x1D});
  port.hasEnded = true;
  ported.Pump();
  EXPECT_TRUE(port.writes.empty());
  EXPECT_TRUE(serial.writes.empty());
  EXPECT_EQ(Stored(), std::vector<ByteVector>{});

  loop.Pump();
  EXPECT_EQ(serial.writes.size(), 1U) << "a later connection finds the request in its place";
}

TEST_F(ReaderLoopWithPortTest, AConnectionThatEndsDuringALookUpIsSentNothing) {
  Push({0x1D});
  const test::cAtAllocation ending(1, [this] { port.hasEnded = true; });
  ported.Pump();
  EXPECT_TRUE(ending.HasCome());
  EXPECT_TRUE(port.writes.empty());
  EXPECT_EQ(Stored(), std::vector<ByteVector>{}) << "it may be a request of the next connection";
}

TEST_F(ReaderLoopWithPortTest, AConnectionThatEndsDuringAWriteIsSentNoMore) {
  Receive(Joined({Framed(kReply), Framed(kReply)}));
  Push({0x1D});
  Push({0x00});
  Push({0x7C});
  port.endsAtWrite = 2;
  ported.Pump();
  EXPECT_EQ(port.writes.size(), 2U);
}

TEST_F(ReaderLoopWithPortTest, WithoutMemoryForTheFrameNothingIsWritten) {
  bool frameFailed = false;
  bool failed = true;
  for (std::uint32_t nth = 1; failed; ++nth) {
    Push({0x1D});
    cReaderLoop fresh(session, &port);
    port.writes.clear();
    cAllocationFailure failure(eHeap::Blocks, nth);
    fresh.Pump();
    failed = failure.Disarm();
    EXPECT_EQ(port.writes.empty(), failed);
    frameFailed = frameFailed || (failed && !Stored().empty());
  }
  EXPECT_TRUE(frameFailed);
}

TEST_F(ReaderLoopWithPortTest, WhatWasReadBeforeItsConnectionEndedIsStored) {
  port.hasEnded = true;
  Receive(Framed(kLogPacket));
  EXPECT_EQ(Stored(), std::vector<ByteVector>{kLogPacket});
}

TEST_F(ReaderLoopTest, TwoPacketsInOneReadAreBothStoredInOrder) {
  Read(Joined({Framed(kLogPacket), Framed(kReply)}));
  EXPECT_EQ(Stored(), (std::vector<ByteVector>{kLogPacket, kReply}));
}

TEST_F(ReaderLoopTest, HalfAPacketAtTheEndOfAReadIsCompletedByTheNextRead) {
  const ByteVector frame = Framed(kReply);
  Read(Joined({Framed(kLogPacket), ByteVector(frame.begin(), frame.begin() + 3)}));
  EXPECT_EQ(Stored(), std::vector<ByteVector>{kLogPacket});
  Read(ByteVector(frame.begin() + 3, frame.end()));
  EXPECT_EQ(Stored(), (std::vector<ByteVector>{kLogPacket, kReply}));
}

// Also inside an escape, which the third packet has two of, and next to a flag.
TEST_F(ReaderLoopTest, AReadMayEndAtAnyByteOfAFrame) {
  const std::vector<ByteVector> packets = {kLogPacket, kReply, {0x79, 0x7E, 0x7D, 0x01}};
  const ByteVector stream =
      Joined({{0x7E}, Framed(packets[0]), Framed(packets[1]), Framed(packets[2])});
  for (std::size_t split = 1; split < stream.size(); ++split) {
    AttachFile();
    cPrinted printed;
    const auto middle = stream.begin() + static_cast<std::ptrdiff_t>(split);
    cReaderLoop fresh(session);
    for (const ByteVector& part :
         {ByteVector(stream.begin(), middle), ByteVector(middle, stream.end())}) {
      std::copy(part.begin(), part.end(), fresh.Room().begin());
      fresh.Received(part.size());
    }
    EXPECT_EQ(Stored(), packets) << "split at " << split;
    EXPECT_EQ(printed.Take(), "") << "split at " << split;
  }
}

TEST_F(ReaderLoopTest, BytesMayComeOneAtATime) {
  for (const std::uint8_t byte : Joined({Framed(kLogPacket), Framed(kReply)})) {
    Read({byte});
  }
  EXPECT_EQ(Stored(), (std::vector<ByteVector>{kLogPacket, kReply}));
}

TEST_F(ReaderLoopTest, ACorruptFrameBetweenGoodOnesYieldsOneBadCrcAndTwoItems) {
  cPrinted printed;
  Read(Joined({Framed(kLogPacket), BadFrame({0x79, 9, 9}), Framed(kReply)}));
  EXPECT_EQ(printed.Take(), "bad CRC\n");
  EXPECT_EQ(Stored(), (std::vector<ByteVector>{kLogPacket, kReply}));
}

TEST_F(ReaderLoopTest, ABadFrameIsPrintedOnceHoweverOftenIsRead) {
  cPrinted printed;
  Read(BadFrame({0x79, 9, 9}));
  Read(Framed(kLogPacket));
  EXPECT_EQ(printed.Take(), "bad CRC\n");
}

TEST_F(ReaderLoopTest, TheWholeBufferIsFreeAtFirst) { EXPECT_EQ(loop.Room().size(), 8192U); }

TEST_F(ReaderLoopTest, KeptBytesTakeUpRoom) {
  Read({0x10, 0x11, 0x12});
  EXPECT_EQ(loop.Room().size(), 8189U);
  Read({0x13});
  EXPECT_EQ(loop.Room().size(), 8188U);
}

TEST_F(ReaderLoopTest, ACompleteFrameTakesUpNoRoom) {
  Read(Framed(kReply));
  EXPECT_EQ(loop.Room().size(), 8192U);
}

TEST_F(ReaderLoopTest, TheClosingFlagOfAFrameWithAnOpeningFlagIsKept) {
  Read(Joined({{0x7E}, Framed(kReply)}));
  EXPECT_EQ(loop.Room().size(), 8191U);
  Read(Framed(kLogPacket));
  EXPECT_EQ(Stored(), (std::vector<ByteVector>{kReply, kLogPacket}));
}

TEST_F(ReaderLoopTest, With8192BytesKeptAndNoFrameThereIsNoRoomForTheNextRead) {
  Read(ByteVector(8192, 0x41));
  EXPECT_TRUE(loop.Room().empty());
  EXPECT_TRUE(Stored().empty());
}

TEST_F(ReaderLoopTest, AFrameThatFillsTheBufferIsStored) {
  // 8189 bytes without stuffing, 2 of CRC and a flag; the CRC's bytes need no stuffing either.
  ByteVector packet(8189, 0x79);
  while (Framed(packet).size() != 8192) {
    ++packet.back();
  }
  Read(Framed(packet));
  EXPECT_EQ(Stored(), std::vector<ByteVector>{packet});
  EXPECT_EQ(loop.Room().size(), 8192U);
}

TEST_F(ReaderLoopTest, TheFirstRequestIsSentBeforeAnythingIsReadAndTheSecondIsNot) {
  Push({0x1D});
  Push({0x00});
  loop.Pump();
  loop.Pump();
  EXPECT_EQ(serial.writes, (std::vector<ByteVector>{{0x1D, 0x1C, 0x3B, 0x7E}}));
}

TEST_F(ReaderLoopTest, EachReplySendsTheNextRequest) {
  for (const ByteVector& request : kStartUpPackets) {
    Push(request);
  }
  loop.Pump();
  std::vector<ByteVector> expected = {Framed(kStartUpPackets[0])};
  for (std::size_t i = 1; i < kStartUpPackets.size(); ++i) {
    EXPECT_EQ(serial.writes, expected);
    Read(Framed(kReply));
    expected.push_back(Framed(kStartUpPackets[i]));
  }
  EXPECT_EQ(serial.writes, expected);
  Read(Framed(kReply));
  EXPECT_EQ(serial.writes, expected);
}

TEST_F(ReaderLoopTest, ALogPacketNeverReleasesTheNextRequest) {
  Push({0x1D});
  Push({0x00});
  loop.Pump();
  Read(Framed(kLogPacket));
  EXPECT_EQ(serial.writes.size(), 1U);
}

TEST_F(ReaderLoopTest, NoStreamingPacketReleasesTheNextRequest) {
  Push({0x1D});
  Push({0x00});
  loop.Pump();
  for (const int code : {0x10, 0x1F, 0x60, 0x74, 0x79, 0x92}) {
    Read(Framed({static_cast<std::uint8_t>(code), 1, 2, 3}));
  }
  EXPECT_EQ(serial.writes.size(), 1U);
}

TEST_F(ReaderLoopTest, AThreeByteEventReplyReleasesTheNextRequest) {
  Push({0x1D});
  Push({0x00});
  loop.Pump();
  Read(Framed(kEventReply));
  EXPECT_EQ(serial.writes.size(), 2U);
}

TEST_F(ReaderLoopTest, AnEventReplyGivesACreditAlsoWhenNoneWasAskedFor) {
  for (const ByteVector& request : kStartUpPackets) {
    Push(request);
  }
  Read(Joined({Framed(kEventReply), Framed(kEventReply)}));
  EXPECT_EQ(serial.writes.size(), 3U);  // the first credit and one for each reply
}

TEST_F(ReaderLoopTest, EachReplyInAReadGivesACredit) {
  for (const ByteVector& request : kStartUpPackets) {
    Push(request);
  }
  loop.Pump();
  Read(Joined({Framed(kReply), Framed(kLogPacket), Framed(kReply), Framed(kReply)}));
  EXPECT_EQ(serial.writes.size(), 4U);
}

TEST_F(ReaderLoopTest, RequestsAreSentAfterTheRepliesOfTheReadAreStored) {
  Push({0x1D});
  Push({0x00});
  loop.Pump();
  Read(Joined({Framed(kReply), Framed(kLogPacket)}));
  EXPECT_EQ(Stored(), (std::vector<ByteVector>{{0x1D}, kReply, kLogPacket, {0x00}}));
}

TEST_F(ReaderLoopTest, AnEmptyQueueCostsNoCredit) {
  loop.Pump();
  Push({0x1D});
  loop.Pump();
  EXPECT_EQ(serial.writes.size(), 1U);
}

TEST_F(ReaderLoopTest, AMissingRequestCostsACreditAndItsNumber) {
  Push({0x1D});
  loop.Pump();
  Read(Framed(kReply));  // number 1 is not there: it is passed over for good
  Push({0x00});
  Push({0x7C});
  loop.Pump();
  EXPECT_EQ(serial.writes.size(), 1U);  // no credit left
  Read(Framed(kReply));
  EXPECT_EQ(serial.writes, (std::vector<ByteVector>{Framed({0x1D}), Framed({0x7C})}));
}

TEST_F(ReaderLoopTest, AMissingRequestEndsThePumpWithCreditLeft) {
  Push({0x1D});
  loop.Pump();
  Read(Joined({Framed(kReply), Framed(kReply)}));  // one of the two credits is spent on number 1
  Push({0x00});
  Push({0x7C});
  loop.Pump();
  EXPECT_EQ(serial.writes, (std::vector<ByteVector>{Framed({0x1D}), Framed({0x7C})}));
}

TEST_F(ReaderLoopTest, ARequestThatThereWasNoMemoryToLookUpIsSentByTheNextPump) {
  Push({0x1D});
  Push({0x00});
  for (const eHeap heap : {eHeap::Blocks, eHeap::New}) {
    cAllocationFailure failure(heap, 1);
    loop.Pump();
    EXPECT_TRUE(failure.Disarm());
    EXPECT_TRUE(serial.writes.empty());
  }
  Read(Framed(kLogPacket));
  EXPECT_EQ(serial.writes, std::vector<ByteVector>{Framed({0x1D})});
  Read(Framed(kReply));
  EXPECT_EQ(serial.writes, (std::vector<ByteVector>{Framed({0x1D}), Framed({0x00})}));
}

TEST_F(ReaderLoopTest, WithoutMagicNothingIsSentAndNoCreditSpent) {
  Push({0x1D});
  session.requestQueue.magic = 0;
  loop.Pump();
  EXPECT_TRUE(serial.writes.empty());
  session.requestQueue.magic = sRequestQueue::kMagic;
  loop.Pump();
  EXPECT_EQ(serial.writes.size(), 1U);
}

TEST_F(ReaderLoopTest, AFailedWriteIsNotRepeated) {
  Push({0x1D});
  Push({0x00});
  serial.writeResult = false;
  loop.Pump();
  loop.Pump();
  EXPECT_EQ(serial.writes.size(), 1U);
  Read(Framed(kReply));
  EXPECT_EQ(serial.writes.size(), 2U);
}

TEST_F(ReaderLoopTest, APacketThatCannotBeStoredIsSilentAndCountsAsAReply) {
  Push({0x1D});
  Push({0x00});
  loop.Pump();
  session.Close();
  cPrinted printed;
  Read(Framed(kReply));
  EXPECT_EQ(printed.Take(), "");
  EXPECT_EQ(serial.writes.size(), 2U);
}

TEST_F(ReaderLoopTest, AnEmptyPacketIsNoReply) {
  Push({0x1D});
  Push({0x00});
  loop.Pump();
  cPrinted printed;
  Read({0x00, 0x00, 0x7E});
  EXPECT_EQ(printed.Take(), "");
  EXPECT_EQ(serial.writes.size(), 1U);
  EXPECT_EQ(loop.Room().size(), 8192U);
}

TEST_F(ReaderLoopTest, TheCountersOfTheOtherTransportAreLeftAlone) {
  Push({0x1D});
  loop.Pump();
  Read(Framed(kReply));
  EXPECT_EQ(session.nextRequest, 0U);
  EXPECT_EQ(session.outstanding, 0U);
}

TEST_F(ReaderLoopTest, BytesThatThereWasNoMemoryToLookAtAreKept) {
  const ByteVector frame = Framed(kReply);
  std::copy(frame.begin(), frame.end(), loop.Room().begin());
  {
    cAllocationFailure failure(eHeap::Blocks, 1);
    loop.Received(frame.size());
    EXPECT_TRUE(failure.Disarm());
  }
  EXPECT_TRUE(Stored().empty());
  EXPECT_EQ(loop.Room().size(), 8192U - frame.size());
  Read(Framed(kLogPacket));
  EXPECT_EQ(Stored(), (std::vector<ByteVector>{kReply, kLogPacket}));
}

}  // namespace
}  // namespace corvane
