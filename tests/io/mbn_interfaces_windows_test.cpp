#include "io/mbn/mbn_interfaces.h"

#include <gmock/gmock.h>

#include <string>

#include "io/qmbe_fixture_windows.h"

namespace corvane::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class MbnInterfaces : public QmbeTest {
 protected:
  // Whatever the result, COM is left and the service has everything back.
  std::vector<std::string> List() {
    const std::int64_t before = LiveAutomationBlocks();
    const std::vector<std::string> ids = ListMobileBroadbandInterfaces();
    EXPECT_EQ(LiveAutomationBlocks(), before);
    EXPECT_EQ(gImports.initialised, gImports.uninitialised);
    if (service) {
      EXPECT_TRUE(service->HasNothingLeft());
    }
    return ids;
  }
};

TEST_F(MbnInterfaces, AreListedInThePlatformsOrder) {
  ServeOnly(std::string("interface ") + kWantedId + "\ninterface " + kOtherId);
  EXPECT_THAT(List(), ElementsAre(kWantedId, kOtherId));
}

TEST_F(MbnInterfaces, AreListedFromWhateverIndexTheListBeginsAt) {
  Serve(std::string("interface-list from-one\ninterface ") + kOtherId);
  EXPECT_THAT(List(), ElementsAre(kWantedId, kOtherId));
}

TEST_F(MbnInterfaces, AreKnownByTheListsFeaturesNotByItsVartype) {
  for (const char* const form : {"untyped", "dispatch"}) {
    Serve(std::string("interface-list ") + form + "\ninterface " + kOtherId);
    EXPECT_THAT(List(), ElementsAre(kWantedId, kOtherId)) << form;
  }
}

TEST_F(MbnInterfaces, OneThatDoesNotTellItsIdIsPassedOver) {
  for (const char* const trouble :
       {"fail get_InterfaceID 1 0x80004005", "nothing get_InterfaceID 1"}) {
    Serve(std::string("interface ") + kOtherId + "\n" + trouble);
    EXPECT_THAT(List(), ElementsAre(kOtherId)) << trouble;
  }
}

TEST_F(MbnInterfaces, ElementsThatAreNoInterfacesArePassedOver) {
  Serve("interface-list strangers");
  EXPECT_THAT(List(), ElementsAre(kWantedId));
}

TEST_F(MbnInterfaces, AreNoneWhereNoneIsPresent) {
  ServeOnly("");
  EXPECT_THAT(List(), IsEmpty());
}

TEST_F(MbnInterfaces, AreNoneWhereTheServiceIsNotRegistered) {
  const cUnregisteredMbnService none;
  EXPECT_THAT(List(), IsEmpty());
}

TEST_F(MbnInterfaces, AreNoneWhenTheyCannotBeListed) {
  for (const char* const trouble :
       {"fail GetInterfaces always 0x80070015", "nothing GetInterfaces always",
        "interface-list matrix", "interface-list numbers", "interface-list wide-numbers",
        "fail CreateInstance(InterfaceManager) always 0x80004005"}) {
    Serve(trouble);
    EXPECT_THAT(List(), IsEmpty()) << trouble;
  }
}

TEST(MbnInterfaceList, ElementsOfAnotherSizeThanAPointersAreNoInterfaces) {
  // By hand: such an array cannot be destroyed as what it says it is.
  SAFEARRAY list{};
  list.cDims = 1;
  list.fFeatures = FADF_UNKNOWN;
  list.rgsabound[0] = {3, 7};
  list.cbElements = sizeof(void*);
  EXPECT_EQ(InterfaceListExtent(&list).count, 3U);
  EXPECT_EQ(InterfaceListExtent(&list).lowerBound, 7);
  list.cbElements = 4;
  EXPECT_EQ(InterfaceListExtent(&list).count, 0U);
}

TEST_F(MbnInterfaces, AreNoneOnAThreadOfAnotherKindOfApartment) {
  ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
  Serve();
  const auto ids = ListMobileBroadbandInterfaces();
  CoUninitialize();
  EXPECT_THAT(ids, IsEmpty());
}

TEST_F(MbnInterfaces, ACharacterThatNoDeviceNameHasIsShownAsAQuestionMark) {
  ServeOnly(
      "interface {\xE9"
      "5A}");
  EXPECT_THAT(List(), ElementsAre("{?5A}"));
}

}  // namespace
}  // namespace corvane::test
