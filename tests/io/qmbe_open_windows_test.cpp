#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "io/qmbe_fixture_windows.h"
#include "support/wait_until.h"

namespace corvane::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class QmbeOpen : public QmbeTest {};

TEST_F(QmbeOpen, TheSessionCountsAsOpenOnlyWhenTheCompletionArrives) {
  Serve("open-completion withheld");
  EXPECT_TRUE(Open());
  EXPECT_FALSE(transport->IsOpen());
  EXPECT_THAT(record.Events(), IsEmpty());
  service->Do("opened 0");
  EXPECT_TRUE(transport->IsOpen());
  EXPECT_THAT(record.Events(), ElementsAre("connected"));
}

TEST_F(QmbeOpen, ACompletionBeforeOpenCommandSessionHasReturnedCounts) {
  Serve("open-completion before-return");
  EXPECT_TRUE(Open());
  EXPECT_TRUE(transport->IsOpen());
  EXPECT_THAT(record.Events(), ElementsAre("connected"));
}

TEST_F(QmbeOpen, ACompletionThatTakesItsTimeOpensTheSessionThen) {
  Serve("open-completion 50");
  EXPECT_TRUE(Open());
  ASSERT_TRUE(record.WaitFor(1));
  EXPECT_TRUE(transport->IsOpen());
}

TEST_F(QmbeOpen, TheSessionIsOpenWhenTheConnectHandlerRuns) {
  Serve();
  bool wasOpen = false;
  whenConnected = [&] { wasOpen = transport->IsOpen(); };
  OpenSession();
  Finish();
  EXPECT_TRUE(wasOpen);
}

TEST_F(QmbeOpen, ACompletionWithAnErrorOpensNothing) {
  Serve("open-completion withheld");
  ASSERT_TRUE(Open());
  service->Do("opened 0x80004005");
  EXPECT_FALSE(transport->IsOpen());
  service->Do("opened 1");  // S_FALSE: only S_OK counts
  EXPECT_FALSE(transport->IsOpen());
  EXPECT_THAT(record.Events(), IsEmpty());
}

TEST_F(QmbeOpen, ACompletionFromAnotherServiceIsIgnored) {
  Serve("open-completion withheld");
  ASSERT_TRUE(Open());
  service->Do("stranger-opened");
  EXPECT_FALSE(transport->IsOpen());
  EXPECT_THAT(record.Events(), IsEmpty());
}

TEST_F(QmbeOpen, TheManagersAreCreatedInAnyServerAndInThisOrder) {
  Serve();
  ASSERT_TRUE(Open());
  EXPECT_THAT(gImports.contexts, ElementsAre(23U, 23U, 23U));
  ASSERT_THAT(gImports.createdClasses, SizeIs(3));
  EXPECT_TRUE(IsEqualGUID(gImports.createdClasses[0], kDeviceServicesManagerClass));
  EXPECT_TRUE(IsEqualGUID(gImports.createdClasses[1], kDeviceServicesManagerClass));
  EXPECT_TRUE(IsEqualGUID(gImports.createdClasses[2], kInterfaceManagerClass));
  EXPECT_TRUE(IsEqualGUID(gImports.createdInterfaces[0], kInterfaceId<IMbnDeviceServicesManager>));
  EXPECT_TRUE(IsEqualGUID(gImports.createdInterfaces[1], kInterfaceId<IConnectionPointContainer>));
  EXPECT_TRUE(IsEqualGUID(gImports.createdInterfaces[2], kInterfaceId<IMbnInterfaceManager>));
}

// What fails, and the calls of the service until then.

TEST_F(QmbeOpen, WithoutTheSessionEventItReturnsFalseBeforeAnythingElse) {
  Finish();
  gImports.eventsFail = true;
  MakeTransport();
  Serve();
  EXPECT_FALSE(Open());
  EXPECT_EQ(gImports.initialised, 0);
  EXPECT_THAT(service->Log(), IsEmpty());
}

TEST_F(QmbeOpen, AThreadThatIsInAnotherKindOfApartmentMakesItReturnFalse) {
  ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
  Serve();
  EXPECT_FALSE(Open());
  EXPECT_THAT(service->Log(), IsEmpty());
  // The thread's own apartment is none of the transport's business.
  Finish();
  EXPECT_EQ(gImports.uninitialised, 0);
  CoUninitialize();
}

TEST_F(QmbeOpen, AThreadThatIsInTheMultithreadedApartmentAlreadyStaysInIt) {
  ASSERT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
  Serve();
  EXPECT_TRUE(Open());
  Finish();
  EXPECT_EQ(gImports.uninitialised, 1);
  CoUninitialize();
}

TEST_F(QmbeOpen, WithoutMemoryForTheInterfaceIdItReturnsFalse) {
  Serve();
  gImports.failingString = 0;
  EXPECT_FALSE(Open());
  EXPECT_THAT(service->Log(), IsEmpty());
}

TEST_F(QmbeOpen, WithoutMemoryForTheServiceIdItReturnsFalse) {
  Serve();
  gImports.failingString = 1;
  EXPECT_FALSE(Open());
  EXPECT_THAT(service->Log("call GetDeviceServicesContext"), IsEmpty());
}

TEST_F(QmbeOpen, WithoutARegisteredServiceItReturnsFalse) {
  const cUnregisteredMbnService none;
  Serve();
  EXPECT_FALSE(Open());
  EXPECT_THAT(gImports.contexts, SizeIs(1));
}

TEST_F(QmbeOpen, WithoutADeviceServicesManagerItReturnsFalse) {
  Serve("fail CreateInstance(DeviceServicesManager) always 0x80004005");
  EXPECT_FALSE(Open());
  EXPECT_THAT(service->Log("call "),
              ElementsAre("CreateInstance(DeviceServicesManager) -> 0x80004005"));
}

TEST_F(QmbeOpen, WithoutAConnectionPointContainerItReturnsFalse) {
  Serve("fail CreateInstance(ConnectionPointContainer) always 0x80004002");
  EXPECT_FALSE(Open());
  EXPECT_THAT(service->Log("call "),
              ElementsAre("CreateInstance(DeviceServicesManager) -> 0x00000000",
                          "CreateInstance(ConnectionPointContainer) -> 0x80004002"));
}

TEST_F(QmbeOpen, WithoutAConnectionPointItReturnsFalse) {
  for (const char* const scenario :
       {"fail FindConnectionPoint always 0x80040200", "nothing FindConnectionPoint always"}) {
    Serve(scenario);
    EXPECT_FALSE(Open());
    EXPECT_THAT(service->Log("call Advise"), IsEmpty()) << scenario;
    transport->Close();
    EXPECT_TRUE(service->HasNothingLeft());
  }
}

TEST_F(QmbeOpen, ARefusedSinkMakesItReturnFalse) {
  Serve("fail Advise always 0x80040202");
  EXPECT_FALSE(Open());
  EXPECT_THAT(service->Log("call CreateInstance(InterfaceManager)"), IsEmpty());
  Finish();
  EXPECT_THAT(service->Log("call Unadvise"), IsEmpty());
}

TEST_F(QmbeOpen, WithoutAnInterfaceManagerItReturnsFalse) {
  Serve("fail CreateInstance(InterfaceManager) always 0x80004005");
  EXPECT_FALSE(Open());
  EXPECT_THAT(service->Log("call GetInterfaces"), IsEmpty());
  Finish();
  EXPECT_THAT(service->Log("sink released "), SizeIs(1));
}

// An arrival while Open is at work.

TEST_F(QmbeOpen, AnArrivalBeforeTheSearchOpensASessionOfItsOwn) {
  Serve("open-completion withheld");
  gImports.whenCreating = [&](REFIID iid) {
    if (!IsEqualGUID(iid, kInterfaceId<IMbnInterfaceManager>)) {
      return;
    }
    service->Do(std::string("announce ") + kWantedId + " 0");
  };
  EXPECT_TRUE(Open());
  EXPECT_THAT(service->Log("call OpenCommandSession"), SizeIs(2));
  EXPECT_THAT(service->Log("gone Service"), ElementsAre("#1")) << "the later one counts";
  service->Do("opened 0");
  EXPECT_THAT(record.Events(), ElementsAre("connected"));
}

TEST_F(QmbeOpen, AnArrivalBeforeTheRegistrationHasReturnedIsPassedOver) {
  Serve(std::string("at advise announce ") + kWantedId +
        " 0\nfail GetInterfaces always 0x80070015");
  EXPECT_TRUE(Open());
  EXPECT_THAT(service->Log("callback OnInterfaceStateChange"), SizeIs(1));
  EXPECT_THAT(service->Log("call GetDeviceServicesContext"), IsEmpty());
  service->Do(std::string("arrive ") + kWantedId);
  ASSERT_TRUE(record.WaitFor(1));
  EXPECT_TRUE(transport->IsOpen());
}

class QmbeOpenMeetsArrival : public QmbeTest {
 protected:
  // Calls `meanwhile` once, when a thread is about to look for the DIAG service.
  void WhenAServiceIsLookedFor(const std::function<void()>& meanwhile) {
    gImports.whenString = [this, meanwhile](const BSTR text) {
      if (std::wstring(text) == L"{2D0C12C9-0E6A-495A-915C-8D174FE5D63C}" &&
          !isLookedFor.exchange(true)) {
        meanwhile();
      }
    };
  }

  // The calls that open a service come one attempt after the other, whoever makes them.
  void ExpectWholeAttempts(std::size_t count) const {
    std::vector<std::string> calls;
    for (const std::string& line : service->Log("call ")) {
      const std::string name = line.substr(0, line.find(' '));
      if (name == "GetDeviceServicesContext" || name == "GetDeviceService" ||
          name == "OpenCommandSession") {
        calls.push_back(name);
      }
    }
    const std::vector<std::string> attempt = {"GetDeviceServicesContext", "GetDeviceService",
                                              "OpenCommandSession"};
    ASSERT_THAT(calls, SizeIs(count * attempt.size()));
    for (std::size_t i = 0; i < calls.size(); ++i) {
      EXPECT_EQ(calls[i], attempt[i % attempt.size()]) << i;
    }
  }

  std::atomic<bool> isLookedFor = false;
};

TEST_F(QmbeOpenMeetsArrival, AnArrivalLeavesItToTheSearchToLookAgain) {
  Serve("fail OpenCommandSession 3 0x8000000C");
  WhenAServiceIsLookedFor([this] { service->Do(std::string("announce ") + kWantedId + " 0"); });
  EXPECT_TRUE(Open());
  EXPECT_THAT(service->Log("callback OnInterfaceStateChange"), SizeIs(1));
  EXPECT_THAT(service->Log("call OpenCommandSession -> 0x00000000"), SizeIs(2));
  ExpectWholeAttempts(5);
}

TEST_F(QmbeOpenMeetsArrival, APlatformThatWaitsForItsCallbacksIsNotKeptWaiting) {
  for (const char* const call :
       {"CreateInstance(InterfaceManager)", "GetInterfaces", "get_InterfaceID",
        "GetDeviceServicesContext", "GetDeviceService", "OpenCommandSession"}) {
    // The arrival wants to open, the notification looks which service is there.
    const std::string during = std::string("during ") + call;
    Serve(during + " announce " + kWantedId + " 0\n" + during + " bytes 01020304");
    EXPECT_TRUE(Open()) << call;
    EXPECT_THAT(service->Log("callback OnInterfaceStateChange"), SizeIs(1)) << call;
    EXPECT_THAT(service->Log("callback OnEventNotification"), SizeIs(1)) << call;
    EXPECT_THAT(service->Log("call OpenCommandSession -> 0x00000000"), SizeIs(2)) << call;
    transport->Close();
    EXPECT_TRUE(service->HasNothingLeft()) << call;
  }
}

TEST_F(QmbeOpenMeetsArrival, AnAdviseThatWaitsForItsCallbacksIsNotKeptWaiting) {
  Serve("at advise bytes 01020304\nat advise opened 0");
  EXPECT_TRUE(Open());
  EXPECT_THAT(service->Log("callback OnEventNotification"), SizeIs(1));
  EXPECT_THAT(service->Log("waited in vain"), IsEmpty());
}

TEST_F(QmbeOpenMeetsArrival, AServiceThatWaitsForCallbacksAsItGoesIsNotKeptWaiting) {
  Serve("fail OpenCommandSession 1 0x8000000C\nduring service.Release bytes 01020304");
  EXPECT_TRUE(Open());
  EXPECT_THAT(service->Log("callback OnEventNotification"), SizeIs(1));
  EXPECT_THAT(service->Log("waited in vain"), IsEmpty());
}

TEST_F(QmbeOpenMeetsArrival, TheResultIsThatOfTheSearchsOwnLook) {
  const std::string arrival = std::string("announce ") + kWantedId + " 0";
  // The search's look fails, the second one succeeds.
  Serve("fail OpenCommandSession 1 0x80004005");
  WhenAServiceIsLookedFor([&] { service->Do(arrival); });
  EXPECT_FALSE(Open());
  EXPECT_THAT(service->Log("call OpenCommandSession"),
              ElementsAre(" -> 0x80004005", " -> 0x00000000"));
  transport->Close();

  // And the other way round.
  gImports.whenString = nullptr;
  Serve("during OpenCommandSession " + arrival +
        "\nduring OpenCommandSession fail GetDeviceServicesContext 1 0x80004005");
  EXPECT_TRUE(Open());
  EXPECT_THAT(service->Log("call GetDeviceServicesContext"), SizeIs(2));
  EXPECT_THAT(service->Log("call OpenCommandSession"), ElementsAre(" -> 0x00000000"));
}

TEST_F(QmbeOpenMeetsArrival, TheSearchWaitsForAnArrivalThatIsOpening) {
  Serve("fail OpenCommandSession 3 0x8000000C");
  WhenAServiceIsLookedFor([this] {
    // On the arrival's thread, until the search has found the interface.
    EXPECT_TRUE(service->WaitForLog("call get_InterfaceID"));
  });
  gImports.whenCreating = [this](REFIID iid) {
    if (IsEqualGUID(iid, kInterfaceId<IMbnInterfaceManager>)) {
      service->Post(std::string("announce ") + kWantedId + " 0");
      EXPECT_TRUE(
          WaitUntil("the arrival looks for the service", [&] { return isLookedFor.load(); }));
    }
  };
  EXPECT_TRUE(Open());
  EXPECT_THAT(service->Log("call OpenCommandSession -> 0x00000000"), SizeIs(2));
  ExpectWholeAttempts(5);
}

}  // namespace
}  // namespace corvane::test
