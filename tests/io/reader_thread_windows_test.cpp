#include "capture/reader_thread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "capture/connection.h"
#include "capture/reader_loop.h"
#include "capture/session.h"
#include "io/device_selection.h"
#include "io/fake_system_windows.h"
#include "io/serial/com_io.h"
#include "io/serial/reader_thread.h"

namespace corvane {
namespace {

using test::cFakeSystem;
using test::sThreadAsked;
using test::UsbPort;
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

  void WaitForReader() { WaitForSingleObject(session.readerThread, INFINITE); }

  cFakeSystem system;
  cCaptureSession session;
};

TEST_F(ReaderThreadTest, ItsHandleIsKeptInTheSessionAndEndsItsReadThroughTheTransport) {
  ASSERT_TRUE(StartReaderThread(session));
  ASSERT_NE(session.readerThread, nullptr);
  Port().ClosePort();
  EXPECT_EQ(system.cancelledThread, session.readerThread);
  WaitForReader();
}

TEST_F(ReaderThreadTest, ItIsAnOrdinaryThreadThatGetsTheSession) {
  ASSERT_TRUE(StartReaderThread(session));
  const sThreadAsked reader = system.ThreadOf(ReaderThread);
  ASSERT_EQ(reader.made, session.readerThread);
  EXPECT_FALSE(reader.hasSecurity);
  EXPECT_EQ(reader.stackSize, 0u);
  EXPECT_EQ(reader.argument, &session);
  EXPECT_EQ(reader.flags, 0u);
  Port().ClosePort();
  WaitForReader();
}

TEST_F(ReaderThreadTest, WithoutAThreadBothHandlesAreNull) {
  session.readerThread = GetCurrentThread();
  Port().SetReaderThread(GetCurrentThread());
  system.calls.clear();
  system.failingThread = 0;
  EXPECT_FALSE(StartReaderThread(session));
  EXPECT_EQ(session.readerThread, nullptr);
  Port().ClosePort();
  EXPECT_THAT(system.calls, ElementsAre("close")) << "and no read is cancelled";
  EXPECT_EQ(system.cancelledThread, nullptr);
}

TEST_F(ReaderThreadTest, TheHandleOfAnEarlierConnectionIsOverwrittenNotClosed) {
  ASSERT_TRUE(StartReaderThread(session));
  const KernelHandle earlier(session.readerThread);
  Port().ClosePort();
  WaitForReader();
  system.Look();
  ASSERT_TRUE(Port().IsOpen());
  ASSERT_TRUE(StartReaderThread(session));
  EXPECT_NE(session.readerThread, earlier.Get());
  DWORD flags = 0;
  EXPECT_TRUE(GetHandleInformation(earlier.Get(), &flags));
}

TEST_F(ReaderThreadTest, AFailedReadClosesThePortReportsTheDisconnectionAndEndsTheThread) {
  ASSERT_TRUE(StartReaderThread(session));
  ::testing::internal::CaptureStdout();
  system.FailReads();
  WaitForReader();
  EXPECT_THAT(::testing::internal::GetCapturedStdout(), HasSubstr("Port COM7 disconnected\n"));
  EXPECT_FALSE(Port().IsOpen());
}

TEST_F(ReaderThreadTest, APortThatIsClosedMeanwhileEndsTheThreadWithoutASecondReport) {
  ASSERT_TRUE(StartReaderThread(session));
  Port().ClosePort();
  ::testing::internal::CaptureStdout();
  WaitForReader();
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

TEST_F(ReaderThreadTest, AnEmptyReadEndsTheThreadAndLeavesThePortOpen) {
  system.Receive({});
  ASSERT_TRUE(StartReaderThread(session));
  WaitForReader();
  EXPECT_TRUE(Port().IsOpen());
}

TEST_F(ReaderThreadTest, ReadsAskForWhatIsFreeBehindTheKeptBytes) {
  system.Receive(std::vector<std::uint8_t>(10, 0x55));
  system.Receive(std::vector<std::uint8_t>(20, 0x55));
  system.Receive({});
  ASSERT_TRUE(StartReaderThread(session));
  WaitForReader();
  EXPECT_THAT(system.readLengthsAsked, ElementsAre(8192u, 8182u, 8162u));
}

TEST_F(ReaderThreadTest, With8192BytesKeptAndNoFrameTheNextReadAsksForNothingAndTheThreadEnds) {
  system.Receive(std::vector<std::uint8_t>(8192, 0x55));
  ASSERT_TRUE(StartReaderThread(session));
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
  cCaptureSession session;
  cCountingTransport transport;
  session.transport = &transport;
  for (const char* const request : {"\x1D", "\x00"}) {
    ASSERT_TRUE(PushRequest(session.requestQueue, cBufferReference(std::make_unique<sSharedBuffer>(
                                                      request, 1, kOriginLibrary))));
  }
  EXPECT_EQ(ReaderThread(&session), 0u);
  EXPECT_EQ(transport.writes, 1);
  EXPECT_THAT(system.readLengthsAsked, IsEmpty());
  ClearRequests(session);
  session.transport = nullptr;
}

}  // namespace
}  // namespace corvane
