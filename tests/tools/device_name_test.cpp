#include "corvane/capture/device_name.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "corvane/capture/device_presence.h"
#include "tools/scripted_host.h"

namespace corvane::tools {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kInterface[] = "QMBE:{5A1B9A3C-61F0-4E0B-9D3E-0000000000AB}";

TEST(DeviceNameTest, MobileBroadbandIsToldFromAComPort) {
  EXPECT_TRUE(IsMobileBroadband(kInterface));
  EXPECT_FALSE(IsMobileBroadband("COM7"));
}

TEST(DeviceNameTest, EverySpellingOfAComPortIsOne) {
  for (const char* named : {"COM7", "com7", "Com7:", "COM7:", R"(\\.\COM7)", R"(\\.\com7:)"}) {
    EXPECT_EQ(NormalDeviceName(named), "COM7") << named;
  }
  EXPECT_EQ(NormalDeviceName("com128"), "COM128");
}

TEST(DeviceNameTest, EverySpellingOfAnInterfaceIsOne) {
  for (const char* named :
       {kInterface, "qmbe:{5A1B9A3C-61F0-4E0B-9D3E-0000000000AB}",
        "Qmbe:5A1B9A3C-61F0-4E0B-9D3E-0000000000AB", "{5A1B9A3C-61F0-4E0B-9D3E-0000000000AB}",
        "5A1B9A3C-61F0-4E0B-9D3E-0000000000AB"}) {
    EXPECT_EQ(NormalDeviceName(named), kInterface) << named;
  }
  EXPECT_EQ(NormalDeviceName("5a1b9a3c-61f0-4e0b-9d3e-0000000000ab"),
            "QMBE:{5a1b9a3c-61f0-4e0b-9d3e-0000000000ab}");
  EXPECT_EQ(NormalDeviceName("qmbe:modem"), "QMBE:modem");
}

TEST(DeviceNameTest, OtherNamesStayAsTheyAre) {
  for (const char* named :
       {"", "COM", "COMMON7", "COM7x", "com", "CNCA0", "modem:", R"(\\.\CNCA0)", "{}",
        "5A1B9A3C-61F0-4E0B-9D3E-0000000000A", "{5A1B9A3C-61F0-4E0B-9D3E-0000000000AG}"}) {
    EXPECT_EQ(NormalDeviceName(named), named);
  }
  EXPECT_EQ(NormalDeviceName("AUTO"), "auto");
}

TEST(DeviceNameTest, TheDiagPortIsKnownByItsDescription) {
  const std::vector<sPresentPort> present = {{"COM3", "Acme AT Interface"},
                                             {"COM5", "Acme DiAg Interface (COM5)"},
                                             {"DIAG9", ""},
                                             {"COM6", "USB diagnostics"}};
  const auto found = DiagPorts(present);
  EXPECT_EQ(PortList(found), "COM5 (Acme DiAg Interface (COM5)), COM6 (USB diagnostics)");
  EXPECT_EQ(PortList(present),
            "COM3 (Acme AT Interface), COM5 (Acme DiAg Interface (COM5)), DIAG9, COM6 (USB "
            "diagnostics)");
}

TEST(DeviceNameTest, APortIsFoundInAnyLetterCase) {
  const std::vector<sPresentPort> present = {{"COM70", ""}, {"CncA0", ""}};
  EXPECT_EQ(FindPort(present, "cnca0"), &present[1]);
  EXPECT_EQ(FindPort(present, "COM7"), nullptr);
}

class DevicePresenceTest : public testing::Test {
 protected:
  // What a second look and so many looks after that tell.
  [[nodiscard]] std::vector<std::string> Look(int times, bool isConnected = false) {
    told.lines.clear();
    for (int number = 0; number < times; ++number) {
      presence.Look(isConnected, told);
    }
    return told.lines;
  }
  [[nodiscard]] std::vector<std::string> LookBeforeStart() {
    presence.LookBeforeStart(told);
    return told.lines;
  }

  static constexpr char kBusy[] =
      "! warning: COM7 is present but cannot be opened: another program has it; waiting until it "
      "can";

  cScriptedHost host;
  cKeptLines told;
  cDevicePresence presence{"COM7", host};
};

TEST(BusyPortTest, OnlyAPresentPortIsTried) {
  const std::vector<sPresentPort> present = {{"COM7", ""}, {"COM9", ""}};
  const auto open = [](const std::string& port) {
    return port == "COM9" ? std::nullopt : std::optional<std::string>("another program has it");
  };
  EXPECT_EQ(FindBusy("COM7", present, open),
            "COM7 is present but cannot be opened: another program has it");
  EXPECT_EQ(FindBusy("COM9", present, open), std::nullopt);
  EXPECT_EQ(FindBusy("COM8", present, open), std::nullopt);
  EXPECT_EQ(FindBusy("QMBE:{1}", present, open), std::nullopt);
}

TEST_F(DevicePresenceTest, APresentPortIsTriedOnceBeforeTheStart) {
  EXPECT_THAT(LookBeforeStart(), IsEmpty());
  EXPECT_THAT(host.tried, ElementsAre("COM7"));
}

TEST_F(DevicePresenceTest, APortThatAnotherProgramHasIsToldAtOnce) {
  host.busy = "another program has it";
  EXPECT_THAT(LookBeforeStart(), ElementsAre(kBusy));
  EXPECT_THAT(Look(10), IsEmpty());
}

TEST_F(DevicePresenceTest, AnAbsentPortIsToldWithThoseThatArePresent) {
  host.ports = {{"COM9", "Acme DIAG"}, {"COM10", ""}};
  EXPECT_THAT(LookBeforeStart(),
              ElementsAre("COM7 is not present yet: waiting for it",
                          "COM7 is not among the present ports: COM9 (Acme DIAG), COM10"));
  EXPECT_THAT(host.tried, IsEmpty());
  EXPECT_THAT(Look(10), IsEmpty());
}

TEST_F(DevicePresenceTest, WhereThereIsNoPortThatIsTold) {
  host.ports.clear();
  EXPECT_THAT(LookBeforeStart(), ElementsAre("COM7 is not present yet: waiting for it",
                                             "COM7 is not present, and no other COM port is"));
}

TEST_F(DevicePresenceTest, OtherPortsThatComeMeanwhileAreTold) {
  host.ports.clear();
  std::ignore = LookBeforeStart();
  EXPECT_THAT(Look(2), IsEmpty());
  host.ports = {{"COM8", ""}};
  EXPECT_THAT(Look(2), ElementsAre("COM7 is not among the present ports: COM8"));
}

TEST_F(DevicePresenceTest, LetterCaseCountsAsItDoesForTheLibrary) {
  host.ports = {{"com7", ""}};
  EXPECT_THAT(Look(1), ElementsAre("COM7 is not among the present ports: com7"));
}

TEST_F(DevicePresenceTest, APortThatComesIsLeftToTheLibraryAtFirst) {
  EXPECT_THAT(Look(2), IsEmpty());
  EXPECT_THAT(host.tried, IsEmpty());
  host.busy = "another program has it";
  EXPECT_THAT(Look(10), ElementsAre(kBusy));
  EXPECT_EQ(host.tried.size(), 1U);
}

TEST_F(DevicePresenceTest, APortThatCanBeOpenedIsTriedAgainLater) {
  EXPECT_THAT(Look(5), IsEmpty());
  EXPECT_EQ(host.tried.size(), 1U);
  host.busy = "another program has it";
  EXPECT_THAT(Look(1), ElementsAre(kBusy));
}

TEST_F(DevicePresenceTest, AConnectedPortIsNeverTried) {
  EXPECT_THAT(Look(10, true), IsEmpty());
  EXPECT_THAT(host.tried, IsEmpty());
  EXPECT_EQ(host.looksAtPorts, 0);
}

TEST_F(DevicePresenceTest, APortThatIsBusyAgainIsToldAgain) {
  host.busy = "another program has it";
  EXPECT_THAT(Look(5), ElementsAre(kBusy));
  EXPECT_THAT(Look(1, true), IsEmpty());
  EXPECT_THAT(Look(5), ElementsAre(kBusy));
}

TEST_F(DevicePresenceTest, OfAMobileBroadbandInterfaceNothingIsTold) {
  cDevicePresence interface(kInterface, host);
  interface.LookBeforeStart(told);
  interface.Look(false, told);
  EXPECT_THAT(told.lines, IsEmpty());
  EXPECT_EQ(host.looksAtPorts, 0);
}

}  // namespace
}  // namespace corvane::tools
