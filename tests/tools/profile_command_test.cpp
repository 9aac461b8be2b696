#include "corvane/profile/profile_command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <tuple>

#include "corvane/command/command_line.h"
#include "corvane/profile/profile_check.h"
#include "describe/names.h"
#include "platform/file_names.h"
#include "support/bytes.h"
#include "support/temp_directory.h"

namespace corvane::tools {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using testing::StartsWith;

std::string TextOfFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text(std::istreambuf_iterator<char>(file), {});
  std::erase(text, '\r');
  return text;
}

// --- What comes with the program

class ShippedProfilesTest : public ::testing::Test {
 protected:
  [[nodiscard]] sProfileRequests RequestsOfProfile(const char* name) const {
    const auto profile = FindProfile(profiles, name);
    EXPECT_TRUE(profile) << name;
    return profile ? RequestsOf(TextOfFile(profile->path)) : sProfileRequests();
  }

  const std::vector<sShippedProfile> profiles = ProfilesIn(PathOf(CORVANE_PROFILES));
};

TEST_F(ShippedProfilesTest, TheyAreThereByName) {
  std::vector<std::string> names;
  for (const sShippedProfile& profile : profiles) {
    names.push_back(profile.name);
  }
  EXPECT_THAT(names, ElementsAre("data-call", "everything", "gsm-signalling", "lte-radio",
                                 "lte-signalling", "nr-radio", "nr-signalling", "requests-only",
                                 "signalling", "voice-over-lte", "wcdma-signalling"));
}

TEST_F(ShippedProfilesTest, EachPassesTheCheckAndTellsOfItself) {
  for (const sShippedProfile& profile : profiles) {
    const std::string text = TextOfFile(profile.path);
    const sProfileCheck check = CheckProfile(text);
    EXPECT_THAT(check.warnings, IsEmpty()) << profile.name;
    EXPECT_GT(profile.purpose.size(), 60U) << profile.name;
    EXPECT_THAT(profile.rate, StartsWith("Rate, an estimate: ")) << profile.name;
    if (check.requests.SwitchesNothingOn()) {
      continue;
    }
    // What it names in its commentary is what its requests switch on.
    std::string told;
    for (const std::string& line : check.explanation) {
      told += line + '\n';
    }
    EXPECT_THAT(text, HasSubstr("\n\n" + told + "\n<")) << profile.name;
  }
}

TEST_F(ShippedProfilesTest, AllButTheOneForEverythingHaveNamesAlone) {
  for (const sShippedProfile& profile : profiles) {
    const sProfileRequests requests = RequestsOf(TextOfFile(profile.path));
    for (const std::uint16_t code : requests.logCodes) {
      EXPECT_NE(FindLogCode(code), nullptr) << profile.name << ' ' << code;
    }
    for (const std::uint16_t id : requests.eventIds) {
      EXPECT_TRUE(profile.name == "everything" || !EventName(id).empty()) << profile.name << id;
    }
    for (const auto& [ssid, levels] : requests.messageLevels) {
      EXPECT_FALSE(SsidName(ssid).empty()) << profile.name << ' ' << ssid;
    }
  }
}

TEST_F(ShippedProfilesTest, EverythingHoldsEveryName) {
  const sProfileRequests everything = RequestsOfProfile("everything");
  EXPECT_EQ(everything.logCodes.size(), LogCodeNames().size());
  EXPECT_EQ(everything.eventIds.size(), 4096U);
  for (const sSsidName& name : SsidNames()) {
    for (std::uint32_t ssid = name.first; ssid <= name.last; ++ssid) {
      const auto found = everything.messageLevels.find(static_cast<std::uint16_t>(ssid));
      if (!SsidName(static_cast<std::uint16_t>(ssid)).empty()) {
        ASSERT_NE(found, everything.messageLevels.end()) << ssid;
        EXPECT_EQ(found->second, 0x1FU) << ssid;
      }
    }
  }
  EXPECT_LE(everything.Count(), 1000U);
}

TEST_F(ShippedProfilesTest, EachHasTheMessagesThatItIsFor) {
  const auto has = [this](const char* name, std::set<std::uint16_t> codes) {
    const std::set<std::uint16_t> found = RequestsOfProfile(name).logCodes;
    return std::includes(found.begin(), found.end(), codes.begin(), codes.end());
  };
  EXPECT_TRUE(has("gsm-signalling", {0x512F, 0x5B2F, 0x5226, 0x5230}));
  EXPECT_TRUE(has("wcdma-signalling", {0x412F, 0x713A, 0x7B3A}));
  EXPECT_TRUE(has("lte-signalling", {0xB0C0, 0xB0E2, 0xB0E3, 0xB0EC, 0xB0ED}));
  EXPECT_TRUE(has("nr-signalling", {0xB821, 0xB800, 0xB801, 0xB80A, 0xB80B, 0xB0C0}));
  EXPECT_TRUE(has("lte-radio", {0xB193, 0xB195, 0xB179, 0xB173}));
  EXPECT_TRUE(has("nr-radio", {0xB97F, 0xB975, 0xB888}));
  EXPECT_TRUE(has("data-call", {0x11EB, 0x412F, 0xB0C0, 0xB821}));
  EXPECT_TRUE(has("voice-over-lte", {0x156E, 0x1568, 0x156A, 0xB0C0}));
}

TEST_F(ShippedProfilesTest, TheDocumentTellsOfEach) {
  const std::string document = TextOfFile(PathOf(CORVANE_PROFILES "/../docs/profiles.md"));
  for (const sShippedProfile& profile : profiles) {
    EXPECT_THAT(document, HasSubstr('`' + profile.name + '`'));
  }
}

// --- The command's actions

class ProfileCommandTest : public ::testing::Test {
 protected:
  [[nodiscard]] int Check(const std::string& path, bool isJson = false) {
    return CheckProfileFile(path, isJson, in, out, errors);
  }
  [[nodiscard]] std::string WriteText(const char* name, const std::string& text) {
    return folder.Write(name, ByteVector(text.begin(), text.end()));
  }

  cTempDirectory folder;
  std::istringstream in;
  std::ostringstream out;
  std::ostringstream errors;
};

TEST_F(ProfileCommandTest, CheckExplainsAndWarns) {
  EXPECT_EQ(Check(WriteText("good.cfg", "<LogCodes>412F</LogCodes>")), kExitGood);
  EXPECT_EQ(out.str(),
            "14 requests: 13 that open every connection, 1 for log codes\nLog codes: 1\n"
            "  0x412F  WCDMA RRC OTA message\nNo warnings\n");
  out.str("");
  EXPECT_EQ(Check(WriteText("bad.cfg", "<LogCodes>412F")), kExitFailed);
  EXPECT_THAT(out.str(), HasSubstr("Nothing is switched on\nWarnings:\n  line 1: <LogCodes> is"));
  EXPECT_EQ(errors.str(), "");
}

TEST_F(ProfileCommandTest, CheckReadsStandardInput) {
  in.str("<EventIDs>256</EventIDs>");
  EXPECT_EQ(Check("-"), kExitGood);
  EXPECT_THAT(out.str(), HasSubstr("256  Band class change"));
}

TEST_F(ProfileCommandTest, CheckTellsWhatCannotBeRead) {
  EXPECT_EQ(Check(folder.Path("none.cfg")), kExitFailed);
  EXPECT_THAT(errors.str(), AllOf(StartsWith("corvane profile check: "), HasSubstr("none.cfg")));
  errors.str("");
  EXPECT_EQ(Check(folder.Path("")), kExitFailed);
  EXPECT_THAT(errors.str(), HasSubstr("is a folder"));
  errors.str("");
  EXPECT_EQ(Check(WriteText("large.cfg", std::string(16 * 1024 * 1024 + 1, ' '))), kExitFailed);
  EXPECT_THAT(errors.str(), HasSubstr("hardly a configuration"));
  EXPECT_EQ(out.str(), "");
}

TEST_F(ProfileCommandTest, CheckWritesJson) {
  const std::string path =
      WriteText("some.cfg",
                "<LogCodes>0xB0C0,1234</LogCodes><EventIDs>1606</EventIDs>\n"
                "<MessageLevels>5/2,5/3,5/40</MessageLevels><MultiSim>unwrap</MultiSim>");
  EXPECT_EQ(Check(path, true), kExitFailed);
  const auto result = nlohmann::json::parse(out.str());
  EXPECT_EQ(result["file"], path);
  EXPECT_EQ(result["requests"]["all"], 17);
  EXPECT_EQ(result["requests"]["log_codes"], 2);
  EXPECT_EQ(
      result["log_codes"],
      nlohmann::json::parse(R"([{"code":"0x1234"},{"code":"0xB0C0","key":"lte-rrc-ota-message",)"
                            R"("name":"LTE RRC OTA message"}])"));
  EXPECT_EQ(result["events"],
            nlohmann::json::parse(R"([{"id":1606,"name":"LTE RRC state change"}])"));
  EXPECT_EQ(result["messages"],
            nlohmann::json::parse(R"([{"ssid":5,"name":"call manager","levels":[2,3]}])"));
  EXPECT_EQ(result["unwraps_sims"], true);
  ASSERT_EQ(result["warnings"].size(), 1U);
  EXPECT_EQ(result["warnings"][0]["line"], 2);
}

// Of a large file of nonsense a page is told.
TEST_F(ProfileCommandTest, CheckOfALargeFileStaysShort) {
  std::string text = "<LogCodes>";
  while (text.size() < std::size_t{2} * 1024 * 1024) {
    text += "</a><eventids>,zz 7,12345,";
  }
  EXPECT_EQ(Check(WriteText("large.cfg", text + "</LogCodes>")), kExitFailed);
  EXPECT_LT(out.str().size(), 10000U);
}

TEST_F(ProfileCommandTest, ListTellsPurposeAndRate) {
  std::ignore = WriteText("b.cfg", "What b\r\nis for.\r\n\r\nRate: slow,\r\nvery.\r\n\r\nNo more.");
  std::ignore = WriteText("a.cfg", "");
  std::ignore = WriteText("c.txt", "no profile");
  const auto profiles = ProfilesIn(PathOf(folder.Path("")));
  EXPECT_EQ(ListProfiles(profiles, false, out, errors), kExitGood);
  EXPECT_EQ(out.str(), "a\nb\n    What b is for.\n    Rate: slow, very.\n");
  out.str("");
  EXPECT_EQ(ListProfiles(profiles, true, out, errors), kExitGood);
  const auto second = nlohmann::json::parse(out.str().substr(out.str().find('\n')));
  EXPECT_EQ(second["name"], "b");
  EXPECT_EQ(second["rate"], "Rate: slow, very.");
  EXPECT_EQ(ListProfiles({}, false, out, errors), kExitFailed);
}

TEST_F(ProfileCommandTest, ShowPrintsAProfileOrItsPath) {
  const std::string path = WriteText("mine.cfg", "text\n");
  const auto profiles = ProfilesIn(PathOf(folder.Path("")));
  EXPECT_EQ(ShowProfile(profiles, "mine", false, out, errors), kExitGood);
  EXPECT_EQ(ShowProfile(profiles, "mine.cfg", true, out, errors), kExitGood);
  EXPECT_THAT(out.str(), AllOf(StartsWith("text\n"), HasSubstr("mine.cfg\n")));
  EXPECT_EQ(ShowProfile(profiles, "mime", false, out, errors), kExitUsage);
  EXPECT_EQ(errors.str(),
            "corvane profile show: there is no profile \"mime\"; the nearest: mine\n");
}

// --- Making one

sProfileContent ContentOf(const char* logCodes, const char* events, const char* levels) {
  sProfileContent content;
  EXPECT_EQ(AddLogCodes(logCodes, content), std::nullopt);
  EXPECT_EQ(AddEvents(events, content), std::nullopt);
  EXPECT_EQ(AddLevels(levels, content), std::nullopt);
  return content;
}

TEST_F(ProfileCommandTest, MakeWritesWhatIsNamed) {
  sProfileContent content =
      ContentOf("lte-rrc-ota-message", "LTE RRC state change", "call manager/low-high");
  content.unwraps = true;
  EXPECT_EQ(MakeProfile(content, "", false, out, errors), kExitGood);
  EXPECT_THAT(out.str(), HasSubstr("\n<LogCodes>B0C0</LogCodes>\n\n<EventIDs>1606</EventIDs>\n\n"
                                   "<MessageLevels>5/0,5/1,5/2</MessageLevels>\n\n"
                                   "<MultiSim>unwrap</MultiSim>\n"));
  EXPECT_THAT(out.str(), HasSubstr("\n  0xB0C0  LTE RRC OTA message\n"));
  EXPECT_THAT(CheckProfile(out.str()).warnings, IsEmpty());
}

TEST_F(ProfileCommandTest, MakeTakesRangesAndNumbers) {
  const sProfileContent content = ContentOf("B0C0-B0C2", "0-4095", "3000-3001/all");
  EXPECT_THAT(content.logCodes, ElementsAre(0xB0C0, 0xB0C1, 0xB0C2));
  EXPECT_THAT(content.messageLevels, ElementsAre(Pair(3000, 0xFFFFFFFF), Pair(3001, 0xFFFFFFFF)));
  EXPECT_EQ(MakeProfile(content, "-", false, out, errors), kExitGood);
  const sProfileCheck check = CheckProfile(out.str());
  EXPECT_THAT(check.warnings, IsEmpty());
  EXPECT_EQ(check.requests.eventIds.size(), 4096U);
  EXPECT_EQ(check.requests.messageLevels.at(3001), 0xFFFFFFFFU);
}

TEST_F(ProfileCommandTest, MakeRefusesWhatIsNotNamed) {
  sProfileContent content;
  EXPECT_THAT(AddLevels("5", content).value_or(""), HasSubstr("has no slash"));
  EXPECT_THAT(AddLevels("5/loud", content).value_or(""), HasSubstr("is no level"));
  EXPECT_THAT(AddLevels("5/high-low", content).value_or(""), HasSubstr("ends before it begins"));
  EXPECT_THAT(AddLevels("nowhere/1", content).value_or(""), Not(IsEmpty()));
  EXPECT_THAT(AddEvents("4096", content).value_or(""), HasSubstr("too large"));
  EXPECT_TRUE(content.IsEmpty());
}

TEST_F(ProfileCommandTest, MakeRefusesMoreRequestsThanFit) {
  const sProfileContent content = ContentOf("412F", "256", "0-2000/1");
  EXPECT_EQ(MakeProfile(content, "", false, out, errors), kExitFailed);
  EXPECT_EQ(out.str(), "");
  EXPECT_THAT(errors.str(), StartsWith("corvane profile make: it makes 2,016 requests"));
}

TEST_F(ProfileCommandTest, MakeReplacesAFileOnlyWhenAsked) {
  const std::string path = WriteText("made.cfg", "old");
  const sProfileContent content = ContentOf("412F", "256", "5/1");
  EXPECT_EQ(MakeProfile(content, path, false, out, errors), kExitFailed);
  EXPECT_THAT(errors.str(), HasSubstr("is there already; --overwrite replaces it"));
  EXPECT_EQ(TextOfFile(PathOf(path)), "old");
  EXPECT_EQ(MakeProfile(content, path, true, out, errors), kExitGood);
  EXPECT_THAT(RequestsOf(TextOfFile(PathOf(path))).logCodes, ElementsAre(0x412F));
  EXPECT_EQ(MakeProfile(content, folder.Path("none") + "/made.cfg", false, out, errors),
            kExitFailed);
  EXPECT_THAT(errors.str(), HasSubstr("cannot be written"));
}

}  // namespace
}  // namespace corvane::tools
