#include "io/serial/com_io.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <thread>

#include "io/com_io_fixture_windows.h"
#include "io/fake_system_windows.h"
#include "support/failing_allocation.h"

namespace corvane {
namespace {

// What ends a connection, and what a write on it does.
using ComIOClosing = test::cComIOTest;
using test::Connected;
using test::Disconnected;
using test::OthersCanTake;
using test::sReports;
using test::UsbPort;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

void ReadOnce(cComConnection& connection) {
  std::uint8_t room[16];
  DWORD received = 0;
  EXPECT_FALSE(connection.Read(room, received));
}

TEST_F(ComIOClosing, AWriteOfAllBytesSucceeds) {
  OpenAndConnect();
  const std::uint8_t bytes[] = {0x1D, 0x1C, 0x3B, 0x7E};
  EXPECT_TRUE(transport.Write(bytes, sizeof bytes));
  EXPECT_THAT(system.written, ElementsAre(ElementsAreArray(bytes)));
  EXPECT_THAT(system.calls, ElementsAre("write"));
  EXPECT_THAT(disconnected.told, IsEmpty());
}

TEST_F(ComIOClosing, AWriteOfNothingSucceeds) {
  OpenAndConnect();
  EXPECT_TRUE(transport.Write(nullptr, 0));
  EXPECT_TRUE(transport.IsOpen());
}

TEST_F(ComIOClosing, AFailedWriteClosesThePortAndReportsADisconnection) {
  OpenAndConnect();
  system.writeFails = true;
  EXPECT_FALSE(transport.Write("x", 1));
  EXPECT_FALSE(transport.IsOpen());
  EXPECT_THAT(system.calls, ElementsAre("write", "close"));
  EXPECT_THAT(disconnected.told, ElementsAre("disconnected"));
  EXPECT_TRUE(disconnected.lockWasHeld);
}

TEST_F(ComIOClosing, AShortWriteClosesThePortAndReportsADisconnection) {
  OpenAndConnect();
  system.shortWrite = 2;
  EXPECT_FALSE(transport.Write("xyz", 3));
  EXPECT_FALSE(transport.IsOpen());
  EXPECT_THAT(disconnected.told, ElementsAre("disconnected"));
}

TEST_F(ComIOClosing, AfterAFailedWriteThePortIsReopenedAtTheNextLook) {
  OpenAndConnect();
  system.writeFails = true;
  EXPECT_FALSE(transport.Write("x", 1));
  system.writeFails = false;
  system.Look();
  EXPECT_TRUE(transport.IsOpen());
  EXPECT_THAT(connected.told, ElementsAre("connected", "connected"));
}

TEST_F(ComIOClosing, AWriteOnAClosedPortFailsWithoutAReport) {
  EXPECT_FALSE(transport.Write("x", 1));
  ASSERT_TRUE(Open());
  EXPECT_FALSE(transport.Write("x", 1));
  EXPECT_THAT(disconnected.told, IsEmpty());
}

TEST_F(ComIOClosing, ClosePortEndsTheReadThenClosesTheHandleThenReports) {
  OpenAndConnect();
  const HANDLE reader = GetCurrentThread();
  transport.SetReaderThread(reader);
  std::thread reading([connection = transport.Connection()] { ReadOnce(*connection); });
  system.WaitForRead();
  transport.ClosePort();
  reading.join();
  ASSERT_THAT(system.calls, ::testing::SizeIs(::testing::Ge(2U)));
  EXPECT_EQ(system.calls.front(), "cancel");
  EXPECT_EQ(system.calls.back(), "close");
  EXPECT_EQ(std::count(system.calls.begin(), system.calls.end(), "close"), 1);
  EXPECT_EQ(system.cancelledThread, reader);
  EXPECT_THAT(disconnected.told, ElementsAre("disconnected"));
  EXPECT_TRUE(disconnected.lockWasHeld);

  system.calls.clear();
  system.Look();
  std::thread readingAgain([connection = transport.Connection()] { ReadOnce(*connection); });
  system.WaitForRead();
  transport.ClosePort();
  readingAgain.join();
  EXPECT_EQ(system.calls.back(), "close");
  EXPECT_EQ(std::count(system.calls.begin(), system.calls.end(), "cancel"), 0)
      << "the reader of the earlier connection is forgotten";
}

TEST_F(ComIOClosing, ClosePortDoesNotCancelAReaderThatIsNotReading) {
  OpenAndConnect();
  transport.SetReaderThread(GetCurrentThread());
  const std::shared_ptr<cComConnection> connection = transport.Connection();
  transport.ClosePort();
  EXPECT_THAT(system.calls, ElementsAre("close"));
  ReadOnce(*connection);
  EXPECT_THAT(system.readLengthsAsked, IsEmpty()) << "and no read begins any more";
}

TEST_F(ComIOClosing, AReadThatCannotBeCancelledKeepsClosePortFor100Ms) {
  OpenAndConnect();
  transport.SetReaderThread(GetCurrentThread());
  system.cancelsThatMiss = 1'000'000;
  std::thread reading([connection = transport.Connection()] { ReadOnce(*connection); });
  system.WaitForRead();
  const ULONGLONG before = system.ticks;
  transport.ClosePort();
  EXPECT_EQ(system.ticks - before, 100u);
  EXPECT_FALSE(transport.IsOpen());
  EXPECT_EQ(system.openPorts, 0);
  EXPECT_THAT(disconnected.told, ElementsAre("disconnected"));
  reading.join();
}

TEST_F(ComIOClosing, TheEndOfAnEarlierConnectionLeavesThePresentOneOpen) {
  OpenAndConnect();
  const std::shared_ptr<cComConnection> earlier = transport.Connection();
  transport.ClosePort(*earlier);
  EXPECT_FALSE(transport.IsOpen());
  EXPECT_THAT(disconnected.told, ElementsAre("disconnected"));
  system.Look();
  ASSERT_TRUE(transport.IsOpen());
  transport.ClosePort(*earlier);
  EXPECT_TRUE(transport.IsOpen());
  EXPECT_THAT(disconnected.told, ElementsAre("disconnected"));
}

TEST_F(ComIOClosing, AWriteThatFailsOnAnEarlierConnectionLeavesThePresentOneOpen) {
  OpenAndConnect();
  system.writeFails = true;
  system.duringWrite = [this] {
    transport.ClosePort();
    system.Look();
  };
  EXPECT_FALSE(transport.Write("x", 1));
  EXPECT_TRUE(transport.IsOpen());
  EXPECT_THAT(disconnected.told, ElementsAre("disconnected"));
  EXPECT_THAT(connected.told, ElementsAre("connected", "connected"));
}

TEST_F(ComIOClosing, WithoutMemoryForAConnectionThePortIsTriedAgainInSilence) {
  system.interfaces = {UsbPort("COM7")};
  ASSERT_TRUE(Open());
  system.WaitForWatcher();
  for (const std::uint32_t nth : {1u, 2u}) {  // the connection, and its lock
    std::optional<cAllocationFailure> failure;
    system.behindSetTimeouts = [&failure, nth] { failure.emplace(eHeap::New, nth); };
    ::testing::internal::CaptureStdout();
    system.Look();
    EXPECT_TRUE(failure->Disarm());
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_FALSE(transport.IsOpen());
    EXPECT_EQ(system.openPorts, 0);
  }
  system.behindSetTimeouts = nullptr;
  EXPECT_THAT(connected.told, IsEmpty());
  system.Look();
  EXPECT_THAT(connected.told, ElementsAre("connected"));
}

TEST_F(ComIOClosing, ClosePortOnAClosedPortDoesNothing) {
  transport.SetReaderThread(GetCurrentThread());
  transport.ClosePort();
  EXPECT_THAT(system.calls, IsEmpty());
  EXPECT_THAT(disconnected.told, IsEmpty());
}

TEST_F(ComIOClosing, CloseWhileThePortIsOpenReportsOneDisconnection) {
  OpenAndConnect();
  transport.Close();
  EXPECT_THAT(disconnected.told, ElementsAre("disconnected"));
  EXPECT_FALSE(transport.IsOpen());
  EXPECT_EQ(system.openPorts, 0);
  EXPECT_EQ(system.OpenEvents(), 0);
  EXPECT_TRUE(disconnected.lockWasHeld);
  transport.Close();
  EXPECT_THAT(disconnected.told, ElementsAre("disconnected"));
}

TEST_F(ComIOClosing, CloseWhileThePortIsAbsentReportsNothing) {
  ASSERT_TRUE(Open());
  system.WaitForWatcher();
  system.Look();
  transport.Close();
  EXPECT_THAT(disconnected.told, IsEmpty());
}

TEST_F(ComIOClosing, CloseWithoutAWatcherDoesNothing) {
  transport.Close();
  EXPECT_THAT(system.calls, IsEmpty());
}

TEST_F(ComIOClosing, AfterCloseItCanBeOpenedAgain) {
  OpenAndConnect();
  transport.Close();
  ASSERT_TRUE(Open());
  system.WaitForWatcher();
  system.Look();
  EXPECT_THAT(connected.told, ElementsAre("connected", "connected"));
}

TEST_F(ComIOClosing, TheDestructorClosesAnOpenPortAndReportsIt) {
  sReports gone;
  {
    cComIO shortLived;
    connected.transport = &shortLived;
    gone.transport = &shortLived;
    system.interfaces = {UsbPort("COM7")};
    ASSERT_TRUE(shortLived.Open("COM7", Connected, &connected, Disconnected, &gone));
    system.WaitForWatcher();
    system.Look();
    ASSERT_TRUE(shortLived.IsOpen());
  }
  EXPECT_THAT(gone.told, ElementsAre("disconnected"));
  EXPECT_EQ(system.openPorts, 0);
}

}  // namespace
}  // namespace corvane
