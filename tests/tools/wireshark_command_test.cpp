#include "corvane/live/wireshark_command.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include "corvane/command/command_line.h"
#include "corvane/live/extcap_answers.h"
#include "corvane/live/extcap_command.h"
#include "corvane/live/installed_files.h"
#include "platform/file_names.h"
#include "support/temp_directory.h"

namespace corvane::tools {
namespace {

namespace fs = std::filesystem;

// A program with its library and profiles, and the folder that it is to be installed in.
class InstallExtcapTest : public ::testing::Test {
 protected:
  InstallExtcapTest() {
    Make("bin/corvane.exe", "program");
    Make("bin/corvane.dll", "library");
    Make("share/corvane/profiles/one.cfg", "1");
    Make("share/corvane/profiles/two.cfg", "2");
    Make("share/corvane/profiles/README", "no profile");
    installation.program = Place("bin/corvane.exe");
    installation.needsLibrary = true;
    installation.profiles = Place("share/corvane/profiles");
    installation.folder = Place("extcap");
  }

  [[nodiscard]] fs::path Place(const std::string& name) const { return folder.Path(name); }

  void Make(const std::string& name, const std::string& text) const {
    fs::create_directories(Place(name).parent_path());
    std::ofstream(Place(name)) << text;
  }

  // The files in the extcap folder, and what is in them.
  [[nodiscard]] std::map<std::string, std::string> Installed() const {
    std::map<std::string, std::string> found;
    if (!fs::exists(installation.folder)) {
      return found;
    }
    for (const auto& entry : fs::recursive_directory_iterator(installation.folder)) {
      if (entry.is_regular_file()) {
        std::ifstream file(entry.path());
        found[fs::relative(entry.path(), installation.folder).generic_string()] =
            std::string(std::istreambuf_iterator<char>(file), {});
      }
    }
    return found;
  }

  int Install() { return InstallExtcap(installation, out, errors); }
  int Uninstall() { return UninstallExtcap(installation, out, errors); }

  const cTempDirectory folder;
  sExtcapInstallation installation;
  std::ostringstream out;
  std::ostringstream errors;
};

const std::map<std::string, std::string> kAll{{"corvane.exe", "program"},
                                              {"corvane.dll", "library"},
                                              {"corvane-profiles/one.cfg", "1"},
                                              {"corvane-profiles/two.cfg", "2"}};

TEST_F(InstallExtcapTest, EverythingThatTheProgramNeedsIsCopied) {
  EXPECT_EQ(Install(), kExitGood);
  EXPECT_EQ(Installed(), kAll);
  EXPECT_EQ(errors.str(), "");
}

// Versions of Wireshark differ in where they look.
TEST_F(InstallExtcapTest, WhoTookTheUsualFolderHearsOfOthers) {
  for (const bool given : {false, true}) {
    out.str({});
    installation.folderIsGiven = given;
    EXPECT_EQ(Install(), kExitGood);
    EXPECT_EQ(out.str().find("--folder") == std::string::npos, given) << out.str();
  }
}

TEST_F(InstallExtcapTest, EarlierCopiesAreReplaced) {
  EXPECT_EQ(Install(), kExitGood);
  Make("bin/corvane.dll", "newer library");
  EXPECT_EQ(Install(), kExitGood);
  EXPECT_EQ(Installed().at("corvane.dll"), "newer library");
}

TEST_F(InstallExtcapTest, TheInstalledProgramFindsItsProfiles) {
  EXPECT_EQ(Install(), kExitGood);
  EXPECT_EQ(FindProfiles(installation.folder), installation.folder / "corvane-profiles");
}

TEST_F(InstallExtcapTest, TheInstalledProgramCanBeInstalledOverItself) {
  EXPECT_EQ(Install(), kExitGood);
  installation.program = installation.folder / "corvane.exe";
  installation.profiles = installation.folder / "corvane-profiles";
  EXPECT_EQ(Install(), kExitGood);
  EXPECT_EQ(Installed(), kAll);
}

TEST_F(InstallExtcapTest, WithoutItsLibraryNothingPretendsToWork) {
  fs::remove(Place("bin/corvane.dll"));
  EXPECT_EQ(Install(), kExitFailed);
  EXPECT_NE(errors.str().find("corvane.dll cannot be copied to "), std::string::npos);
  EXPECT_EQ(out.str().find("Installed."), std::string::npos);
}

TEST_F(InstallExtcapTest, AFileThatCannotBeReplacedLeavesNoHalfCopy) {
  Make("extcap/corvane.dll/in the way", "");
  EXPECT_EQ(Install(), kExitFailed);
  EXPECT_EQ(Installed().count("corvane.dll.new"), 0U);
}

TEST_F(InstallExtcapTest, UninstallRemovesTheCopiesAndNothingElse) {
  EXPECT_EQ(Install(), kExitGood);
  Make("extcap/corvane-profiles/own.cfg", "mine");
  Make("extcap/other.exe", "another program");
  EXPECT_EQ(Uninstall(), kExitGood);
  EXPECT_EQ(Installed(), (std::map<std::string, std::string>{{"corvane-profiles/own.cfg", "mine"},
                                                             {"other.exe", "another program"}}));
}

TEST_F(InstallExtcapTest, UninstallLeavesNoEmptyFolderOfProfiles) {
  EXPECT_EQ(Install(), kExitGood);
  EXPECT_EQ(Uninstall(), kExitGood);
  EXPECT_FALSE(fs::exists(installation.folder / "corvane-profiles"));
}

TEST_F(InstallExtcapTest, NothingToUninstallIsSaid) {
  EXPECT_EQ(Uninstall(), kExitGood);
  EXPECT_EQ(out.str(), "There is nothing to remove in " + TextOf(installation.folder) + "\n");
}

TEST_F(InstallExtcapTest, AFolderThatCannotBeMadeIsNamed) {
  Make("extcap", "a file");
  EXPECT_EQ(Install(), kExitFailed);
  const std::string said =
      "corvane wireshark: the folder " + TextOf(installation.folder) + " cannot be made: ";
  EXPECT_TRUE(errors.str().starts_with(said)) << errors.str();
}

TEST(FindProfilesTest, TheyAreFoundInTheLayoutOfThePackages) {
  const cTempDirectory folder;
  const fs::path root = folder.Path("usr");
  fs::create_directories(root / "bin");
  EXPECT_EQ(FindProfiles(root / "bin"), std::nullopt);
  fs::create_directories(root / "share" / "corvane" / "profiles");
  EXPECT_EQ(FindProfiles(root / "bin"), root / "share" / "corvane" / "profiles");
}

TEST(FindProfilesTest, TheyAreFoundInTheSourceTree) {
  const cTempDirectory folder;
  const fs::path root = folder.Path("corvane");
  fs::create_directories(root / "profiles");
  EXPECT_EQ(FindProfiles(root / "build" / "mingw" / "bin"), root / "profiles");
}

TEST(ExtcapAnswersTest, WhatWouldEndAValueIsReplaced) {
  std::ostringstream out;
  WriteInterfaces({{"corvane_COM7", "Modem {a}\nb"}}, "1.2", out);
  EXPECT_EQ(out.str(),
            "extcap {version=1.2}{display=Corvane}\n"
            "interface {value=corvane_COM7}{display=Modem (a) b}\n");
}

TEST(ExtcapAnswersTest, OptionsAreNumberedAndSelectorsHaveChoices) {
  const std::vector<sExtcapOption> options{
      {"--raw", "Raw", "All", "boolflag", "{group=Show}"},
      {"--clock", "Times", "Whose", "selector", "", {{"modem", "Modem", true}, {"host", "Host"}}}};
  std::ostringstream out;
  WriteOptions(options, out);
  constexpr char kChoices[] =
      "value {arg=1}{value=modem}{display=Modem}{default=true}\n"
      "value {arg=1}{value=host}{display=Host}{default=false}\n";
  EXPECT_EQ(out.str(), std::string("arg {number=0}{call=--raw}{display=Raw}{tooltip=All}"
                                   "{type=boolflag}{group=Show}\n"
                                   "arg {number=1}{call=--clock}{display=Times}{tooltip=Whose}"
                                   "{type=selector}\n") +
                           kChoices);
  for (const char* name : {"--clock", "clock"}) {
    std::ostringstream reloaded;
    WriteChoices(options, name, reloaded);
    EXPECT_EQ(reloaded.str(), kChoices);
  }
}

TEST(ExtcapCallTest, ItIsToldByItsArguments) {
  EXPECT_TRUE(IsExtcapCall({"--extcap-interfaces", "--extcap-version=4.0"}));
  EXPECT_TRUE(IsExtcapCall({"--capture", "--extcap-interface", "corvane_follow"}));
  EXPECT_FALSE(IsExtcapCall({"export", "--follow"}));
  EXPECT_FALSE(IsExtcapCall({}));
}

TEST(ExtcapCallTest, ArgumentsOfLaterVersionsArePassedOver) {
  std::ostringstream out;
  std::ostringstream errors;
  EXPECT_EQ(
      RunExtcap({"--extcap-dlts", "--extcap-interface", "corvane_follow", "--extcap-new", "1"}, out,
                errors),
      kExitGood);
  EXPECT_EQ(out.str(), "dlt {number=252}{name=WIRESHARK_UPPER_PDU}{display=Exported PDUs}\n");
  EXPECT_EQ(errors.str(), "");
}

TEST(ExtcapCallTest, EveryOptionOfTheDialogIsTaken) {
  std::ostringstream out;
  std::ostringstream errors;
  EXPECT_EQ(RunExtcap({"--extcap-dlts", "--clock", "host", "--leap-seconds", "18", "--synthetic",
                       "keep", "--events", "--messages", "--requests", "--raw", "--file", "",
                       "--profile", "one", "--config", "", "--output", ""},
                      out, errors),
            kExitGood)
      << errors.str();
}

TEST(ExtcapCallTest, AValueThatIsNoneIsWrongUsage) {
  std::ostringstream out;
  std::ostringstream errors;
  EXPECT_EQ(RunExtcap({"--extcap-config", "--clock", "sun"}, out, errors), kExitUsage);
  EXPECT_NE(errors.str().find("--clock"), std::string::npos);
}

TEST(ExtcapCallTest, ACaptureFilterIsSaidToBeImpossible) {
  std::ostringstream out;
  std::ostringstream errors;
  EXPECT_EQ(RunExtcap({"--extcap-interface", "corvane_follow", "--extcap-capture-filter", "udp"},
                      out, errors),
            kExitGood);
  EXPECT_EQ(out.str(), "There are no capture filters for this interface.\n");
}

}  // namespace
}  // namespace corvane::tools
