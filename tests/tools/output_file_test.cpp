#include "corvane/capture/output_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "reader/markers.h"
#include "support/temp_directory.h"

namespace corvane::tools {
namespace {

constexpr std::uint64_t kTime = 13'360'429'805'000;  // 2024-05-17T14:30:05Z

TEST(OutputNameTest, PlaceholdersStandForTimeAndDevice) {
  EXPECT_EQ(ExpandName("{device}_{date}_{time}.isf", kTime, "COM7"),
            "COM7_2024-05-17_14-30-05.isf");
  EXPECT_EQ(ExpandName("drives/{date}/{date}.isf", kTime, "COM7"),
            "drives/2024-05-17/2024-05-17.isf");
  EXPECT_EQ(ExpandName("drive.isf", kTime, "COM7"), "drive.isf");
}

TEST(OutputNameTest, WhatAFileNameCannotHoldBecomesAHyphen) {
  EXPECT_EQ(ExpandName("{device}.isf", kTime, "QMBE:{5A1B9A3C-61F0}"), "QMBE-{5A1B9A3C-61F0}.isf");
  EXPECT_EQ(ExpandName("{device}", kTime, "a<b>c:d\"e/f\\g|h?i*j\x1Fk"), "a-b-c-d-e-f-g-h-i-j-k");
}

TEST(OutputNameTest, ADeviceThatWouldBeReservedGetsAHyphen) {
  EXPECT_EQ(ExpandName("{device}.isf", kTime, "COM7"), "COM7-.isf");
  EXPECT_EQ(ExpandName("x/{device}", kTime, "COM7"), "x/COM7-");
  EXPECT_EQ(ExpandName("{device}.{date}.isf", kTime, "COM7"), "COM7-.2024-05-17.isf");
  EXPECT_EQ(ExpandName("{device}.isf", kTime, "COM12"), "COM12.isf");
  EXPECT_EQ(ExpandName("{device}_1.isf", kTime, "COM7"), "COM7_1.isf");
}

TEST(OutputNameTest, ABraceWithoutItsPartnerIsText) {
  EXPECT_EQ(FindWrongPlaceholder("a}b{c"), std::nullopt);
  EXPECT_EQ(ExpandName("a}b{c", kTime, "COM7"), "a}b{c");
}

TEST(OutputNameTest, OtherPlaceholdersAreWrong) {
  EXPECT_EQ(FindWrongPlaceholder("{date}{time}{device}"), std::nullopt);
  EXPECT_EQ(FindWrongPlaceholder("{date}{Time}.isf"),
            "{Time} is none of {date}, {time} and {device}");
  EXPECT_EQ(FindWrongPlaceholder("{}"), "{} is none of {date}, {time} and {device}");
}

TEST(OutputNameTest, ANameTellsWhetherItNeedsTheDevice) {
  EXPECT_TRUE(NamesDevice("x/{device}.isf"));
  EXPECT_FALSE(NamesDevice("device{date}.isf"));
}

class OutputFileTest : public testing::Test {
 protected:
  [[nodiscard]] static std::string Text(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  static void Write(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
  }
  // How many files the folder has.
  [[nodiscard]] std::ptrdiff_t Count() const {
    return std::distance(
        std::filesystem::directory_iterator(std::filesystem::path(path).parent_path()), {});
  }

  cTempDirectory folder;
  std::string path = folder.Path("drive.isf");
};

TEST_F(OutputFileTest, ANewFileIsWrittenUnderItsName) {
  cOutputFile file(path, false);
  ASSERT_EQ(file.Begin(), std::nullopt);
  EXPECT_EQ(file.WritePath(), path);
  EXPECT_FALSE(file.Replaces());
  Write(path, "new");
  EXPECT_EQ(file.Keep(), std::nullopt);
  EXPECT_EQ(Text(path), "new");
}

TEST_F(OutputFileTest, WhatIsNotKeptLeavesNothing) {
  {
    cOutputFile file(path, false);
    ASSERT_EQ(file.Begin(), std::nullopt);
    EXPECT_TRUE(std::filesystem::exists(path));
    Write(MarkerPath(path), "marker");
  }
  EXPECT_EQ(Count(), 0);
}

TEST_F(OutputFileTest, AFileThatIsThereIsRefused) {
  Write(path, "old");
  {
    cOutputFile file(path, false);
    EXPECT_EQ(file.Begin(), path + " is there already; --overwrite replaces it");
  }
  EXPECT_EQ(Text(path), "old");
}

TEST_F(OutputFileTest, MarkersOfAFileThatIsGoneAreRefusedToo) {
  Write(MarkerPath(path), "old");
  cOutputFile file(path, false);
  EXPECT_EQ(file.Begin(), MarkerPath(path) + " is there already; --overwrite replaces it");
}

TEST_F(OutputFileTest, AReplacedFileStaysUntilTheNewOneIsKept) {
  Write(path, "old");
  Write(MarkerPath(path), "old marker");
  cOutputFile file(path, true);
  ASSERT_EQ(file.Begin(), std::nullopt);
  EXPECT_EQ(file.WritePath(), path + ".part");
  EXPECT_TRUE(file.Replaces());
  Write(file.WritePath(), "new");
  EXPECT_EQ(Text(path), "old");
  EXPECT_EQ(file.Keep(), std::nullopt);
  EXPECT_EQ(Text(path), "new");
  EXPECT_EQ(Count(), 1);  // the old markers are gone
}

TEST_F(OutputFileTest, TheNewMarkersComeWithTheNewFile) {
  Write(path, "old");
  Write(MarkerPath(path), "old marker");
  cOutputFile file(path, true);
  ASSERT_EQ(file.Begin(), std::nullopt);
  Write(MarkerPath(file.WritePath()), "new marker");
  EXPECT_EQ(file.Keep(), std::nullopt);
  EXPECT_EQ(Text(MarkerPath(path)), "new marker");
  EXPECT_EQ(Count(), 2);
}

TEST_F(OutputFileTest, AReplacementThatIsNotKeptChangesNothing) {
  Write(path, "old");
  {
    cOutputFile file(path, true);
    ASSERT_EQ(file.Begin(), std::nullopt);
  }
  EXPECT_EQ(Text(path), "old");
  EXPECT_EQ(Count(), 1);
}

TEST_F(OutputFileTest, AReplacementThatIsNotWholeIsKeptApart) {
  Write(path, "old");
  {
    cOutputFile file(path, true);
    ASSERT_EQ(file.Begin(), std::nullopt);
    Write(file.WritePath(), "half");
    file.KeepApart();
  }
  EXPECT_EQ(Text(path), "old");
  EXPECT_EQ(Text(path + ".part"), "half");
}

TEST_F(OutputFileTest, WhatAnEarlierCaptureHasLeftIsNotTouched) {
  Write(path, "old");
  Write(path + ".part", "left");
  Write(MarkerPath(path + ".part2"), "left too");
  cOutputFile file(path, true);
  ASSERT_EQ(file.Begin(), std::nullopt);
  EXPECT_EQ(file.WritePath(), path + ".part3");
}

TEST_F(OutputFileTest, AFileThatCannotBeReplacedStaysBesideTheNewOne) {
  Write(path, "old");
  cOutputFile file(path, true);
  ASSERT_EQ(file.Begin(), std::nullopt);
  Write(file.WritePath(), "new");
  // A folder cannot be replaced by a file.
  std::filesystem::remove(path);
  std::filesystem::create_directory(path);
  Write(folder.Path("drive.isf/inside"), "");
  const auto problem = file.Keep();
  ASSERT_TRUE(problem);
  EXPECT_NE(problem->find("; the capture is " + path + ".part"), std::string::npos) << *problem;
  EXPECT_EQ(Text(path + ".part"), "new");
}

// Two captures that replace one file: the first to end takes its place.
TEST_F(OutputFileTest, AnotherCaptureThatTookThePlaceIsNotReplaced) {
  Write(path, "old");
  cOutputFile one(path, true);
  cOutputFile other(path, true);
  ASSERT_EQ(one.Begin(), std::nullopt);
  ASSERT_EQ(other.Begin(), std::nullopt);
  EXPECT_EQ(other.WritePath(), path + ".part2");
  Write(one.WritePath(), "the first");
  Write(other.WritePath(), "the second one");
  EXPECT_EQ(one.Keep(), std::nullopt);
  EXPECT_EQ(other.Keep(), path + " is no longer the file that was to be replaced; the capture is " +
                              path + ".part2");
  EXPECT_EQ(Text(path), "the first");
  EXPECT_EQ(Text(path + ".part2"), "the second one");
}

TEST_F(OutputFileTest, AFileThatIsGoneNeedNotBeReplaced) {
  Write(path, "old");
  cOutputFile file(path, true);
  ASSERT_EQ(file.Begin(), std::nullopt);
  Write(file.WritePath(), "new");
  std::filesystem::remove(path);
  EXPECT_EQ(file.Keep(), std::nullopt);
  EXPECT_EQ(Text(path), "new");
}

TEST_F(OutputFileTest, AFolderAndAMissingFolderAreRefused) {
  std::filesystem::create_directory(path);
  cOutputFile onFolder(path, true);
  EXPECT_EQ(onFolder.Begin(), "the capture file " + path + " is a folder");
  cOutputFile nowhere(folder.Path("missing/drive.isf"), false);
  EXPECT_EQ(nowhere.Begin(), "the capture file " + folder.Path("missing/drive.isf") +
                                 " cannot be written: No such file or directory");
}

TEST_F(OutputFileTest, NamesMayHaveAnyLetters) {
  const std::string name = folder.Path("\xD0\xBF\xD0\xBE\xD0\xB5\xD0\xB7\xD0\xB4 \xE6\x97\xA5.isf");
  Write(name, "old");
  cOutputFile refused(name, false);
  EXPECT_NE(refused.Begin(), std::nullopt);
  cOutputFile file(name, true);
  ASSERT_EQ(file.Begin(), std::nullopt);
  Write(file.WritePath(), "new");
  EXPECT_EQ(file.Keep(), std::nullopt);
  EXPECT_EQ(Text(name), "new");
}

TEST_F(OutputFileTest, NamesOfOlderPiecesArePassedOver) {
  Write(path, "old");
  Write(path + ".part", "half");
  Write(MarkerPath(path + ".part2"), "marker");
  cOutputFile file(path, true);
  ASSERT_EQ(file.Begin(), std::nullopt);
  EXPECT_EQ(file.WritePath(), path + ".part3");
  EXPECT_TRUE(std::filesystem::exists(path + ".part3"));
  EXPECT_EQ(Text(path + ".part"), "half");
}

}  // namespace
}  // namespace corvane::tools
