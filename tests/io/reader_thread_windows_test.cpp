#include "capture/reader_thread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "capture/reader_loop.h"
#include "capture/session.h"
#include "io/com_io.h"
#include "io/device_selection.h"
#include "io/fake_system_windows.h"

namespace corvane {
namespace {

using test::cFakeSystem;
using test::UsbPort;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

// A session whose port COM7 is open. The capture has not started, so that the connection itself
// starts no reader and queues no request.
class ReaderThread : public ::testing::Test {
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

TEST_F(ReaderThread, ItsHandleIsKeptInTheSessionAndEndsItsReadThroughTheTransport) {
  ASSERT_TRUE(StartReaderThread(session));
  ASSERT_NE(session.readerThread, nullptr);
  Port().ClosePort();
  EXPECT_EQ(system.cancelledThread, session.readerThread);
  WaitForReader();
}

TEST_F(ReaderThread, WithoutAThreadBothHandlesAreNull) {
  system.failingThread = 0;
  EXPECT_FALSE(StartReaderThread(session));
  EXPECT_EQ(session.readerThread, nullptr);
  Port().ClosePort();
  EXPECT_EQ(system.cancelledThread, nullptr);
}

TEST_F(ReaderThread, TheHandleOfAnEarlierConnectionIsOverwrittenNotClosed) {
  ASSERT_TRUE(StartReaderThread(session));
  const cKernelHandle earlier(session.readerThread);
  Port().ClosePort();
  WaitForReader();
  system.Look();
  ASSERT_TRUE(Port().IsOpen());
  ASSERT_TRUE(StartReaderThread(session));
  EXPECT_NE(session.readerThread, earlier.Get());
  DWORD flags = 0;
  EXPECT_TRUE(GetHandleInformation(earlier.Get(), &flags));
}

TEST_F(ReaderThread, AFailedReadClosesThePortReportsTheDisconnectionAndEndsTheThread) {
  ASSERT_TRUE(StartReaderThread(session));
  ::testing::internal::CaptureStdout();
  system.FailReads();
  WaitForReader();
  EXPECT_THAT(::testing::internal::GetCapturedStdout(), HasSubstr("Port COM7 disconnected\n"));
  EXPECT_FALSE(Port().IsOpen());
}

TEST_F(ReaderThread, APortThatIsClosedMeanwhileEndsTheThreadWithoutASecondReport) {
  ASSERT_TRUE(StartReaderThread(session));
  Port().ClosePort();
  ::testing::internal::CaptureStdout();
  WaitForReader();
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

TEST_F(ReaderThread, AnEmptyReadEndsTheThreadAndLeavesThePortOpen) {
  system.Receive({});
  ASSERT_TRUE(StartReaderThread(session));
  WaitForReader();
  EXPECT_TRUE(Port().IsOpen());
}

TEST_F(ReaderThread, ReadsAskForWhatIsFreeBehindTheKeptBytes) {
  system.Receive(std::vector<std::uint8_t>(10, 0x55));
  system.Receive(std::vector<std::uint8_t>(20, 0x55));
  system.Receive({});
  ASSERT_TRUE(StartReaderThread(session));
  WaitForReader();
  EXPECT_THAT(system.readLengthsAsked, ElementsAre(8192u, 8182u, 8162u));
}

TEST_F(ReaderThread, With8192BytesKeptAndNoFrameTheNextReadAsksForNothingAndTheThreadEnds) {
  system.Receive(std::vector<std::uint8_t>(8192, 0x55));
  ASSERT_TRUE(StartReaderThread(session));
  WaitForReader();
  EXPECT_THAT(system.readLengthsAsked, ElementsAre(8192u, 0u));
  EXPECT_TRUE(Port().IsOpen());
}

}  // namespace
}  // namespace corvane
