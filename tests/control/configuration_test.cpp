#include "control/configuration.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "capture/isf/layout.h"
#include "capture/session_fixture.h"
#include "support/failing_allocation.h"

namespace corvane {
namespace {

class ConfigurationTest : public cSessionTest {
 protected:
  // Starts a capture with a configuration file that holds `text`.
  bool LoadText(std::string_view text) {
    WriteFileText(configPath, text);
    return LoadConfiguration(session, capturePath.c_str(), configPath.c_str());
  }

  std::string configPath = folder.Path("capture.cfg");
};

TEST_F(ConfigurationTest, ACompleteFileYieldsItsRecords) {
  ASSERT_TRUE(
      LoadText("capture profile for a data call\n"
               "log codes: <LogCodes>0x412F, 0x1234,\n"
               "0xABCD</LogCodes>\n"
               "events: <EventIDs>256,257</EventIDs>\n"
               "message levels: <MessageLevels>5000/3, 5000/4, 18/2</MessageLevels>\n"
               "over the air: <OTATypes>412F</OTATypes>\n"));
  EXPECT_EQ(session.logCodes, (LogCodeSet{0x1234, 0x412F, 0xABCD}));
  EXPECT_EQ(session.eventIds, (EventIdSet{256, 257}));
  EXPECT_EQ(session.messageLevels, (MessageLevelMap{{18, {2}}, {5000, {3, 4}}}));
}

TEST_F(ConfigurationTest, WrappersAreOpenedOnlyWhereTheConfigurationSaysSo) {
  ASSERT_TRUE(LoadText("several SIMs: <MultiSim> unwrap </MultiSim>"));
  EXPECT_TRUE(session.unwrapsSubscriptions);
  ASSERT_TRUE(LoadText("<MultiSim>other</MultiSim>"));
  EXPECT_FALSE(session.unwrapsSubscriptions);
  session.unwrapsSubscriptions = true;
  ASSERT_TRUE(LoadConfiguration(session, capturePath.c_str(), nullptr));
  EXPECT_FALSE(session.unwrapsSubscriptions);
}

TEST_F(ConfigurationTest, LinesMayEndInCarriageReturnAndLineFeed) {
  ASSERT_TRUE(LoadText("<LogCodes>0x1234,\r\n0xABCD\r\n</LogCodes>\r\n"));
  EXPECT_EQ(session.logCodes, (LogCodeSet{0x1234, 0xABCD}));
}

TEST_F(ConfigurationTest, TheCaptureFileHasItsFirstItem) {
  cPrinted printed;
  ASSERT_TRUE(LoadText("<LogCodes>1234</LogCodes>"));
  EXPECT_EQ(printed.Take(), "");
  EXPECT_EQ(Items(), std::vector<sFileItem>{InformationItem()});
  EXPECT_TRUE(session.capturing);
}

TEST_F(ConfigurationTest, AnEmptyConfigurationFileStartsTheCaptureWithNothingEnabled) {
  ASSERT_TRUE(LoadText(""));
  EXPECT_TRUE(session.eventIds.empty());
  EXPECT_TRUE(session.logCodes.empty());
  EXPECT_TRUE(session.messageLevels.empty());
  EXPECT_EQ(Items(), std::vector<sFileItem>{InformationItem()});
}

TEST_F(ConfigurationTest, WithoutAConfigurationPathTheCaptureStartsWithNothingEnabled) {
  ASSERT_TRUE(LoadConfiguration(session, capturePath.c_str(), nullptr));
  EXPECT_TRUE(session.eventIds.empty());
  EXPECT_TRUE(session.logCodes.empty());
  EXPECT_TRUE(session.messageLevels.empty());
  EXPECT_TRUE(session.capturing);
}

TEST_F(ConfigurationTest, ALogCodesTagWithoutItsClosingTagYieldsNoLogCode) {
  ASSERT_TRUE(LoadText("<LogCodes>0x1234,0x5678"));
  EXPECT_TRUE(session.logCodes.empty());
}

TEST_F(ConfigurationTest, SectionNamesInAnotherLetterCaseAreIgnored) {
  ASSERT_TRUE(LoadText("<logcodes>0x1234</logcodes><LOGCODES>0x5678</LOGCODES>"));
  EXPECT_TRUE(session.logCodes.empty());
}

TEST_F(ConfigurationTest, TwoEventIdsSectionsContributeTheUnionOfTheirItems) {
  ASSERT_TRUE(LoadText("<EventIDs>256,257</EventIDs> and <EventIDs>257,258</EventIDs>"));
  EXPECT_EQ(session.eventIds, (EventIdSet{256, 257, 258}));
}

TEST_F(ConfigurationTest, AFileWhoseOnlySectionIsOtaTypesEnablesNoLogCode) {
  ASSERT_TRUE(LoadText("<OTATypes>412F</OTATypes>"));
  EXPECT_TRUE(session.logCodes.empty());
}

TEST_F(ConfigurationTest, OneMalformedMessageLevelEmptiesTheWholeListAndIsNotReported) {
  cPrinted printed;
  ASSERT_TRUE(LoadText("<MessageLevels>5000/3,18</MessageLevels><EventIDs>1</EventIDs>"));
  EXPECT_EQ(printed.Take(), "");
  EXPECT_TRUE(session.messageLevels.empty());
  EXPECT_EQ(session.eventIds, EventIdSet{1});
}

TEST_F(ConfigurationTest, AMissingConfigurationFileLeavesAZeroLengthCaptureFileBehind) {
  WriteFileText(capturePath, "an earlier capture");
  cPrinted printed;
  EXPECT_FALSE(LoadConfiguration(session, capturePath.c_str(), configPath.c_str()));
  EXPECT_EQ(printed.Take(), "");
  ASSERT_TRUE(std::filesystem::exists(capturePath));
  EXPECT_EQ(std::filesystem::file_size(capturePath), 0U);
  EXPECT_FALSE(session.capturing);
}

TEST_F(ConfigurationTest, ACaptureFileThatCannotBeCreatedLeavesNothingBehind) {
  WriteFileText(configPath, "<EventIDs>256</EventIDs>");
  const std::string outputPath = folder.Path("missing/capture.isf");
  EXPECT_FALSE(LoadConfiguration(session, outputPath.c_str(), configPath.c_str()));
  EXPECT_FALSE(std::filesystem::exists(outputPath));
  EXPECT_TRUE(session.eventIds.empty());
  EXPECT_FALSE(session.capturing);
}

TEST_F(ConfigurationTest, ANullOutputPathIsRefused) {
  WriteFileText(configPath, "");
  EXPECT_FALSE(LoadConfiguration(session, nullptr, configPath.c_str()));
  EXPECT_FALSE(session.capturing);
}

TEST_F(ConfigurationTest, AnExistingCaptureFileIsTruncated) {
  WriteFileText(capturePath, std::string(100'000, 'x'));
  ASSERT_TRUE(LoadText(""));
  session.Close();
  EXPECT_LT(std::filesystem::file_size(capturePath), 100'000U);
  EXPECT_EQ(Items(), std::vector<sFileItem>{InformationItem()});
}

TEST_F(ConfigurationTest, TheCaptureFileIsBinary) {
  ASSERT_TRUE(LoadText("<LogCodes>1234</LogCodes>"));
  // A packet with every byte that a text file could change.
  const cBufferReference packet(
      std::make_unique<sSharedBuffer>("\x79\x0A\x0D\x0A\x1A\x00", 6, kOriginDevice));
  ASSERT_EQ(session.AddItem(packet.Get(), kAutomaticType), 0U);
  EXPECT_EQ(Items().back().packet, (ByteVector{0x79, 0x0A, 0x0D, 0x0A, 0x1A, 0x00}));
}

TEST_F(ConfigurationTest, OtherProcessesMayWriteTheGrowingCaptureFile) {
  ASSERT_TRUE(LoadText(""));
  std::fstream other(capturePath, std::ios::in | std::ios::out | std::ios::binary);
  EXPECT_TRUE(other.is_open());
}

TEST_F(ConfigurationTest, ALongFileIsReadWhole) {
  std::string text(1'000'000, '.');
  text += "<EventIDs>256</EventIDs>";
  ASSERT_TRUE(LoadText(text));
  EXPECT_EQ(session.eventIds, EventIdSet{256});
}

TEST_F(ConfigurationTest, AnyByteMayStandOutsideTheSections) {
  std::string text;
  for (int byte = 0; byte < 256; ++byte) {
    if (byte != 0x1A) {
      text += static_cast<char>(byte);
    }  // ends a text file on Windows
  }
  ASSERT_TRUE(LoadText(text + "<EventIDs>256</EventIDs>" + text));
  EXPECT_EQ(session.eventIds, EventIdSet{256});
}

TEST_F(ConfigurationTest, WithoutMemoryNoCaptureStartsOrItStartsAndNothingIsThrown) {
  constexpr std::string_view kText =
      "<LogCodes>0x1234</LogCodes><EventIDs>256</EventIDs><OTATypes>412F</OTATypes>"
      "<MessageLevels>18/2</MessageLevels>";
  WriteFileText(configPath, kText);
  std::uint32_t refused = 0;
  for (std::uint32_t nth = 1;; ++nth) {
    session.Close();
    session.capturing = false;
    const cPrinted printed;
    cAllocationFailure failure(eHeap::New, nth);
    const bool started = LoadConfiguration(session, capturePath.c_str(), configPath.c_str());
    if (!failure.Disarm()) {
      EXPECT_TRUE(started);
      break;
    }
    EXPECT_EQ(started, session.capturing);
    refused += started ? 0 : 1;
  }
  EXPECT_GT(refused, 10U);
}

}  // namespace
}  // namespace corvane
