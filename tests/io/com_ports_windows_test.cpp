#include "io/serial/com_ports.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// clang-format off
#include <windows.h>
#include <setupapi.h>
// clang-format on

#include <string>
#include <vector>

#include "io/fake_system_windows.h"

namespace corvane {
namespace {

using test::cFakeSystem;
using test::sFakeInterface;
using test::UsbPort;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ComPorts : public ::testing::Test {
 protected:
  cFakeSystem system;
};

sFakeInterface WithPath(const std::string& path) {
  sFakeInterface made = UsbPort("COM7");
  made.path = path;
  return made;
}

sFakeInterface WithoutName() {
  sFakeInterface made = UsbPort("");
  made.portName.reset();
  return made;
}

TEST_F(ComPorts, WithoutInterfacesNoPortIsPresent) {
  EXPECT_FALSE(ComPortIsPresent("COM7"));
  EXPECT_EQ(system.openClassLists, 0);
}

TEST_F(ComPorts, TheListIsOfPresentInterfacesOfTheComPortClass) {
  EXPECT_FALSE(ComPortIsPresent("COM7"));
  constexpr GUID kComPorts = {
      0x86E0D1E0, 0x8089, 0x11D0, {0x9C, 0xE4, 0x08, 0x00, 0x3E, 0x30, 0x1F, 0x73}};
  EXPECT_TRUE(IsEqualGUID(system.classAsked, kComPorts));
  EXPECT_EQ(system.classFlagsAsked, 18u);
  EXPECT_FALSE(system.classAskedNarrower) << "neither for one enumerator nor for a window";
  EXPECT_TRUE(IsEqualGUID(system.interfaceClassAsked, kComPorts));
  EXPECT_FALSE(system.interfaceDeviceAsked) << "the interfaces of every device";
}

TEST_F(ComPorts, AListThatCannotBeMadeHasNoPorts) {
  system.interfaces = {UsbPort("COM7")};
  system.classListFails = true;
  EXPECT_FALSE(ComPortIsPresent("COM7"));
  EXPECT_THAT(ListComPorts(), IsEmpty());
}

TEST_F(ComPorts, ThePortIsFoundAmongPortsOfOtherNames) {
  system.interfaces = {UsbPort("COM3", "0001"), UsbPort("COM17", "0002"), UsbPort("COM7", "0003"),
                       UsbPort("COM9", "0004")};
  EXPECT_TRUE(ComPortIsPresent("COM7"));
  EXPECT_EQ(system.keysAsked.size(), 3u) << "the scan ends at the match";
  EXPECT_EQ(system.openClassLists, 0);
  EXPECT_EQ(system.openKeys, 0);
}

TEST_F(ComPorts, TheNameHasToBeEqualByteForByte) {
  system.interfaces = {UsbPort("COM7")};
  EXPECT_TRUE(ComPortIsPresent("COM7"));
  EXPECT_FALSE(ComPortIsPresent("com7"));
  EXPECT_FALSE(ComPortIsPresent("COM"));
  EXPECT_FALSE(ComPortIsPresent("COM77"));
  EXPECT_FALSE(ComPortIsPresent(""));
}

TEST_F(ComPorts, TheDevicesKeyIsFormedFromTheFirstThreeTokensOfThePath) {
  system.interfaces = {
      WithPath(R"(\\?\USB#VID_1234&PID_0001#0001#{86e0d1e0-8089-11d0-9ce4-08003e301f73})")};
  EXPECT_FALSE(ComPortIsPresent("COM7"));
  EXPECT_THAT(system.keysAsked,
              ElementsAre(R"(System\CurrentControlSet\Enum\USB\VID_1234&PID_0001\0001\)"
                          "Device Parameters"));
  EXPECT_EQ(system.keyAccessAsked, REGSAM{KEY_READ});
  EXPECT_EQ(system.detailSizeAsked, 4104u);
}

TEST_F(ComPorts, ThePrefixIsTakenOutOfTheFirstTokenAnywhereAndOnce) {
  system.interfaces = {WithPath(R"(a\\?\b\\?\c#d#e)"), WithPath("noprefix#d#e"),
                       WithPath(R"(f#\\?\g#h)")};
  EXPECT_FALSE(ComPortIsPresent("COM7"));
  EXPECT_THAT(system.keysAsked,
              ElementsAre(R"(System\CurrentControlSet\Enum\ab\\?\c\d\e\Device Parameters)",
                          R"(System\CurrentControlSet\Enum\noprefix\d\e\Device Parameters)",
                          R"(System\CurrentControlSet\Enum\f\\\?\g\h\Device Parameters)"));
}

TEST_F(ComPorts, EmptyTokensAreSkipped) {
  system.interfaces = {WithPath("##a###b#c")};
  EXPECT_FALSE(ComPortIsPresent("COM7"));
  EXPECT_THAT(system.keysAsked,
              ElementsAre(R"(System\CurrentControlSet\Enum\a\b\c\Device Parameters)"));
}

TEST_F(ComPorts, APathOfFewerThanThreeTokensIsPassedOver) {
  system.interfaces = {WithPath(""), WithPath("###"), WithPath(R"(\\?\USB)"),
                       WithPath(R"(\\?\USB#VID_1234&PID_0001)"), UsbPort("COM7")};
  EXPECT_TRUE(ComPortIsPresent("COM7"));
  EXPECT_EQ(system.keysAsked.size(), 1u);
}

TEST_F(ComPorts, APathTooLongForAKeyIsPassedOver) {
  const std::string longInstance(500, 'i');
  system.interfaces = {WithPath(R"(\\?\USB#VID#)" + longInstance + "#{guid}"), UsbPort("COM7")};
  EXPECT_TRUE(ComPortIsPresent("COM7"));
  EXPECT_EQ(system.keysAsked.size(), 1u);
}

TEST_F(ComPorts, TheLongestKeyPathHas511Characters) {
  const std::size_t fixedLength =
      std::string(R"(System\CurrentControlSet\Enum\USB\VID\\Device Parameters)").size();
  const std::string fits(511 - fixedLength, 'i');
  system.interfaces = {WithPath(R"(\\?\USB#VID#)" + fits + "i#{guid}"),
                       WithPath(R"(\\?\USB#VID#)" + fits + "#{guid}")};
  EXPECT_FALSE(ComPortIsPresent("COM7"));
  ASSERT_EQ(system.keysAsked.size(), 1u);
  EXPECT_EQ(system.keysAsked[0].size(), 511u);
}

TEST_F(ComPorts, ADeviceWithoutAKeyIsPassedOver) {
  sFakeInterface keyless = UsbPort("COM7", "0009");
  keyless.keyPath.reset();
  system.interfaces = {keyless, UsbPort("COM8")};
  EXPECT_TRUE(ComPortIsPresent("COM8"));
  EXPECT_FALSE(ComPortIsPresent("COM7"));
}

TEST_F(ComPorts, AnInterfaceThatCannotBeReadEndsTheScan) {
  sFakeInterface unreadable = UsbPort("COM3", "0003");
  unreadable.detailFails = true;
  system.interfaces = {unreadable, UsbPort("COM7")};
  EXPECT_FALSE(ComPortIsPresent("COM7"));
  EXPECT_EQ(system.openClassLists, 0);
}

TEST_F(ComPorts, AKeyWithoutAPortNameNeverMatchesAPortAndTheScanGoesOn) {
  system.interfaces = {WithoutName()};
  EXPECT_FALSE(ComPortIsPresent("COM7"));
  EXPECT_FALSE(ComPortIsPresent(""));
  system.interfaces.push_back(UsbPort("COM7", "0002"));
  EXPECT_TRUE(ComPortIsPresent("COM7"));
}

TEST_F(ComPorts, WithoutAPortNameTheStartOfTheInterfacesRecordIsCompared) {
  static_assert(sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_A) == 8);
  system.interfaces = {WithoutName()};
  EXPECT_TRUE(ComPortIsPresent("\b"));
}

TEST_F(ComPorts, AfterAFailedQueryThePreviousNameIsNotTakenForItsOwn) {
  sFakeInterface nameless = WithoutName();
  nameless.path = R"(\\?\usb#vid_1234&pid_0001#0002#{guid})";
  nameless.keyPath =
      R"(System\CurrentControlSet\Enum\usb\vid_1234&pid_0001\0002\Device Parameters)";
  system.interfaces = {UsbPort("COM7", "0001"), nameless};
  EXPECT_THAT(ListComPorts(), ::testing::SizeIs(1));
}

TEST_F(ComPorts, ANameWithoutATerminatorRunsOnAndDoesNotMatch) {
  sFakeInterface unterminated = UsbPort("COM7");
  unterminated.portName = "COM7";
  system.interfaces = {unterminated};
  EXPECT_FALSE(ComPortIsPresent("COM7"));
  EXPECT_TRUE(ComPortIsPresent(R"(COM7\\?\usb)"));
}

TEST_F(ComPorts, ANameThatFillsTheWholeBufferIsReadNoFurther) {
  sFakeInterface whole = UsbPort("");
  whole.portName = std::string(4104, 'C');
  system.interfaces = {whole};
  EXPECT_FALSE(ComPortIsPresent("COM7"));
  EXPECT_EQ(system.nameSizeAsked, 4104u);
  EXPECT_TRUE(ComPortIsPresent(std::string(4104, 'C').c_str()));
}

TEST_F(ComPorts, ANameThatDoesNotFitTheBufferDoesNotMatch) {
  sFakeInterface tooLong = UsbPort("");
  tooLong.portName = std::string(4105, 'C');
  system.interfaces = {tooLong};
  EXPECT_FALSE(ComPortIsPresent("COM7"));
}

TEST_F(ComPorts, ANameWithBytesBehindItsTerminatorEndsAtTheTerminator) {
  sFakeInterface doubled = UsbPort("");
  doubled.portName = std::string("COM7\0COM8\0", 10);
  system.interfaces = {doubled};
  EXPECT_TRUE(ComPortIsPresent("COM7"));
  EXPECT_FALSE(ComPortIsPresent("COM8"));
}

TEST_F(ComPorts, TheListNamesAndDescribesEveryPresentPortThatHasAName) {
  system.interfaces = {UsbPort("COM7", "0001"), UsbPort("COM9", "0002"), UsbPort("COM8", "0003"),
                       UsbPort("", "0004")};
  system.interfaces[0].friendlyName = "DIAG port (COM7)";
  system.interfaces[0].description = "DIAG port";
  system.interfaces[1].description = "NMEA port";
  system.interfaces[3].portName.reset();
  const std::vector<sComPort> ports = ListComPorts();
  ASSERT_EQ(ports.size(), 3u);
  EXPECT_EQ(ports[0].name, "COM7");
  EXPECT_EQ(ports[0].description, "DIAG port (COM7)");
  EXPECT_EQ(ports[1].name, "COM9");
  EXPECT_EQ(ports[1].description, "NMEA port");
  EXPECT_EQ(ports[2].name, "COM8");
  EXPECT_EQ(ports[2].description, "");
  EXPECT_EQ(system.openClassLists, 0);
  EXPECT_EQ(system.openKeys, 0);
}

}  // namespace
}  // namespace corvane
