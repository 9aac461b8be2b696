#include "platform/files.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "support/temp_directory.h"

namespace corvane {
namespace {

class FilesTest : public ::testing::Test {
 protected:
  [[nodiscard]] std::string Text(const std::string& name) const {
    std::ifstream file(folder.Path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  void Write(const std::string& name, const std::string& text) const {
    std::ofstream(folder.Path(name), std::ios::binary) << text;
  }

  cTempDirectory folder;
};

TEST_F(FilesTest, ANewFileIsMadeEmpty) {
  EXPECT_EQ(MakeNewFile(folder.Path("made")), eMaking::Made);
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path("made")));
}

TEST_F(FilesTest, AFileThatIsThereStays) {
  Write("there", "old");
  EXPECT_EQ(MakeNewFile(folder.Path("there")), eMaking::NameIsTaken);
  EXPECT_EQ(Text("there"), "old");
}

TEST_F(FilesTest, AFileInAFolderThatIsNotThereFails) {
  errno = 0;
  EXPECT_EQ(MakeNewFile(folder.Path("missing/made")), eMaking::Failed);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(FilesTest, BytesGoBehindThoseOfAFile) {
  EXPECT_TRUE(AppendToFile(folder.Path("made"), "one"));
  EXPECT_TRUE(AppendToFile(folder.Path("made"), "two"));
  EXPECT_EQ(Text("made"), "onetwo");
}

TEST_F(FilesTest, NothingIsAppendedToAFolder) {
  EXPECT_FALSE(AppendToFile(folder.Path(""), "text"));
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path("")));
}

}  // namespace
}  // namespace corvane
