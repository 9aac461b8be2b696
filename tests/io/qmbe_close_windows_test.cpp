#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <utility>

#include "io/qmbe_fixture_windows.h"
#include "support/wait_until.h"

namespace corvane::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;

// How long a test waits for what must not happen.
constexpr auto kMoment = std::chrono::milliseconds(300);
constexpr const char* kDebuggerLine = "debugger -------- OnCloseCommandSessionComplete\n";

class QmbeClose : public QmbeTest {
 protected:
  // Runs Close here, and `meanwhile` on another thread once Close has asked for the session's end.
  void CloseWhile(const std::function<void()>& meanwhile) {
    std::thread other([&] {
      EXPECT_TRUE(service->WaitForLog("call CloseCommandSession"));
      meanwhile();
    });
    transport->Close();
    hasReturned = true;
    other.join();
  }

  // Until Close waits for the session's end.
  void WaitForTheWait() const {
    EXPECT_TRUE(WaitUntil("Close waits", [] { return gImports.isWaiting.load(); }));
    EXPECT_FALSE(gImports.wasOverBeforeWait);
    EXPECT_EQ(gImports.waitLimit, 10000U);
    EXPECT_FALSE(hasReturned);
  }

  // Until Close lets no call of the sink in any more: one that gets in compares the ID.
  [[nodiscard]] bool WaitForTheClosedGate() {
    const BSTR id = SysAllocString(L"{00000000-0000-0000-0000-000000000001}");
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    bool isClosed = false;
    while (!isClosed && std::chrono::steady_clock::now() < deadline) {
      const int compares = gImports.compares;
      transport->OnInterfaceStateChange(id, MBN_DEVICE_SERVICES_CAPABLE_INTERFACE_REMOVAL);
      isClosed = gImports.compares == compares;
    }
    SysFreeString(id);
    return isClosed;
  }

  // Close waits for the confirmation, whose thread reports the end.
  void ExpectToEndTheSecondSession() {
    std::thread::id handlersThread;
    whenDisconnected = [&] { handlersThread = std::this_thread::get_id(); };
    CloseWhile([&] {
      WaitForTheWait();
      service->Do("closed 0");
    });
    EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected", "connected",
                                             "disconnected", kDebuggerLine));
    EXPECT_NE(handlersThread, std::this_thread::get_id());
  }

  std::atomic<bool> hasReturned = false;
};

TEST_F(QmbeClose, WaitsForTheCloseCompletionWhichReportsTheDisconnectOnce) {
  Serve("close-completion withheld");
  OpenSession();
  std::thread::id handlersThread;
  whenDisconnected = [&] { handlersThread = std::this_thread::get_id(); };
  CloseWhile([&] {
    WaitForTheWait();
    EXPECT_THAT(record.Events(), ElementsAre("connected"));
    service->Do("closed 0");
  });
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected", kDebuggerLine));
  EXPECT_NE(handlersThread, std::this_thread::get_id());
  EXPECT_FALSE(transport->IsOpen());
}

TEST_F(QmbeClose, WaitsForACompletionThatTakesItsTime) {
  Serve("close-completion 50");
  OpenSession();
  transport->Close();
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected", kDebuggerLine));
}

TEST_F(QmbeClose, ACompletionBeforeCloseCommandSessionHasReturnedCounts) {
  Serve("close-completion before-return");
  OpenSession();
  transport->Close();
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected", kDebuggerLine));
}

TEST_F(QmbeClose, ACompletionWithAnErrorEndsTheSessionToo) {
  Serve("close-completion queued 0x80004005");
  OpenSession();
  transport->Close();
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected", kDebuggerLine));
}

TEST_F(QmbeClose, TheSessionIsClosedWhenTheDisconnectHandlerRuns) {
  Serve();
  OpenSession();
  bool wasOpen = true;
  whenDisconnected = [&] { wasOpen = transport->IsOpen(); };
  transport->Close();
  EXPECT_FALSE(wasOpen);
}

TEST_F(QmbeClose, ACompletionThatWasNotAskedForEndsTheSession) {
  Serve();
  OpenSession();
  service->Do("closed 0");
  EXPECT_FALSE(transport->IsOpen());
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected", kDebuggerLine));
  transport->Close();
  EXPECT_THAT(service->Log("call CloseCommandSession"), IsEmpty());
}

TEST_F(QmbeClose, ARefusedRequestIsNotWaitedForAndIsReportedAtOnce) {
  Serve("fail CloseCommandSession always 0x80070015");
  OpenSession();
  transport->Close();
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected"));
}

TEST_F(QmbeClose, ARemovalEndsTheWait) {
  Serve("close-completion withheld");
  OpenSession();
  CloseWhile([&] { service->Do(std::string("remove ") + kWantedId); });
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected"));
}

TEST_F(QmbeClose, ASessionThatDidNotOpenYetIsNotClosed) {
  Serve("open-completion withheld");
  ASSERT_TRUE(Open());
  transport->Close();
  EXPECT_THAT(service->Log("call CloseCommandSession"), IsEmpty());
  EXPECT_THAT(record.Events(), IsEmpty());
}

TEST_F(QmbeClose, ARemovedInterfacesSessionIsNotClosed) {
  Serve();
  OpenSession();
  service->Do(std::string("remove ") + kWantedId);
  transport->Close();
  EXPECT_THAT(service->Log("call CloseCommandSession"), IsEmpty());
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected"));
}

TEST_F(QmbeClose, WithoutADisconnectHandlerTheSessionIsOnlyLetGoOf) {
  Serve();
  ASSERT_TRUE(transport->Open(
      kWantedId, [](void*) {}, this, nullptr, nullptr));
  ASSERT_TRUE(service->WaitForLog("callback OnOpenCommandSessionComplete"));
  ASSERT_TRUE(transport->IsOpen());
  transport->Close();
  EXPECT_FALSE(transport->IsOpen());
  EXPECT_THAT(service->Log("call CloseCommandSession"), IsEmpty());
}

TEST_F(QmbeClose, ASessionThatIsOpeningIsEndedAndReportedToo) {
  Serve("open-completion withheld");
  ASSERT_TRUE(Open());
  std::atomic<bool> isOpening = false;
  gImports.whenEventIsReset = [&] { isOpening = true; };
  service->Post("opened 0");
  EXPECT_TRUE(WaitUntil("the session is opening", [&] { return isOpening.load(); }));
  transport->Close();
  EXPECT_FALSE(transport->IsOpen());
  EXPECT_THAT(record.Events(), UnorderedElementsAre("connected", "disconnected", kDebuggerLine));
  EXPECT_THAT(service->Log("call CloseCommandSession"), ElementsAre(" -> 0x00000000"));
}

TEST_F(QmbeClose, ASecondOpenCompletionDoesNotResetTheEventUnderTheWait) {
  // The completion is about to reset the event when Close comes. Close does not ask for the end,
  // and so gets no confirmation, before the reset is done.
  Serve("threads 2 at-once");
  OpenSession();
  std::atomic<bool> isResetting = false;
  bool cameThrough = false;
  gImports.whenEventIsReset = [&] {
    isResetting = true;
    cameThrough = service->WaitForLog("call CloseCommandSession", 1, kMoment);
  };
  service->Post("opened 0");
  EXPECT_TRUE(WaitUntil("the event is reset", [&] { return isResetting.load(); }));
  transport->Close();
  EXPECT_FALSE(cameThrough);
  EXPECT_THAT(record.Events(),
              UnorderedElementsAre("connected", "connected", "disconnected", kDebuggerLine));
}

TEST_F(QmbeClose, AnArrivalThatIsOpeningIsWaitedForAndItsSessionEnded) {
  Serve("threads 2 at-once\nopen-completion before-return");
  OpenSession();
  std::atomic<bool> isOpening = false;
  bool cameThrough = false;
  gImports.whenString = [&](const BSTR text) {
    if (std::wstring(text) != L"{2D0C12C9-0E6A-495A-915C-8D174FE5D63C}") {
      return;
    }
    isOpening = true;
    cameThrough = service->WaitForLog("call CloseCommandSession", 1, kMoment);
  };
  service->Post(std::string("announce ") + kWantedId + " 0");
  EXPECT_TRUE(WaitUntil("the session is opening", [&] { return isOpening.load(); }));
  transport->Close();
  EXPECT_FALSE(cameThrough);
  // Asked for on the service of the second session: the first one's is refused.
  EXPECT_THAT(service->Log("call CloseCommandSession"), ElementsAre(" -> 0x00000000"));
  EXPECT_THAT(record.Events(),
              ElementsAre("connected", "connected", "disconnected", kDebuggerLine));
}

TEST_F(QmbeClose, AnInterfaceThatGoesAndComesBackMeanwhileIsNotOpenedAgain) {
  Serve("close-completion withheld");
  OpenSession();
  // The removal's report comes before it ends the wait.
  whenDisconnected = [&] { service->Post(std::string("arrive ") + kWantedId); };
  CloseWhile([&] { service->Post(std::string("remove ") + kWantedId); });
  EXPECT_THAT(service->Log("call OpenCommandSession"), SizeIs(1));
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected"));
}

TEST_F(QmbeClose, AnArrivalAndAnOpenCompletionMeanwhileDoNothing) {
  Serve("close-completion withheld");
  OpenSession();
  CloseWhile([&] {
    service->Do(std::string("announce ") + kWantedId + " 0");
    service->Do("opened 0");
    EXPECT_THAT(record.Events(), ElementsAre("connected"));
    service->Do("closed 0");
  });
  EXPECT_THAT(service->Log("call OpenCommandSession"), SizeIs(1));
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected", kDebuggerLine));
}

TEST_F(QmbeClose, ARefusedRequestAndARemovalReportTheEndOnce) {
  Serve("fail CloseCommandSession always 0x80070015");
  OpenSession();
  bool isFirst = true;
  whenDisconnected = [&] {
    if (std::exchange(isFirst, false)) {
      service->Do(std::string("remove ") + kWantedId);
    }
  };
  transport->Close();
  EXPECT_THAT(service->Log("callback OnInterfaceStateChange"), SizeIs(1));
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected"));
}

TEST_F(QmbeClose, ASilentPlatformIsWaitedForTenSecondsAndTheEndReportedOnce) {
  Serve("close-completion withheld");
  OpenSession();
  gImports.waitTimesOut = true;
  transport->Close();
  EXPECT_EQ(gImports.waitLimit, 10000U);
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected"));
  EXPECT_FALSE(transport->IsOpen());
  EXPECT_THAT(service->Log("call CloseCommandSession"), SizeIs(1));
}

TEST_F(QmbeClose, APlatformThatWaitsForItsCallbacksIsNotKeptWaiting) {
  Serve("during CloseCommandSession bytes 01020304");
  OpenSession();
  transport->Close();
  EXPECT_THAT(record.Events(),
              ElementsAre("connected", "data 01020304", "disconnected", kDebuggerLine));
  EXPECT_THAT(service->Log("waited in vain"), IsEmpty());
}

TEST_F(QmbeClose, AConfirmationAfterTheTimeOutReportsNothingMore) {
  Serve("close-completion withheld");
  OpenSession();
  gImports.waitTimesOut = true;
  // From the handler that the time-out calls, and so before the sink is deaf.
  whenDisconnected = [&] { service->Do("closed 0"); };
  transport->Close();
  EXPECT_THAT(service->Log("callback OnCloseCommandSessionComplete"), SizeIs(1));
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected", kDebuggerLine));
}

TEST_F(QmbeClose, TheSessionEventIsManualResetAndGoesWithTheTransport) {
  EXPECT_TRUE(gImports.eventIsManual);
  EXPECT_FALSE(gImports.eventWasSet);
  transport->Close();
  EXPECT_EQ(gImports.eventCloses, 0);
  Finish();
  EXPECT_EQ(gImports.eventCloses, 1);
}

TEST_F(QmbeClose, AReopenedSessionIsWaitedForToo) {
  // The first session's end has left its mark; the second one's opening takes it back.
  Serve("close-completion withheld");
  OpenSession();
  service->Do(std::string("remove ") + kWantedId);
  service->Do(std::string("arrive ") + kWantedId);
  ASSERT_TRUE(record.WaitFor(3));
  ExpectToEndTheSecondSession();
}

TEST_F(QmbeClose, ALateMarkOfAnEarlierSessionsEndIsNotTaken) {
  // The first session's removal leaves its mark when its handler has returned: not before the
  // second session is open.
  Serve("threads 2 at-once\nclose-completion withheld");
  OpenSession();
  whenDisconnected = [&] {
    service->Post(std::string("announce ") + kWantedId + " 0");
    EXPECT_TRUE(WaitUntil("the second session is open", [&] { return transport->IsOpen(); }));
  };
  service->Do(std::string("announce ") + kWantedId + " 1");
  ASSERT_TRUE(record.WaitFor(3));
  ExpectToEndTheSecondSession();
}

TEST_F(QmbeClose, GivesEverythingBackInThisOrder) {
  // The service has let go of its session by the time that CloseCommandSession returns.
  Serve("close-completion before-return");
  OpenSession();
  std::vector<std::string> logBeforeComIsLeft;
  gImports.whenUninitialising = [&] { logBeforeComIsLeft = service->Log(); };
  transport->Close();
  auto log = service->Log();
  EXPECT_EQ(logBeforeComIsLeft, log) << "COM is left last";
  log.erase(log.begin(),
            std::find(log.begin(), log.end(), "call CloseCommandSession -> 0x00000000"));
  EXPECT_THAT(
      log, ElementsAre("call CloseCommandSession -> 0x00000000", "gone Service#1", "sink leaves",
                       "sink released 1", "call Unadvise 1 -> 0x00000000", "gone ConnectionPoint#1",
                       "gone ConnectionPointContainer#1", "gone DeviceServicesManager#1", "end"));
  EXPECT_EQ(gImports.uninitialised, 1);
}

TEST_F(QmbeClose, ASecondOneDoesNothing) {
  Serve();
  OpenSession();
  transport->Close();
  const auto log = service->Log();
  transport->Close();
  EXPECT_EQ(service->Log(), log);
  EXPECT_EQ(gImports.uninitialised, 1);
}

TEST_F(QmbeClose, WithoutAnOpenDoesNothing) {
  transport->Close();
  EXPECT_EQ(gImports.uninitialised, 0);
}

TEST_F(QmbeClose, TheLastReleaseDoesTheSame) {
  // The service's own reference to the sink has to go first: nothing that is registered is ever
  // destroyed.
  Serve("fail Advise always 0x80040202");
  EXPECT_FALSE(Open());
  EXPECT_EQ(transport->Release(), 0U);
  transport = nullptr;
  EXPECT_TRUE(service->HasNothingLeft());
  EXPECT_EQ(gImports.uninitialised, 1);
}

TEST_F(QmbeClose, AfterAFailedOpenTheSinkIsTakenBack) {
  Serve("fail GetDeviceServicesContext always 0x80004005");
  EXPECT_FALSE(Open());
  transport->Close();
  EXPECT_THAT(service->Log("sink released "), ElementsAre("1"));
  EXPECT_THAT(service->Log(), Contains("call Unadvise 1 -> 0x00000000"));
}

TEST_F(QmbeClose, NoHandlerRunsWhenItHasReturned) {
  // A removal is being reported, and its handler takes its time, when Close comes. The session is
  // closed already, so there is no completion to wait for.
  Serve();
  OpenSession();
  std::atomic<bool> isInHandler = false;
  std::atomic<bool> isHandlerDone = false;
  whenDisconnected = [&] {
    isInHandler = true;
    EXPECT_TRUE(WaitForTheClosedGate());
    EXPECT_THAT(service->Log("sink leaves"), IsEmpty());
    isHandlerDone = true;
  };
  service->Post(std::string("remove ") + kWantedId);
  EXPECT_TRUE(WaitUntil("the handler runs", [&] { return isInHandler.load(); }));
  transport->Close();
  EXPECT_TRUE(isHandlerDone);
}

TEST_F(QmbeClose, TheEndIsReportedAfterAnOpeningThatIsBeingReported) {
  // The connect handler takes its time, and Close's own report would come in the middle of it.
  Serve("fail CloseCommandSession always 0x80070015");
  std::atomic<bool> isInHandler = false;
  whenConnected = [&] {
    isInHandler = true;
    EXPECT_TRUE(WaitForTheClosedGate());
    EXPECT_THAT(record.Events(), ElementsAre("connected"));
  };
  ASSERT_TRUE(Open());
  EXPECT_TRUE(WaitUntil("the handler runs", [&] { return isInHandler.load(); }));
  transport->Close();
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected"));
}

TEST_F(QmbeClose, TheSinkIsDeafOnceItWaitsForTheLastCallInside) {
  // The removal's handler holds Close up behind the gate, with service and handlers still in place.
  Serve("threads 2 at-once");
  OpenSession();
  std::atomic<bool> isInHandler = false;
  whenDisconnected = [&] {
    isInHandler = true;
    EXPECT_TRUE(WaitForTheClosedGate());
    for (const char* const step : {"bytes 01020304", "opened 0", "closed 0"}) {
      service->Post(step);
    }
    service->Post(std::string("announce ") + kWantedId + " 0");
    EXPECT_TRUE(service->WaitForLog("callback OnEventNotification"));
    EXPECT_TRUE(service->WaitForLog("callback OnOpenCommandSessionComplete", 2));
    EXPECT_TRUE(service->WaitForLog("callback OnCloseCommandSessionComplete"));
    EXPECT_TRUE(service->WaitForLog("callback OnInterfaceStateChange"));
  };
  service->Post(std::string("remove ") + kWantedId);
  EXPECT_TRUE(WaitUntil("the handler runs", [&] { return isInHandler.load(); }));
  transport->Close();
  EXPECT_THAT(record.Events(), ElementsAre("connected", "disconnected"));
  EXPECT_THAT(service->Log("call OpenCommandSession"), SizeIs(1));
  EXPECT_FALSE(transport->IsOpen());
}

TEST_F(QmbeClose, TheSinkStaysDeafAfterwards) {
  Serve();
  OpenSession();
  transport->Close();
  const auto before = record.Events();
  const BSTR id = SysAllocString(L"{5A1B9A3C-61F0-4E0B-9D3E-0000000000AB}");
  EXPECT_EQ(transport->OnInterfaceStateChange(id, MBN_DEVICE_SERVICES_CAPABLE_INTERFACE_REMOVAL),
            S_OK);
  EXPECT_EQ(transport->OnInterfaceStateChange(id, MBN_DEVICE_SERVICES_CAPABLE_INTERFACE_ARRIVAL),
            S_OK);
  SysFreeString(id);
  EXPECT_EQ(transport->OnOpenCommandSessionComplete(nullptr, S_OK, 0), S_OK);
  EXPECT_EQ(transport->OnEventNotification(nullptr, 0, nullptr), S_OK);
  EXPECT_EQ(record.Events(), before);
  EXPECT_FALSE(transport->IsOpen());
}

TEST_F(QmbeClose, ATransportCanBeOpenedAgain) {
  Serve();
  OpenSession();
  transport->Close();
  ASSERT_TRUE(Open());
  ASSERT_TRUE(record.WaitFor(4));
  EXPECT_EQ(record.Events().back(), "connected");
  transport->Close();
  EXPECT_EQ(gImports.uninitialised, 2);
}

}  // namespace
}  // namespace corvane::test
