#include <gmock/gmock.h>

#include <cstddef>
#include <string>
#include <tuple>

#include "io/mbn/mbn_calls.h"
#include "io/qmbe_fixture_windows.h"
#include "platform/bounded_copy_end.h"
#include "support/replaced_call.h"

namespace corvane::test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// How Open finds the interface that the device name spells.
class QmbeSearch : public QmbeTest {};

// The list of interfaces.

TEST_F(QmbeSearch, WithoutAListOfInterfacesItReturnsTrueAndWaitsForAnArrival) {
  Serve("fail GetInterfaces always 0x80070015");
  EXPECT_TRUE(Open());
  EXPECT_FALSE(transport->IsOpen());
  EXPECT_THAT(service->Log("call GetDeviceServicesContext"), IsEmpty());
  service->Do(std::string("arrive ") + kWantedId);
  ASSERT_TRUE(record.WaitFor(1));
  EXPECT_TRUE(transport->IsOpen());
}

TEST_F(QmbeSearch, AnAbsentInterfaceMakesItReturnFalseUnlessTheListingFailed) {
  ServeOnly(std::string("interface ") + kOtherId);
  EXPECT_FALSE(Open());
  EXPECT_THAT(service->Log("call GetDeviceServicesContext"), IsEmpty());
}

TEST_F(QmbeSearch, WithNoInterfacesAtAllItReturnsFalse) {
  ServeOnly("");
  EXPECT_FALSE(Open());
}

TEST_F(QmbeSearch, OfSeveralInterfacesTheWantedOneIsOpened) {
  ServeOnly(std::string("interface ") + kOtherId + "\ninterface " + kWantedId + "\ninterface " +
            "{00000000-0000-0000-0000-000000000001}");
  EXPECT_TRUE(Open());
  EXPECT_THAT(service->Log("call GetDeviceServicesContext "),
              ElementsAre(std::string(kWantedId) + " -> 0x00000000"));
  EXPECT_THAT(service->Log("call get_InterfaceID"), SizeIs(2)) << "the search stops there";
}

TEST_F(QmbeSearch, AnInterfaceIdGivenInOtherLetterCaseStillMatches) {
  Serve();
  EXPECT_TRUE(Open("{5a1b9a3c-61f0-4e0b-9d3e-0000000000ab}"));
  ASSERT_TRUE(record.WaitFor(1));
  EXPECT_TRUE(transport->IsOpen());
}

TEST_F(QmbeSearch, APrefixOfAnInterfaceIdDoesNotMatch) {
  Serve();
  EXPECT_FALSE(Open("{5A1B9A3C-61F0-4E0B-9D3E-0000000000AB"));
}

TEST_F(QmbeSearch, TheFirstEqualInterfaceEndsTheSearchThoughItDoesNotOpen) {
  Serve(std::string("interface ") + kWantedId + "\nfail GetDeviceServicesContext 1 0x80004005");
  EXPECT_FALSE(Open());
  EXPECT_THAT(service->Log("call get_InterfaceID"), SizeIs(1));
  EXPECT_THAT(service->Log("call GetDeviceServicesContext"), SizeIs(1));
}

TEST_F(QmbeSearch, AListThatBeginsAtOneIsReadToItsEnd) {
  ServeOnly(std::string("interface-list from-one\ninterface ") + kOtherId + "\ninterface " +
            kWantedId);
  EXPECT_TRUE(Open());
}

TEST_F(QmbeSearch, AListIsKnownByItsFeaturesNotByItsVartype) {
  for (const char* const form : {"untyped", "dispatch"}) {
    Serve(std::string("interface-list ") + form + "\ninterface " + kOtherId);
    EXPECT_TRUE(Open()) << form;
    transport->Close();
    EXPECT_TRUE(service->HasNothingLeft()) << form;
  }
}

TEST_F(QmbeSearch, ElementsThatAreNoInterfacesArePassedOver) {
  Serve("interface-list strangers");
  EXPECT_TRUE(Open());
}

TEST_F(QmbeSearch, AnInterfaceThatDoesNotTellItsIdIsPassedOver) {
  for (const char* const trouble :
       {"fail get_InterfaceID 1 0x80004005", "nothing get_InterfaceID 1"}) {
    Serve(std::string("interface ") + kWantedId + "\n" + trouble);
    EXPECT_TRUE(Open()) << "the second one has the same ID: " << trouble;
    EXPECT_THAT(service->Log("call get_InterfaceID"), SizeIs(2));
    transport->Close();
    EXPECT_TRUE(service->HasNothingLeft());
  }
}

TEST_F(QmbeSearch, WhatIsNoArrayOfInterfacesMakesItReturnFalse) {
  for (const char* const form : {"matrix", "numbers", "wide-numbers", "nothing"}) {
    Serve(std::string("interface-list ") + form);
    EXPECT_FALSE(Open()) << form;
    EXPECT_THAT(service->Log("call GetDeviceServicesContext"), IsEmpty()) << form;
    transport->Close();
    EXPECT_TRUE(service->HasNothingLeft()) << form;
  }
}

TEST_F(QmbeSearch, AListWhoseBoundsCannotBeReadMakesItReturnFalse) {
  for (const char* const call : {"SafeArrayGetLBound", "SafeArrayGetUBound"}) {
    Serve();
    gImports.failingArrayCall = call;
    EXPECT_FALSE(Open()) << call;
    transport->Close();
    EXPECT_TRUE(service->HasNothingLeft()) << call;
  }
}

// The comparison.

TEST_F(QmbeSearch, IdsAreComparedOnTheSystemDefaultLocaleIgnoringCase) {
  Serve();
  ASSERT_TRUE(Open());
  EXPECT_THAT(gImports.comparedLocales, Each(std::wstring(L"!x-sys-default-locale")));
  EXPECT_THAT(gImports.compareFlags, Each(DWORD{NORM_IGNORECASE}));
}

TEST_F(QmbeSearch, WhereTheLocaleNameIsTakenTheOlderCallIsNotMade) {
  Serve();
  gImports.compareExResult = CSTR_EQUAL;
  EXPECT_TRUE(Open());
  EXPECT_EQ(gImports.plainCompares, 0);
}

TEST_F(QmbeSearch, ADifferenceFoundByLocaleNameIsNotLookedAtAgain) {
  Serve();
  for (const int order : {CSTR_LESS_THAN, CSTR_GREATER_THAN}) {
    gImports.compareExResult = order;
    EXPECT_FALSE(Open());
    EXPECT_EQ(gImports.plainCompares, 0);
    transport->Close();
  }
}

TEST_F(QmbeSearch, WhereTheLocaleNameIsRefusedTheOlderCallDecides) {
  Serve();
  gImports.compareExResult = 0;
  EXPECT_TRUE(Open());
  EXPECT_EQ(gImports.plainCompares, 1);
}

TEST_F(QmbeSearch, AComparisonThatFailsBothWaysIsNoMatch) {
  Serve();
  gImports.compareExResult = 0;
  gImports.compareResult = 0;
  EXPECT_FALSE(Open());
}

// The name.

TEST_F(QmbeSearch, ANameOf63CharactersFits) {
  const std::string name(63, 'a');
  ServeOnly("interface " + name);
  EXPECT_TRUE(Open(name));
  EXPECT_THAT(service->Log("call GetDeviceServicesContext " + name), SizeIs(1));
}

TEST_F(QmbeSearch, ANameOfBytesAbove7fMatchesNoInterface) {
  Serve();
  EXPECT_FALSE(Open(std::string(63, '\xE9')));
  EXPECT_THAT(service->Log("call GetDeviceServicesContext"), IsEmpty());
}

TEST_F(QmbeSearch, AnEmptyNameMatchesNoInterface) {
  Serve();
  EXPECT_FALSE(Open(""));
}

// What the C runtime answers for a byte that its locale knows no character for.
int RefuseText(wchar_t*, std::size_t, const wchar_t*, ...) { return -1; }

TEST_F(QmbeSearch, ANameThatCannotBeWidenedMakesItReturnFalse) {
  const cReplacedCall noText(MbnCalls().swprintf_s, RefuseText);
  Serve();
  EXPECT_FALSE(Open());
  EXPECT_THAT(service->Log(), IsEmpty());
}

// GoogleTest runs suites of this name first.
TEST(QmbeSearchDeathTest, ANameOf64CharactersEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto open = [] {
    auto* const transport = new cQMBEIO;
    transport->AddRef();
    std::ignore = transport->Open(std::string(64, 'a').c_str(), nullptr, nullptr, nullptr, nullptr);
  };
  EXPECT_EXIT(open(), IsEndOfOverlongCopy, "");
}

}  // namespace
}  // namespace corvane::test
