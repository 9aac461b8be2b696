#include "corvane/making/new_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <tuple>

#include "support/bytes.h"
#include "support/temp_directory.h"

namespace corvane::tools {
namespace {

const ByteVector kOld = {'o', 'l', 'd'};

class NewFileTest : public ::testing::Test {
 protected:
  void WriteNew(const cNewFile& file) const {
    std::ofstream(file.WritePath(), std::ios::binary) << "new";
  }
  [[nodiscard]] std::string Content() const {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  [[nodiscard]] bool IsAlone() const {
    return std::distance(std::filesystem::directory_iterator(folder.Path("")), {}) == 1;
  }

  cTempDirectory folder;
  const std::string path = folder.Path("made");
};

TEST_F(NewFileTest, AFileGetsItsNameWhenItIsComplete) {
  cNewFile file(path, false);
  ASSERT_EQ(file.Begin(), std::nullopt);
  WriteNew(file);
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_EQ(std::filesystem::path(file.WritePath()).parent_path(),
            std::filesystem::path(path).parent_path());
  EXPECT_EQ(file.Complete(), std::nullopt);
  EXPECT_EQ(Content(), "new");
  EXPECT_TRUE(IsAlone());
}

TEST_F(NewFileTest, OfAFileThatIsNotCompletedNothingIsLeft) {
  {
    cNewFile file(path, false);
    ASSERT_EQ(file.Begin(), std::nullopt);
    WriteNew(file);
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path("")));
}

TEST_F(NewFileTest, TheReplacedFileStaysUntilTheNewOneIsComplete) {
  std::ignore = folder.Write("made", kOld);
  cNewFile file(path, true);
  ASSERT_EQ(file.Begin(), std::nullopt);
  WriteNew(file);
  EXPECT_EQ(Content(), "old");
  EXPECT_EQ(file.Complete(), std::nullopt);
  EXPECT_EQ(Content(), "new");
  EXPECT_TRUE(IsAlone());
}

TEST_F(NewFileTest, AFileThatIsThereIsNotReplacedUnasked) {
  std::ignore = folder.Write("made", kOld);
  cNewFile file(path, false);
  EXPECT_EQ(file.Begin(), path + " is there already; --overwrite replaces it");
}

TEST_F(NewFileTest, AFileThatSomeoneElseMadeMeanwhileStays) {
  {
    cNewFile file(path, false);
    ASSERT_EQ(file.Begin(), std::nullopt);
    WriteNew(file);
    std::ignore = folder.Write("made", kOld);
    EXPECT_EQ(file.Complete(), path + " is there already; --overwrite replaces it");
  }
  EXPECT_EQ(Content(), "old");
  EXPECT_TRUE(IsAlone());
}

TEST_F(NewFileTest, TwoFilesOfOneNameAreWrittenApart) {
  cNewFile one(path, true);
  ASSERT_EQ(one.Begin(), std::nullopt);
  WriteNew(one);
  cNewFile other(path, true);
  ASSERT_EQ(other.Begin(), std::nullopt);
  EXPECT_NE(one.WritePath(), other.WritePath());
}

TEST_F(NewFileTest, AnEndFromOutsideRemovesWhatIsOpen) {
  cNewFile file(path, false);
  ASSERT_EQ(file.Begin(), std::nullopt);
  std::ofstream stream(file.WritePath(), std::ios::binary);
  stream << "half" << std::flush;
  ASSERT_TRUE(std::filesystem::exists(file.WritePath()));
  RemoveUnfinishedFiles();
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path("")));
}

TEST_F(NewFileTest, AnEndFromOutsideLeavesWhatIsComplete) {
  cNewFile file(path, false);
  ASSERT_EQ(file.Begin(), std::nullopt);
  WriteNew(file);
  ASSERT_EQ(file.Complete(), std::nullopt);
  RemoveUnfinishedFiles();
  EXPECT_EQ(Content(), "new");
}

TEST_F(NewFileTest, AFolderIsNoFile) {
  cNewFile file(folder.Path(""), true);
  EXPECT_EQ(file.Begin(), folder.Path("") + " is a folder");
}

TEST_F(NewFileTest, AFileThatIsGoneCannotBeCompleted) {
  cNewFile file(path, false);
  ASSERT_EQ(file.Begin(), std::nullopt);
  std::filesystem::remove(file.WritePath());
  const auto obstacle = file.Complete();
  ASSERT_TRUE(obstacle);
  EXPECT_TRUE(obstacle->starts_with(path + " could not be given its name: "));
}

}  // namespace
}  // namespace corvane::tools
