#include <gmock/gmock.h>

#include <algorithm>
#include <mutex>
#include <optional>
#include <thread>

#include "io/qmbe_fixture_windows.h"
#include "support/failing_allocation.h"

namespace corvane::test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class QmbeOpenService : public QmbeTest {
 protected:
  [[nodiscard]] std::size_t Attempts() const {
    return service->Log("call GetDeviceServicesContext").size();
  }
};

TEST_F(QmbeOpenService, AsksForTheDiagServiceOfTheInterfaceAndACommandSessionOnIt) {
  Serve();
  EXPECT_TRUE(Open());
  EXPECT_THAT(service->Log("call GetDeviceServicesContext "),
              ElementsAre(std::string(kWantedId) + " -> 0x00000000"));
  EXPECT_THAT(service->Log("call GetDeviceService "),
              ElementsAre("{2D0C12C9-0E6A-495A-915C-8D174FE5D63C} -> 0x00000000"));
  EXPECT_THAT(service->Log("call OpenCommandSession"), ElementsAre(" -> 0x00000000"));
}

TEST_F(QmbeOpenService, WithoutAContextItFailsAtOnce) {
  for (const char* const trouble : {"fail GetDeviceServicesContext always 0x80070490",
                                    "nothing GetDeviceServicesContext always"}) {
    Serve(trouble);
    EXPECT_FALSE(Open()) << trouble;
    EXPECT_EQ(Attempts(), 1U) << trouble;
    transport->Close();
    EXPECT_TRUE(service->HasNothingLeft()) << trouble;
  }
}

TEST_F(QmbeOpenService, AServiceThatIsNotGivenNineTimesIsOpenedAtTheTenthAttempt) {
  Serve("fail GetDeviceService 9 0x80004005");
  EXPECT_TRUE(Open());
  EXPECT_EQ(Attempts(), 10U);
  EXPECT_THAT(service->Log("call OpenCommandSession"), SizeIs(1));
}

TEST_F(QmbeOpenService, AServiceThatIsNotGivenTenTimesIsGivenUp) {
  Serve("fail GetDeviceService 10 0x80004005");
  EXPECT_FALSE(Open());
  EXPECT_EQ(Attempts(), 10U);
  EXPECT_THAT(service->Log("call OpenCommandSession"), IsEmpty());
}

TEST_F(QmbeOpenService, SuccessWithoutAServiceUsesUpTheAttempt) {
  Serve("nothing GetDeviceService 9");
  EXPECT_TRUE(Open());
  EXPECT_EQ(Attempts(), 10U);
}

TEST_F(QmbeOpenService, AChangedStateNineTimesIsOpenedAtTheTenthAttempt) {
  Serve("fail OpenCommandSession 9 0x8000000C");
  EXPECT_TRUE(Open());
  EXPECT_EQ(Attempts(), 10U);
  ASSERT_TRUE(record.WaitFor(1));
  EXPECT_TRUE(transport->IsOpen());
}

TEST_F(QmbeOpenService, AChangedStateTenTimesIsGivenUp) {
  Serve("fail OpenCommandSession 10 0x8000000C");
  EXPECT_FALSE(Open());
  EXPECT_EQ(Attempts(), 10U);
}

TEST_F(QmbeOpenService, BothKindsOfTroubleUseUpTheSameTenAttempts) {
  Serve("fail GetDeviceService 4 0x80004005\nfail OpenCommandSession 6 0x8000000C");
  EXPECT_FALSE(Open());
  EXPECT_EQ(Attempts(), 10U);
  EXPECT_THAT(service->Log("call OpenCommandSession"), Each(std::string(" -> 0x8000000C")));
}

TEST_F(QmbeOpenService, AnyOtherErrorOfTheSessionFailsAtOnce) {
  Serve("fail OpenCommandSession always 0x80070005");
  EXPECT_FALSE(Open());
  EXPECT_EQ(Attempts(), 1U);
}

TEST_F(QmbeOpenService, AnotherErrorAfterChangedStatesFailsAtOnce) {
  Serve("fail OpenCommandSession 2 0x8000000C\nfail OpenCommandSession 1 0x80004005");
  EXPECT_FALSE(Open());
  EXPECT_EQ(Attempts(), 3U);
}

TEST_F(QmbeOpenService, TheContextIsReleasedAfterEachAttempt) {
  Serve("fail GetDeviceService 2 0x80004005\nfail OpenCommandSession 1 0x8000000C");
  ASSERT_TRUE(Open());
  const auto log = service->Log();
  const auto place = [&](const std::string& line) {
    return std::find(log.begin(), log.end(), line) - log.begin();
  };
  EXPECT_LT(place("gone Context#1"), place("made Context#2"));
  EXPECT_LT(place("gone Context#2"), place("made Context#3"));
  EXPECT_LT(place("gone Context#3"), place("made Context#4"));
  EXPECT_THAT(service->Log("gone Context"), SizeIs(4));
}

TEST_F(QmbeOpenService, AServiceWhoseSessionDidNotOpenIsGivenBackForTheNext) {
  Serve("fail OpenCommandSession 1 0x8000000C");
  ASSERT_TRUE(Open());
  EXPECT_THAT(service->Log("made Service"), ElementsAre("#1", "#2"));
  EXPECT_THAT(service->Log("gone Service"), ElementsAre("#1"));
}

TEST_F(QmbeOpenService, AnotherPointerToTheSameObjectIsOurService) {
  Serve("service-pointers varied");
  OpenSession();
  service->Do("bytes 01020304");
  transport->Close();
  EXPECT_THAT(record.Events(), ElementsAre("connected", "data 01020304", "disconnected",
                                           "debugger -------- OnCloseCommandSessionComplete\n"));
}

TEST_F(QmbeOpenService, AnotherPointerToAnotherObjectIsNot) {
  Serve("service-pointers varied\nopen-completion withheld");
  ASSERT_TRUE(Open());
  service->Do("stranger-opened");
  EXPECT_FALSE(transport->IsOpen());
  service->Do("opened 0");
  service->Do("stranger 1D");
  service->Do("stranger-closed");
  EXPECT_TRUE(transport->IsOpen());
  EXPECT_THAT(record.Events(), ElementsAre("connected"));
}

// An object that nobody can ask anything. It looks whether `lock` is free while it is asked.
struct sMuteObject {
  using Query = HRESULT(STDMETHODCALLTYPE*)(sMuteObject*, const IID*, void**);

  static HRESULT STDMETHODCALLTYPE Refuse(sMuteObject* self, const IID*, void** found) {
    std::thread([self] {
      const std::unique_lock attempt(self->lock, std::try_to_lock);
      self->lockWasFree = attempt.owns_lock();
    }).join();
    *found = nullptr;
    return E_NOINTERFACE;
  }

  const Query* slots;
  cLock& lock;
  bool lockWasFree = false;
};

TEST_F(QmbeOpenService, AnObjectWithoutIdentityIsNotOurService) {
  Serve("open-completion withheld");
  ASSERT_TRUE(Open());
  const sMuteObject::Query query = sMuteObject::Refuse;
  sMuteObject object{&query, transport->lock};
  void* const address = &object;
  EXPECT_EQ(
      transport->OnOpenCommandSessionComplete(static_cast<IMbnDeviceService*>(address), S_OK, 0),
      S_OK);
  EXPECT_FALSE(transport->IsOpen());
  EXPECT_TRUE(object.lockWasFree);
}

TEST_F(QmbeOpenService, WithoutMemoryToShareTheServiceItFails) {
  Serve();
  std::optional<cAllocationFailure> noMemory;
  // The service's ID is the last string before the service is looked for.
  gImports.whenString = [&](BSTR text) {
    if (std::wstring(text) == L"{2D0C12C9-0E6A-495A-915C-8D174FE5D63C}") {
      noMemory.emplace(eHeap::New, 1);
    }
  };
  transport->SetDataHandler(nullptr, nullptr);
  const bool isOpen = transport->Open(
      kWantedId, [](void*) {}, nullptr, [](void*) {}, nullptr);
  ASSERT_TRUE(noMemory);
  EXPECT_TRUE(noMemory->Disarm());
  EXPECT_FALSE(isOpen);
  EXPECT_THAT(service->Log("gone Service"), SizeIs(1));
  EXPECT_THAT(service->Log("call OpenCommandSession"), IsEmpty());
}

// An object that counts the calls of its users.
struct sCountedObject {
  unsigned AddRef() { return ++added; }
  unsigned Release() { return ++released; }
  unsigned added = 0;
  unsigned released = 0;
};

TEST(SharedReference, IsTakenOnceAndGivenBackByTheLastUser) {
  sCountedObject object;
  auto first = Share(&object);
  EXPECT_EQ(first.get(), &object);
  auto second = first;
  first = nullptr;
  EXPECT_EQ(object.added, 1U) << "a copy calls nothing of the object";
  EXPECT_EQ(object.released, 0U);
  second = nullptr;
  EXPECT_EQ(object.added, 1U);
  EXPECT_EQ(object.released, 1U);
}

TEST(SharedReference, WithoutMemoryIsNoneAndGivesItsOwnBack) {
  sCountedObject object;
  cAllocationFailure noMemory(eHeap::New, 1);
  const auto shared = Share(&object);
  EXPECT_TRUE(noMemory.Disarm());
  EXPECT_EQ(shared, nullptr);
  EXPECT_EQ(object.added, 1U);
  EXPECT_EQ(object.released, 1U);
}

TEST(SharedReference, ToNothingIsNone) {
  EXPECT_EQ(Share(static_cast<sCountedObject*>(nullptr)), nullptr);
}

TEST_F(QmbeOpenService, AnArrivalGetsTenAttemptsOfItsOwn) {
  Serve("fail GetInterfaces always 0x80004005\nfail GetDeviceService 19 0x80004005");
  ASSERT_TRUE(Open());
  service->Do(std::string("arrive ") + kWantedId);
  EXPECT_EQ(Attempts(), 10U);
  EXPECT_FALSE(transport->IsOpen());
  service->Do(std::string("arrive ") + kWantedId);
  EXPECT_EQ(Attempts(), 20U);
  ASSERT_TRUE(record.WaitFor(1));
  EXPECT_TRUE(transport->IsOpen());
}

}  // namespace
}  // namespace corvane::test
