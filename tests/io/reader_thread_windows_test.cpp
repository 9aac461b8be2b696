#include "io/serial/reader_thread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "capture/connection.h"
#include "capture/reader_loop.h"
#include "capture/session.h"
#include "io/device_selection.h"
#include "io/fake_system_windows.h"
#include "io/serial/com_io.h"
#include "support/at_allocation.h"
#include "support/failing_allocation.h"
#include "support/wait_until.h"

namespace corvane {
namespace {

using test::cFakeSystem;
using test::sThreadAsked;
using test::UsbPort;
using test::WaitUntil;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// A session whose port COM7 is open. The capture has not started, so that the connection itself
// starts no reader and queues no request.
class ReaderThreadTest : public ::testing::Test {
 protected:
  void SetUp() override {
    system.interfaces = {UsbPort("COM7")};
    ASSERT_TRUE(SetDevice(session, "COM7"));
    system.WaitForWatcher();
    ::testing::internal::CaptureStdout();
    system.Look();
    ::testing::internal::GetCapturedStdout();
    ASSERT_TRUE(Port().IsOpen());
  }
  void TearDown() override { ASSERT_TRUE(SetDevice(session, nullptr)); }

  cComIO& Port() { return static_cast<cComIO&>(*session.transport); }

  // Starts a reader, which SetDevice waits for at the end.
  [[nodiscard]] bool Start() {
    session.readers.push_back(StartReaderThread(session));
    const bool started = session.readers.back() != nullptr;
    if (!started) {
      session.readers.pop_back();
    }
    return started;
  }

  HANDLE Reader() { return system.ThreadOf(ReaderThread).made; }

  void WaitForReader() { WaitForEndOf(Reader()); }

  static bool HasEnded(HANDLE thread) { return WaitForSingleObject(thread, 0) == WAIT_OBJECT_0; }
  static void WaitForEndOf(HANDLE thread) {
    ASSERT_TRUE(WaitUntil("the reader has ended", [thread] { return HasEnded(thread); }));
  }

  void Push(const std::vector<std::uint8_t>& request) {
    ASSERT_TRUE(
        PushRequest(session.requestQueue, cBufferReference(MakeBuffer(request, kOriginLibrary))));
  }

  // Loses the port, and finds it again.
  void Reopen() {
    Port().ClosePort();
    system.Look();
    ASSERT_TRUE(Port().IsOpen());
  }

  cFakeSystem system;
  cDeviceTraffic traffic;
  cCaptureSession session{traffic};
};

TEST_F(ReaderThreadTest, TheSessionAndTheTransportKnowIt) {
  SetupSession(session);
  ASSERT_NE(session.readerThread, nullptr);
  EXPECT_EQ(session.readers.back().get(), session.readerThread);
  EXPECT_FALSE(session.readerThread->HasEnded());
  system.WaitForRead();
  Port().ClosePort();
  EXPECT_EQ(system.cancelledThread, Reader());
  WaitForReader();
  EXPECT_TRUE(session.readerThread->HasEnded());
}

TEST_F(ReaderThreadTest, ItIsAnOrdinaryThread) {
  ASSERT_TRUE(Start());
  const sThreadAsked reader = system.ThreadOf(ReaderThread);
  ASSERT_NE(reader.made, nullptr);
  EXPECT_FALSE(reader.hasSecurity);
  EXPECT_EQ(reader.stackSize, 0u);
  EXPECT_EQ(reader.flags, 0u);
  const auto& task = *static_cast<const sReaderTask*>(reader.argument);
  EXPECT_EQ(&task.session, &session);
  EXPECT_EQ(task.connection, Port().Connection());
  Port().ClosePort();
  WaitForReader();
}

TEST_F(ReaderThreadTest, WithoutAThreadNeitherSessionNorTransportKnowsOne) {
  Port().SetReaderThread(GetCurrentThread());
  system.calls.clear();
  system.failingThread = 0;
  ::testing::internal::CaptureStdout();
  SetupSession(session);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Failed to create io thread\n");
  EXPECT_EQ(session.readerThread, nullptr);
  EXPECT_THAT(session.readers, IsEmpty());
  std::thread reading([connection = Port().Connection()] {
    std::uint8_t room[1];
    DWORD received = 0;
    EXPECT_FALSE(connection->Read(room, received));
  });
  system.WaitForRead();
  Port().ClosePort();
  reading.join();
  EXPECT_THAT(system.calls, ElementsAre("close")) << "and no read is cancelled";
  EXPECT_EQ(system.cancelledThread, nullptr);
}

TEST_F(ReaderThreadTest, WithoutMemoryThereIsNoThread) {
  bool failed = true;
  for (std::uint32_t nth = 1; failed; ++nth) {
    const std::size_t threads = system.OpenThreads(ReaderThread);
    cAllocationFailure failure(eHeap::New, nth);
    const std::unique_ptr<cReaderThread> reader = StartReaderThread(session);
    failed = failure.Disarm();
    EXPECT_EQ(reader == nullptr, system.OpenThreads(ReaderThread) == threads);
    if (nth == 1) {
      EXPECT_TRUE(failed);
      EXPECT_EQ(reader, nullptr);
    }
    if (reader != nullptr) {
      Reopen();
      WaitForReader();
    }
  }
}

TEST_F(ReaderThreadTest, TenReconnectionsKeepTheHandleOfOneReader) {
  SetupSession(session);
  for (int reconnection = 0; reconnection < 10; ++reconnection) {
    system.WaitForRead();
    Reopen();
    WaitForReader();
    SetupSession(session);
    EXPECT_EQ(system.OpenThreads(ReaderThread), 1u);
  }
  EXPECT_EQ(session.readers.size(), 1u);
}

// As under Wine, where nothing but the line itself ends a read.
TEST_F(ReaderThreadTest, AnEarlierReaderReadsOnceMoreAndLeavesThePresentOneAlone) {
  system.cancelsThatMiss = 1'000'000;
  system.closingEndsReads = false;
  ASSERT_TRUE(Start());
  const HANDLE earlier = Reader();
  system.WaitForRead();
  Reopen();
  ::testing::internal::CaptureStdout();
  system.Receive({0x55});
  WaitForEndOf(earlier);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "") << "no disconnection is reported";
  EXPECT_TRUE(Port().IsOpen());
  EXPECT_THAT(system.readLengthsAsked, ElementsAre(8192u));
}

TEST_F(ReaderThreadTest, AnEarlierReaderWhoseReadFailsLeavesThePresentOneAlone) {
  system.cancelsThatMiss = 1'000'000;
  system.closingEndsReads = false;
  ASSERT_TRUE(Start());
  const HANDLE earlier = Reader();
  system.WaitForRead();
  Reopen();
  system.FailReads();
  WaitForEndOf(earlier);
  EXPECT_TRUE(Port().IsOpen());
}

// A reply, in its frame.
const std::vector<std::uint8_t> kReplyFrame = {0x00, 0x78, 0xF0, 0x7E};

TEST_F(ReaderThreadTest, AReaderOfAnEarlierConnectionSendsNothingMore) {
  // Three replies in one read let three more requests go, and the port goes and comes back while
  // the first of these is written.
  std::vector<std::uint8_t> replies;
  for (int reply = 0; reply < 3; ++reply) {
    replies.insert(replies.end(), kReplyFrame.begin(), kReplyFrame.end());
  }
  system.Receive(replies);
  for (std::uint8_t number = 0; number < 6; ++number) {
    Push({0x1D, number});
  }
  // The write takes its time.
  system.cancelsThatMiss = 1'000'000;
  std::atomic<int> writes = 0;
  std::atomic<bool> mayGoOn = false;
  system.duringWrite = [&] {
    if (++writes == 2) {
      EXPECT_TRUE(WaitUntil("the port is back", [&] { return mayGoOn.load(); }));
    }
  };
  ASSERT_TRUE(Start());
  ASSERT_TRUE(WaitUntil("the second request is written", [&] { return writes == 2; }));
  Reopen();
  for (std::uint8_t number = 0; number < 6; ++number) {
    Push({0x7C, number});
  }
  mayGoOn = true;
  WaitForReader();
  EXPECT_TRUE(Port().IsOpen());
  EXPECT_THAT(system.readLengthsAsked, ElementsAre(8192u));
  ASSERT_EQ(system.written.size(), 2u);
  EXPECT_THAT(system.written[0], ::testing::Contains(0x1D));
  EXPECT_THAT(system.written[1], ::testing::Contains(0x1D));
}

// The connection ends at each moment between two requests in turn: during the look-up of a request,
// and while its frame is made.
TEST_F(ReaderThreadTest, ARequestOfAnEarlierConnectionIsNotWrittenToALaterOne) {
  std::uint32_t moments = 0;
  for (bool hasCome = true; hasCome;) {
    Push({0x1D});
    // Its bytes are being copied when it leaves the queue.
    const cBufferReference kept = session.requestQueue.entries.front();
    const std::size_t before = system.written.size();
    const test::cAtAllocation reopening(moments + 1, [this] { Reopen(); });
    ASSERT_TRUE(Start());
    ASSERT_TRUE(WaitUntil("the reader reads or has ended",
                          [&] { return HasEnded(Reader()) || system.written.size() != before; }));
    hasCome = reopening.HasCome();
    if (hasCome) {
      ++moments;
      WaitForReader();
      EXPECT_EQ(system.written.size(), before) << "moment " << moments;
      EXPECT_TRUE(Port().IsOpen()) << "moment " << moments;
    } else {
      EXPECT_EQ(system.written.size(), before + 1);
    }
    ClearRequests(session);
  }
  EXPECT_GE(moments, 2u);
}

TEST_F(ReaderThreadTest, AReaderThatIsBlockedInAWriteIsEndedByTheClosing) {
  system.writesStall = true;
  Push({0x1D});
  ASSERT_TRUE(Start());
  ASSERT_TRUE(WaitUntil("the write waits", [this] { return system.PendingWrites() == 1; }));
  system.calls.clear();
  std::thread closing([this] { Port().ClosePort(); });
  EXPECT_TRUE(WaitUntil("the reader has ended", [this] { return HasEnded(Reader()); }));
  system.EndStalledWrites();
  closing.join();
  ASSERT_THAT(system.calls, ::testing::SizeIs(::testing::Ge(2u)));
  EXPECT_EQ(system.calls.front(), "cancel");
  EXPECT_EQ(system.calls.back(), "close");
  EXPECT_EQ(system.cancelledThread, Reader());
}

TEST_F(ReaderThreadTest, TheEndOfTheDeviceGoesOnCancellingTheWriteItWaitsFor) {
  system.writesStall = true;
  system.cancelsThatMiss = 105;
  SetupSession(session);
  ASSERT_TRUE(WaitUntil("the write waits", [this] { return system.PendingWrites() == 1; }));
  EXPECT_TRUE(SetDevice(session, nullptr));
  EXPECT_GT(system.cancels, 105);
  EXPECT_EQ(system.OpenThreads(ReaderThread), 0u);
}

TEST_F(ReaderThreadTest, AReaderOfAnEarlierConnectionSendsNoRequestOfThePresentOne) {
  system.cancelsThatMiss = 1'000'000;
  system.closingEndsReads = false;
  ASSERT_TRUE(Start());
  const HANDLE earlier = Reader();
  system.WaitForRead();
  Reopen();
  Push({0x1D});
  system.Receive({0x1D, 0x1C, 0x3B, 0x7E});
  WaitForEndOf(earlier);
  EXPECT_THAT(system.written, IsEmpty());
  EXPECT_EQ(session.requestQueue.Size(), 1u);
}

TEST_F(ReaderThreadTest, TheEndOfTheDeviceGoesOnCancellingTheReadItWaitsFor) {
  system.closingEndsReads = false;
  system.cancelsThatMiss = 105;
  SetupSession(session);
  system.WaitForRead();
  EXPECT_TRUE(SetDevice(session, nullptr));
  EXPECT_GT(system.cancels, 105);
  EXPECT_EQ(system.OpenThreads(ReaderThread), 0u);
  EXPECT_THAT(session.readers, IsEmpty());
}

// Two readers, of an earlier connection and of the present one, whose reads nothing but the test
// ends.
class TwoReadersTest : public ReaderThreadTest {
 protected:
  struct sReading {
    HANDLE thread;
    HANDLE port;
  };

  void SetUp() override {
    ReaderThreadTest::SetUp();
    system.closingEndsReads = false;
    system.cancelsThatMiss = 1'000'000;
    earlier = StartReading(1);
    Reopen();
    present = StartReading(2);
  }

  // Ends the device, and the two readers one after the other: it is waited for both.
  void EndTheDeviceWhile(const sReading& first, const sReading& second) {
    std::atomic<bool> hasReturned = false;
    std::thread closing([&] {
      EXPECT_TRUE(SetDevice(session, nullptr));
      hasReturned = true;
    });
    EXPECT_TRUE(WaitUntil("the port is closed", [this] { return system.OpenPortCount() == 0; }));
    system.FailReadsOf(first.port);
    EXPECT_TRUE(
        WaitUntil("the first reader has ended", [&first] { return HasEnded(first.thread); }));
    // Who waits for a reader cancels its read every few milliseconds.
    const int before = system.Cancels();
    EXPECT_TRUE(WaitUntil("the second reader is waited for",
                          [&] { return hasReturned || system.Cancels() >= before + 3; }));
    EXPECT_FALSE(hasReturned);
    system.FailReadsOf(second.port);
    closing.join();
    EXPECT_EQ(system.OpenThreads(ReaderThread), 0u);
    EXPECT_EQ(system.pendingReads, 0);
  }

  sReading earlier{};
  sReading present{};

 private:
  sReading StartReading(int reads) {
    SetupSession(session);
    system.WaitForRead(reads);
    return {Reader(), system.OpenPort()};
  }
};

TEST_F(TwoReadersTest, TheEndOfTheDeviceWaitsForTheEarlierReader) {
  EndTheDeviceWhile(present, earlier);
}

TEST_F(TwoReadersTest, TheEndOfTheDeviceWaitsForThePresentReader) {
  EndTheDeviceWhile(earlier, present);
}

TEST_F(ReaderThreadTest, AFailedReadClosesThePortReportsItAndEndsTheThread) {
  ASSERT_TRUE(Start());
  ::testing::internal::CaptureStdout();
  system.FailReads();
  WaitForReader();
  EXPECT_THAT(::testing::internal::GetCapturedStdout(), HasSubstr("Port COM7 disconnected\n"));
  EXPECT_FALSE(Port().IsOpen());
}

TEST_F(ReaderThreadTest, APortThatIsClosedMeanwhileEndsTheThreadWithoutASecondReport) {
  ASSERT_TRUE(Start());
  Port().ClosePort();
  ::testing::internal::CaptureStdout();
  WaitForReader();
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

TEST_F(ReaderThreadTest, AnEmptyReadEndsTheThreadAndLeavesThePortOpen) {
  system.Receive({});
  ASSERT_TRUE(Start());
  WaitForReader();
  EXPECT_TRUE(Port().IsOpen());
}

TEST_F(ReaderThreadTest, ReadsAskForWhatIsFreeBehindTheKeptBytes) {
  system.Receive(std::vector<std::uint8_t>(10, 0x55));
  system.Receive(std::vector<std::uint8_t>(20, 0x55));
  system.Receive({});
  ASSERT_TRUE(Start());
  WaitForReader();
  EXPECT_THAT(system.readLengthsAsked, ElementsAre(8192u, 8182u, 8162u));
}

TEST_F(ReaderThreadTest, With8192BytesAndNoFrameTheNextReadAsksForNothingAndEnds) {
  system.Receive(std::vector<std::uint8_t>(8192, 0x55));
  ASSERT_TRUE(Start());
  WaitForReader();
  EXPECT_THAT(system.readLengthsAsked, ElementsAre(8192u, 0u));
  EXPECT_TRUE(Port().IsOpen());
}

// A transport that delivers its data on its own.
class cCountingTransport final : public cIO {
 public:
  cCountingTransport() : cIO(kMobileBroadband) {}
  bool Write(const void*, std::uint32_t) override {
    ++writes;
    return true;
  }
  int writes = 0;
};

TEST(ReaderThreadWithoutASerialPort, SendsTheFirstRequestReadsNothingAndEnds) {
  cFakeSystem system;
  cDeviceTraffic traffic;
  cCaptureSession session{traffic};
  cCountingTransport transport;
  session.transport = TransportOwner(&transport, {[](cIO*) {}});
  for (const char* const request : {"\x1D", "\x00"}) {
    ASSERT_TRUE(PushRequest(session.requestQueue, cBufferReference(std::make_unique<sSharedBuffer>(
                                                      request, 1, kOriginLibrary))));
  }
  sReaderTask task{session, nullptr};
  EXPECT_EQ(ReaderThread(&task), 0u);
  EXPECT_EQ(transport.writes, 1);
  EXPECT_THAT(system.readLengthsAsked, IsEmpty());
  ClearRequests(session);
  session.transport = nullptr;
}

}  // namespace
}  // namespace corvane
