#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "corvane/capture/output_file.h"
#include "corvane/making/new_file.h"
#include "reader/markers.h"
#include "support/temp_directory.h"

// Links under the names of what is made. Wine cannot make any.
namespace corvane::tools {
namespace {

namespace fs = std::filesystem;

class OutputLinksTest : public testing::Test {
 protected:
  OutputLinksTest() { std::ofstream(precious) << "precious"; }

  void ExpectNothingElsewhere() const {
    EXPECT_EQ(fs::file_size(precious), 8U);
    EXPECT_FALSE(fs::exists(nowhere));
  }

  cTempDirectory folder;
  const std::string path = folder.Path("drive.isf");
  const std::string precious = folder.Path("precious");
  const std::string nowhere = folder.Path("nowhere");
};

TEST_F(OutputLinksTest, ACaptureIsNotRecordedWhereALinkLeads) {
  fs::create_symlink(nowhere, path);
  cOutputFile refused(path, false);
  EXPECT_EQ(refused.Begin(), path + " is there already; --overwrite replaces it");
  {
    cOutputFile file(path, true);
    ASSERT_EQ(file.Begin(), std::nullopt);
    EXPECT_EQ(file.WritePath(), path + ".part");
    ExpectNothingElsewhere();
    EXPECT_EQ(file.Keep(), std::nullopt);
  }
  EXPECT_FALSE(fs::is_symlink(path));
  ExpectNothingElsewhere();
}

TEST_F(OutputLinksTest, ALinkToMarkersRefusesACapture) {
  fs::create_symlink(nowhere, MarkerPath(path));
  cOutputFile file(path, false);
  EXPECT_EQ(file.Begin(), MarkerPath(path) + " is there already; --overwrite replaces it");
}

TEST_F(OutputLinksTest, PlantedLinksArePassedOver) {
  std::ofstream(path) << "old";
  fs::create_symlink(precious, path + ".part");
  fs::create_symlink(nowhere, path + ".part2");
  fs::create_symlink(nowhere, MarkerPath(path + ".part3"));
  {
    cOutputFile file(path, true);
    ASSERT_EQ(file.Begin(), std::nullopt);
    EXPECT_EQ(file.WritePath(), path + ".part4");
  }
  cNewFile file(path, true);
  ASSERT_EQ(file.Begin(), std::nullopt);
  EXPECT_EQ(file.WritePath(), path + ".part3");
  ExpectNothingElsewhere();
}

TEST_F(OutputLinksTest, ALinkThatIsToBeReplacedLeadsNowhere) {
  for (const std::string& target : {precious, nowhere, folder.Path("")}) {
    fs::create_symlink(target, path);
    cNewFile refused(path, false, cNewFile::eLinks::Replaced);
    EXPECT_EQ(refused.Begin(), path + " is there already; --overwrite replaces it");
    cNewFile file(path, true, cNewFile::eLinks::Replaced);
    ASSERT_EQ(file.Begin(), std::nullopt);
    std::ofstream(file.WritePath()) << "new";
    EXPECT_EQ(file.Complete(), std::nullopt);
    EXPECT_FALSE(fs::is_symlink(path));
    ExpectNothingElsewhere();
    fs::remove(path);
  }
}

}  // namespace
}  // namespace corvane::tools
