#include "io/serial/com_io.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "io/com_io_fixture_windows.h"
#include "io/fake_system_windows.h"

namespace corvane {
namespace {

using ComIO = test::cComIOTest;
using test::cFakeSystem;
using test::kManualResetEvent;
using test::OthersCanTake;
using test::sFileAsked;
using test::sThreadAsked;
using test::UsbPort;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

TEST_F(ComIO, AFreshTransportIsAClosedSerialPort) {
  EXPECT_EQ(transport.kind, 0u);
  EXPECT_FALSE(transport.IsOpen());
  EXPECT_EQ(transport.Connection(), nullptr);
}

TEST_F(ComIO, OpenTwiceWithoutCloseSaysSoAndReturnsFalse) {
  ASSERT_TRUE(Open());
  ::testing::internal::CaptureStdout();
  EXPECT_FALSE(Open("COM8"));
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "WatchPortThread already started\n");

  system.interfaces = {UsbPort("COM7")};
  system.WaitForWatcher();
  system.Look();
  EXPECT_THAT(connected.told, ElementsAre("connected")) << "the first Open still holds";
}

TEST_F(ComIO, OpenWithoutAStopEventSaysSoAndLeavesNothingRunning) {
  system.failingEvent = 0;
  ::testing::internal::CaptureStdout();
  EXPECT_FALSE(Open());
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "Failed to create watch thread stopping event\n");
  EXPECT_THAT(system.watcherWaits, IsEmpty());
  EXPECT_TRUE(Open()) << "nothing stands in the way of another try";
}

TEST_F(ComIO, OpenWithoutAWatcherThreadSaysSoAndLeavesNothingRunning) {
  system.failingThread = 0;
  ::testing::internal::CaptureStdout();
  EXPECT_FALSE(Open());
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Failed to create watch thread\n");
  EXPECT_EQ(system.OpenEvents(), 0);
  EXPECT_TRUE(Open()) << "nothing stands in the way of another try";
}

TEST_F(ComIO, TheStopEventIsOfManualResetAndTheWatcherGetsTheTransport) {
  ASSERT_TRUE(Open());
  EXPECT_THAT(system.eventsAsked, ElementsAre(kManualResetEvent));
  const sThreadAsked watcher = system.ThreadOf(WatchPortThread);
  ASSERT_NE(watcher.made, nullptr);
  EXPECT_FALSE(watcher.hasSecurity);
  EXPECT_EQ(watcher.stackSize, 0u);
  EXPECT_EQ(watcher.argument, static_cast<cIO*>(&transport));
  EXPECT_EQ(watcher.flags, 0u);
}

TEST_F(ComIO, APortThatIsThereAtOpenIsOpenedAfterOneSecondNotAtOnce) {
  system.interfaces = {UsbPort("COM7")};
  ASSERT_TRUE(Open());
  system.WaitForWatcher();
  EXPECT_EQ(system.looks, 0);
  EXPECT_FALSE(transport.IsOpen());
  EXPECT_THAT(system.watcherWaits, ElementsAre(1000u));

  system.Look();
  EXPECT_EQ(system.looks, 1);
  EXPECT_TRUE(transport.IsOpen());
  EXPECT_THAT(connected.told, ElementsAre("connected"));
  EXPECT_THAT(system.watcherWaits, ElementsAre(1000u, 1000u));
}

TEST_F(ComIO, APortThatStaysIsOpenedAndReportedOnce) {
  OpenAndConnect();
  system.Look();
  system.Look();
  EXPECT_THAT(connected.told, ElementsAre("connected"));
  EXPECT_THAT(disconnected.told, IsEmpty());
  EXPECT_THAT(system.calls, IsEmpty());
}

TEST_F(ComIO, APortThatStaysAwayIsNeverReported) {
  ASSERT_TRUE(Open());
  system.WaitForWatcher();
  system.Look();
  system.Look();
  EXPECT_THAT(connected.told, IsEmpty());
  EXPECT_THAT(disconnected.told, IsEmpty());
  EXPECT_EQ(system.looks, 2);
}

TEST_F(ComIO, AVanishedPortIsClosedAndReportedAtTheFirstLookThatMissesIt) {
  OpenAndConnect();
  system.interfaces.clear();
  EXPECT_TRUE(transport.IsOpen());
  system.Look();
  EXPECT_FALSE(transport.IsOpen());
  EXPECT_THAT(disconnected.told, ElementsAre("disconnected"));
  EXPECT_THAT(system.calls, ElementsAre("close"));
  EXPECT_EQ(system.openPorts, 0);

  system.Look();
  EXPECT_THAT(disconnected.told, ElementsAre("disconnected"));
}

TEST_F(ComIO, APortCanComeAndGoAnyNumberOfTimes) {
  OpenAndConnect();
  for (int round = 0; round < 3; ++round) {
    system.interfaces.clear();
    system.Look();
    system.interfaces = {UsbPort("COM7")};
    system.Look();
  }
  EXPECT_EQ(connected.told.size(), 4u);
  EXPECT_EQ(disconnected.told.size(), 3u);
  EXPECT_EQ(system.openPorts, 1);
}

TEST_F(ComIO, BothHandlersRunWithTheLockHeld) {
  OpenAndConnect();
  system.interfaces.clear();
  system.Look();
  EXPECT_TRUE(connected.lockWasHeld);
  EXPECT_TRUE(disconnected.lockWasHeld);
}

TEST_F(ComIO, ALookAndWhatFollowsItHaveTheLockHeld) {
  system.observed = &transport;
  OpenAndConnect();
  EXPECT_FALSE(system.lockWasFreeDuringALook);
}

TEST_F(ComIO, ThePortIsOpenAlreadyWhenTheConnectionIsReported) {
  OpenAndConnect();
  EXPECT_THAT(connected.portWasOpen, ElementsAre(true));
}

TEST_F(ComIO, ThePortCountsAsClosedBeforeItsHandleIsAndIsReportedAfter) {
  OpenAndConnect();
  system.observed = &transport;
  transport.ClosePort();
  EXPECT_THAT(system.calls, ElementsAre("close"));
  EXPECT_FALSE(system.wasOpenWhenItsHandleWasClosed);
  EXPECT_THAT(disconnected.portWasOpen, ElementsAre(false));
  EXPECT_THAT(disconnected.openPortHandles, ElementsAre(0));
}

TEST_F(ComIO, WriteAndIsOpenDoNotTakeTheLock) {
  OpenAndConnect();
  struct sCalls {
    cComIO& transport;
    bool wasOpen;
    bool written;
  } calls{transport, false, false};
  transport.lock.lock();
  const KernelHandle caller(CreateThread(
      nullptr, 0,
      [](void* context) -> DWORD {
        auto& made = *static_cast<sCalls*>(context);
        made.wasOpen = made.transport.IsOpen();
        made.written = made.transport.Write("x", 1);
        return 0;
      },
      &calls, 0, nullptr));
  // A wait for one object with a deadline would count as the watcher's.
  const HANDLE ended = caller.Get();
  const DWORD outcome = WaitForMultipleObjects(1, &ended, FALSE, 10'000);
  transport.lock.unlock();
  WaitForSingleObject(caller.Get(), INFINITE);
  EXPECT_EQ(outcome, WAIT_OBJECT_0);
  EXPECT_TRUE(calls.wasOpen);
  EXPECT_TRUE(calls.written);
}

TEST_F(ComIO, TransportWithoutHandlersStillFollowsThePort) {
  system.interfaces = {UsbPort("COM7")};
  ASSERT_TRUE(transport.Open("COM7", nullptr, nullptr, nullptr, nullptr));
  system.WaitForWatcher();
  system.Look();
  EXPECT_TRUE(transport.IsOpen());
  system.interfaces.clear();
  system.Look();
  EXPECT_FALSE(transport.IsOpen());
}

TEST_F(ComIO, AClassListThatCannotBeMadeCountsAsAPortThatIsGone) {
  OpenAndConnect();
  system.classListFails = true;
  system.Look();
  EXPECT_FALSE(transport.IsOpen());
  EXPECT_THAT(disconnected.told, ElementsAre("disconnected"));
}

TEST_F(ComIO, ThePortIsOpenedForItselfAloneAndForSynchronousUse) {
  OpenAndConnect();
  system.interfaces.clear();
  system.Look();
  system.calls.clear();
  system.interfaces = {UsbPort("COM7")};
  system.Look();
  EXPECT_THAT(system.calls,
              ElementsAre(R"(open \\.\COM7)", "get state", "set state", "set timeouts"));
  const sFileAsked expected = {.access = GENERIC_READ | GENERIC_WRITE,
                               .shareMode = 0,
                               .hasSecurity = false,
                               .disposition = OPEN_EXISTING,
                               .attributes = FILE_ATTRIBUTE_NORMAL,
                               .model = nullptr};
  EXPECT_EQ(system.fileAsked, expected);
}

TEST_F(ComIO, OfALongNameTheDevicePathHasTheFirst59Characters) {
  const std::string name = "COM" + std::string(60, '7');
  system.interfaces = {UsbPort(name)};
  ASSERT_TRUE(Open(name.c_str()));
  system.WaitForWatcher();
  system.Look();
  ASSERT_FALSE(system.calls.empty());
  EXPECT_EQ(system.calls.front(), R"(open \\.\)" + name.substr(0, 59));
}

TEST_F(ComIO, TheLineGetsEightBitsNoXonXoffAndKeepsTheRest) {
  DCB& before = system.initialState;
  before.BaudRate = 12345;
  before.fBinary = TRUE;
  before.fParity = TRUE;
  before.fOutxCtsFlow = TRUE;
  before.fOutxDsrFlow = TRUE;
  before.fDtrControl = 3;
  before.fDsrSensitivity = TRUE;
  before.fTXContinueOnXoff = TRUE;
  before.fOutX = TRUE;
  before.fInX = TRUE;
  before.fErrorChar = TRUE;
  before.fNull = TRUE;
  before.fRtsControl = 3;
  before.fAbortOnError = TRUE;
  before.ByteSize = 5;
  before.Parity = ODDPARITY;
  before.StopBits = TWOSTOPBITS;
  OpenAndConnect();

  EXPECT_EQ(system.stateLengthAsked, 28u);
  const DCB& after = system.setState;
  EXPECT_EQ(after.fOutX, 0u);
  EXPECT_EQ(after.fInX, 0u);
  EXPECT_EQ(after.fErrorChar, 0u);
  EXPECT_EQ(after.fAbortOnError, 0u);
  EXPECT_EQ(after.ByteSize, 8);

  EXPECT_EQ(after.BaudRate, 12345u);
  EXPECT_EQ(after.fBinary, 1u);
  EXPECT_EQ(after.fParity, 1u);
  EXPECT_EQ(after.fOutxCtsFlow, 1u);
  EXPECT_EQ(after.fOutxDsrFlow, 1u);
  EXPECT_EQ(after.fDtrControl, 3u);
  EXPECT_EQ(after.fDsrSensitivity, 1u);
  EXPECT_EQ(after.fTXContinueOnXoff, 1u);
  EXPECT_EQ(after.fNull, 1u);
  EXPECT_EQ(after.fRtsControl, 3u);
  EXPECT_EQ(after.Parity, ODDPARITY);
  EXPECT_EQ(after.StopBits, TWOSTOPBITS);
}

TEST_F(ComIO, ReadsEndTwoMillisecondsAfterTheDataAndWritesGetASecondAByte) {
  OpenAndConnect();
  EXPECT_EQ(system.timeouts.ReadIntervalTimeout, 2u);
  EXPECT_EQ(system.timeouts.ReadTotalTimeoutMultiplier, 0u);
  EXPECT_EQ(system.timeouts.ReadTotalTimeoutConstant, 0u);
  EXPECT_EQ(system.timeouts.WriteTotalTimeoutMultiplier, 1000u);
  EXPECT_EQ(system.timeouts.WriteTotalTimeoutConstant, 1u);
}

TEST_F(ComIO, APortThatCannotBeOpenedIsTriedAgainAtEveryLookInSilence) {
  system.interfaces = {UsbPort("COM7")};
  system.openFails = true;
  ASSERT_TRUE(Open());
  ::testing::internal::CaptureStdout();
  system.WaitForWatcher();
  system.Look();
  system.Look();
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_THAT(system.calls, ElementsAre(R"(open \\.\COM7)", R"(open \\.\COM7)"));
  EXPECT_THAT(connected.told, IsEmpty());

  system.openFails = false;
  system.Look();
  EXPECT_THAT(connected.told, ElementsAre("connected"));
}

TEST_F(ComIO, APortThatCannotBeSetUpIsClosedInSilenceAndTriedAgain) {
  bool cFakeSystem::*const failures[] = {&cFakeSystem::getStateFails, &cFakeSystem::setStateFails,
                                         &cFakeSystem::setTimeoutsFails};
  system.interfaces = {UsbPort("COM7")};
  ASSERT_TRUE(Open());
  system.WaitForWatcher();
  for (const auto failure : failures) {
    system.*failure = true;
    ::testing::internal::CaptureStdout();
    system.Look();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_FALSE(transport.IsOpen());
    EXPECT_EQ(system.openPorts, 0);
    EXPECT_EQ(system.calls.back(), "close");
    system.*failure = false;
  }
  EXPECT_THAT(connected.told, IsEmpty());
  EXPECT_THAT(disconnected.told, IsEmpty());
  system.Look();
  EXPECT_THAT(connected.told, ElementsAre("connected"));
}

TEST_F(ComIO, AWaitThatFailsEndsTheWatcherAndThePortStays) {
  OpenAndConnect();
  system.FailNextWait();
  WaitForSingleObject(system.ThreadOf(WatchPortThread).made, INFINITE);
  EXPECT_TRUE(transport.IsOpen());
  EXPECT_THAT(disconnected.told, IsEmpty());
  transport.Close();
  EXPECT_THAT(disconnected.told, ElementsAre("disconnected"));
  EXPECT_EQ(system.looks, 1);
}

TEST_F(ComIO, EveryLookGivesBackItsListAndKeys) {
  OpenAndConnect();
  system.interfaces = {UsbPort("COM1", "0001"), UsbPort("COM2", "0002")};
  system.Look();
  system.Look();
  EXPECT_EQ(system.openClassLists, 0);
  EXPECT_EQ(system.openKeys, 0);
}

TEST(WatchPortThread, EndsAtOnceForNullAndForATransportThatIsNoSerialPort) {
  cFakeSystem system;
  EXPECT_EQ(WatchPortThread(nullptr), 0u);
  cIO mobileBroadband(kMobileBroadband);
  EXPECT_EQ(WatchPortThread(&mobileBroadband), 0u);
  EXPECT_THAT(system.watcherWaits, IsEmpty());
}

}  // namespace
}  // namespace corvane
