#include <gtest/gtest.h>

#include "capture/session_fixture.h"
#include "control/configuration.h"

namespace corvane {
namespace {

// What Windows has no file for.
using ConfigurationPosixTest = cSessionTest;

// A folder can be opened, and then reading it fails. On Windows the opening fails.
TEST_F(ConfigurationPosixTest, TheTextEndsWhereReadingFails) {
  const std::string configPath = folder.Path("");
  ASSERT_TRUE(LoadConfiguration(session, capturePath.c_str(), configPath.c_str()));
  EXPECT_TRUE(session.logCodes.empty());
  EXPECT_EQ(Items().size(), 1U);
}

TEST_F(ConfigurationPosixTest, ACaptureFileThatTakesNoBytesIsReportedByStartCapture) {
  const std::string configPath = folder.Path("capture.cfg");
  WriteFileText(configPath, "<EventIDs>256</EventIDs>");
  cPrinted printed;
  EXPECT_FALSE(LoadConfiguration(session, "/dev/full", configPath.c_str()));
  EXPECT_EQ(printed.Take(), "Unable to write info string\n");
  EXPECT_FALSE(session.capturing);
}

}  // namespace
}  // namespace corvane
