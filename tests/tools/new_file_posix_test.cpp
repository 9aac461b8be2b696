// What stands at the name of a new file may be a link; Wine makes none.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

#include "corvane/making/new_file.h"
#include "support/temp_directory.h"

namespace corvane::tools {
namespace {

class LinkedNewFileTest : public ::testing::Test {
 protected:
  cTempDirectory folder;
  const std::string path = folder.Path("made");
};

TEST_F(LinkedNewFileTest, ALinkThatLeadsNowhereIsNotReplacedUnasked) {
  std::filesystem::create_symlink(folder.Path("missing"), path);
  cNewFile refused(path, false);
  EXPECT_EQ(refused.Begin(), path + " is there already; --overwrite replaces it");
  cNewFile file(path, true);
  ASSERT_EQ(file.Begin(), std::nullopt);
  std::ofstream(file.WritePath(), std::ios::binary) << "new";
  ASSERT_EQ(file.Complete(), std::nullopt);
  std::ifstream made(path, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(made), {}), "new");
}

TEST_F(LinkedNewFileTest, ALinkToItselfIsNotReplacedUnasked) {
  std::filesystem::create_symlink(path, path);
  cNewFile file(path, false);
  EXPECT_EQ(file.Begin(), path + " is there already; --overwrite replaces it");
}

}  // namespace
}  // namespace corvane::tools
