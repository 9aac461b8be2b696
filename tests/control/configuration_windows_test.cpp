#include <gtest/gtest.h>

#include "capture/session_fixture.h"
#include "control/configuration.h"

namespace corvane {
namespace {

// What only Windows does with a file that is read as text.
using ConfigurationWindowsTest = cSessionTest;

TEST_F(ConfigurationWindowsTest, OnWindowsAControlZEndsTheText) {
  const std::string configPath = folder.Path("capture.cfg");
  WriteFileText(configPath, "<EventIDs>1</EventIDs>\x1A<EventIDs>2</EventIDs>");
  ASSERT_TRUE(LoadConfiguration(session, capturePath.c_str(), configPath.c_str()));
  EXPECT_EQ(session.eventIds, EventIdSet{1});
}

}  // namespace
}  // namespace corvane
