#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include "fuzz/file_script.h"
#include "reader/capture_builder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace corvane {
namespace {

[[nodiscard]] std::map<std::string, ByteVector> Corpus() {
  std::map<std::string, ByteVector> corpus;
  for (const auto& entry : std::filesystem::directory_iterator(CORVANE_READER_CORPUS)) {
    std::ifstream file(entry.path(), std::ios::binary);
    corpus[entry.path().filename().string()] =
        ByteVector(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  return corpus;
}

[[nodiscard]] ByteVector FileOf(const ByteVector& script) {
  cFileScript steps(script);
  while (steps.Advance()) {
    continue;
  }
  return steps.File();
}

TEST(FuzzCorpusTest, EveryInputIsReadWithoutHarm) {
  const auto corpus = Corpus();
  EXPECT_GE(corpus.size(), 5U);
  for (const auto& [name, script] : corpus) {
    SCOPED_TRACE(name);
    EXPECT_EQ(LLVMFuzzerTestOneInput(script.data(), script.size()), 0);
  }
}

TEST(FuzzCorpusTest, TheFuzzerStartsFromGoodFiles) {
  auto corpus = Corpus();
  const std::map<std::string, std::uint64_t> closed = {
      {"every-item-closed", 10}, {"no-items", 0}, {"two-blocks", 8193}};
  for (const auto& [name, items] : closed) {
    const sOpened opened = OpenBytes(FileOf(corpus[name]));
    ASSERT_NE(opened.file, nullptr) << name;
    EXPECT_TRUE(opened.file->IsComplete()) << name;
    EXPECT_EQ(opened.file->ItemCount(), items) << name;
  }
  const std::map<std::string, std::uint64_t> unclosed = {{"every-item-unclosed", 10},
                                                         {"growing", 1}};
  for (const auto& [name, items] : unclosed) {
    const sOpened opened = OpenBytes(FileOf(corpus[name]));
    ASSERT_NE(opened.file, nullptr) << name;
    EXPECT_EQ(opened.file->State(), eCaptureState::Unclosed) << name;
    EXPECT_EQ(opened.file->ItemCount(), items) << name;
  }
}

TEST(FileScriptTest, AFileBecomesAScriptAndAFileAgain) {
  ByteVector file = Hex("01 00 00 02 00 00 00 00 00 03");
  file.resize(70'000);
  file.insert(file.end(), 1000, 0x55);
  EXPECT_EQ(FileOf(ScriptOf(file)), file);
  EXPECT_LT(ScriptOf(file).size(), 1100U);
  EXPECT_TRUE(ScriptOf({}).empty());
}

TEST(FileScriptTest, StepsThatAreCutOffEndTheScript) {
  EXPECT_EQ(FileOf(Hex("00 AA 02 BB CC")), Hex("AA"));
  EXPECT_EQ(FileOf(Hex("00 AA 80 01")), Hex("AA"));
  EXPECT_EQ(FileOf(Hex("00 AA 83 00 00 00 00 01 02 03 04 05 06 07")), Hex("AA"));
  EXPECT_EQ(FileOf(Hex("83 00 00 00 00 01 02 03 04 05 06 07 08 00 AA")), Hex("AA"));
  EXPECT_EQ(FileOf(Hex("01 AA BB 83 00 00 00 00 01 02 03 04 05 06 07 08 FF")), Hex("07 08"));
}

TEST(FileScriptTest, AScriptStopsAtEveryStepThatReadsTheFile) {
  const ByteVector script = Hex("82 00 AA 82 82 00 BB");
  cFileScript steps(script);
  for (const std::size_t size : {0U, 1U, 1U, 2U}) {
    EXPECT_TRUE(steps.Advance());
    EXPECT_EQ(steps.File().size(), size);
  }
  EXPECT_FALSE(steps.Advance());
}

}  // namespace
}  // namespace corvane
