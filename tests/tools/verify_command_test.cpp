#include "corvane/reading/verify_command.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "convert/memory_sink.h"
#include "corvane/command/command_line.h"
#include "corvane/reading/capture_statistics.h"
#include "corvane/reading/reading_commands.h"
#include "reader/capture_builder.h"
#include "support/temp_directory.h"

namespace corvane::tools {
namespace {

using nlohmann::json;

struct sResult {
  int code = 0;
  std::string out;
  std::string errors;

  [[nodiscard]] std::vector<json> Objects() const {
    std::vector<json> objects;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
      objects.push_back(json::parse(line));
    }
    return objects;
  }
};

[[nodiscard]] sResult Verify(const sVerifyFiles& request) {
  std::ostringstream out;
  std::ostringstream errors;
  const int code = VerifyFiles(request, out, errors);
  return {code, out.str(), errors.str()};
}

class VerifyCommandTest : public testing::Test {
 protected:
  const cTempDirectory folder;
  const std::string good = folder.Write("good.isf", SmallCapture().Closed());
  const std::string unclosed = folder.Write("unclosed.isf", SmallCapture().Unclosed());
  // Entries 1 and 2 have length 0.
  const std::string bad = folder.Write(
      "bad.isf", With(With(SmallCapture().Closed(), 4 + 7 + 5, 0, 2), 4 + 14 + 5, 0, 2));
};

TEST_F(VerifyCommandTest, ACompleteFileIsSaidToBeComplete) {
  const sResult result = Verify({.paths = {good}});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out,
            good + ": complete: 3 items, 57.4 kB (packets not looked at: --contents)\n");
  EXPECT_EQ(result.errors, "");
}

TEST_F(VerifyCommandTest, PacketsThatWereLookedAtNeedNoWord) {
  cCaptureBuilder builder;
  builder.Add({7, kNoon, TextItem("a text"), {}});
  const std::string sound = folder.Write("sound.isf", builder.Closed());
  EXPECT_EQ(Verify({.paths = {sound}, .contents = true}).out,
            sound + ": complete: 1 item, 57.4 kB\n");
  const auto objects = Verify({.paths = {sound}, .contents = true, .json = true}).Objects();
  ASSERT_EQ(objects.size(), 1U);
  EXPECT_EQ(objects[0]["contents"], true);
}

// The first of two captures that were joined had lost its last byte.
TEST_F(VerifyCommandTest, OtherReadersTellJoinedCapturesAlike) {
  ByteVector bytes = SmallCapture().Closed();
  bytes.pop_back();
  const std::string offset = std::to_string(bytes.size());
  const ByteVector second = SmallCapture().Closed();
  bytes.insert(bytes.end(), second.begin(), second.end());
  const std::string joined = folder.Write("joined.isf", bytes);
  EXPECT_EQ(Verify({.paths = {joined}}).out.find(joined + ": offset " + offset + ": "), 0U);
  const auto expect = [&](const char* command, int code, const std::ostringstream& errors) {
    EXPECT_EQ(code, kExitFailed) << command;
    EXPECT_EQ(errors.str(),
              std::string("corvane ") + command + ": " + joined +
                  ": a second capture begins here, and the first one was cut off in front "
                  "of it: files were joined, and only the first one is read, at offset " +
                  offset + '\n');
  };
  std::ostringstream out, info, deep, list, stats;
  expect("info", ShowInfo(joined, false, out, info), info);
  expect("info", ShowInfo(joined, true, out, deep), deep);
  sStatisticsRequest counted;
  counted.path = joined;
  expect("stats", ShowStatistics(counted, out, stats), stats);
  sListRequest listed;
  listed.showing.path = joined;
  cMemorySink sink;
  expect("list", ListItems(listed, sink, list), list);
}

TEST_F(VerifyCommandTest, AFileThatIsNotClosedHasACodeOfItsOwn) {
  const sResult result = Verify({.paths = {unclosed}});
  EXPECT_EQ(result.code, 3);
  EXPECT_EQ(result.out, unclosed +
                            ": not closed: 3 items, 57.4 kB; it has no block index and no trailer "
                            "(packets not looked at: --contents)\n");
}

// A capture of one block has 16 bytes of index and 16 bytes of trailer.
TEST_F(VerifyCommandTest, WhatThereIsOfTheEndOfAFileIsTold) {
  const auto verdict = [&](std::size_t cutOff) {
    ByteVector bytes = SmallCapture().Closed();
    bytes.resize(bytes.size() - cutOff);
    const sResult result = Verify({.paths = {folder.Write("cut.isf", bytes)}});
    EXPECT_EQ(result.code, 3);
    const std::size_t begin = result.out.find(';');
    return result.out.substr(begin, result.out.find(" (packets") - begin);
  };
  for (const std::size_t cutOff : {1U, 4U, 8U, 16U}) {
    EXPECT_EQ(verdict(cutOff), "; the trailer is cut off");
  }
  EXPECT_EQ(verdict(17), "; it has no block index and no trailer");
  EXPECT_EQ(verdict(32), "; it has no block index and no trailer");
}

TEST_F(VerifyCommandTest, AFileTooShortForAHeaderHasItsSize) {
  const std::string tiny = folder.Write("tiny.isf", ByteVector{8, 0x31, 0x60});
  EXPECT_NE(Verify({.paths = {tiny}}).out.find("0 items, 3 B, 1 violation"), std::string::npos);
  EXPECT_EQ(Verify({.paths = {tiny}, .json = true}).Objects().back()["bytes"], 3);
}

// The first of the files has by far the most to tell, and takes the longest.
TEST_F(VerifyCommandTest, FilesAreToldInTheOrderOfTheArguments) {
  ByteVector bytes = TwoBlocks().Closed();
  for (std::size_t item = 0; item < 8192; ++item) {
    bytes[4 + 7 * item + 5] = bytes[4 + 7 * item + 6] = 0;  // its length
  }
  const std::string worst = folder.Write("worst.isf", bytes);
  const sVerifyFiles alone{.paths = {good, worst, unclosed, worst, bad, good}};
  sVerifyFiles together = alone;
  together.jobs = 4;
  const sResult result = Verify(together);
  EXPECT_EQ(result.out, Verify(alone).out);
  EXPECT_GT(result.out.size(), std::size_t{256} * 1024);
}

TEST_F(VerifyCommandTest, EachViolationIsALineWithItsOffsetAndRule) {
  const sResult result = Verify({.paths = {bad}});
  EXPECT_EQ(result.code, 1);
  const std::string rule = "; rule packet-length: A packet has 1 to 16640 bytes\n";
  EXPECT_EQ(result.out, bad + ": offset 11: the entry of item 1 has length 0" + rule + bad +
                            ": offset 18: the entry of item 2 has length 0" + rule + bad +
                            ": damaged: 1 item, 57.4 kB, 2 violations "
                            "(packets not looked at: --contents)\n");
}

TEST_F(VerifyCommandTest, TheFirstViolationIsEnoughWhenAsked) {
  const sResult result = Verify({.paths = {bad, bad}, .onlyFirst = true});
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 4);
  EXPECT_NE(result.out.find("1 violation so far (packets "
                            "not looked at: --contents)\n"),
            std::string::npos);
}

TEST_F(VerifyCommandTest, JsonHasTheSame) {
  const sResult result = Verify({.paths = {bad, unclosed, good}, .json = true});
  EXPECT_EQ(result.code, 1);
  const std::vector<json> objects = result.Objects();
  ASSERT_EQ(objects.size(), 5U);
  EXPECT_EQ(objects[0], (json{{"file", bad},
                              {"offset", 11},
                              {"rule", "packet-length"},
                              {"problem", "the entry of item 1 has length 0"},
                              {"item", 1}}));
  EXPECT_EQ(objects[2]["verdict"], "damaged");
  EXPECT_EQ(objects[2]["violations"], 2);
  EXPECT_EQ(objects[3]["verdict"], "not closed");
  EXPECT_EQ(objects[4], (json{{"file", good},
                              {"verdict", "complete"},
                              {"contents", false},
                              {"violations", 0},
                              {"items", 3},
                              {"blocks", 1},
                              {"bytes", SmallCapture().Closed().size()}}));
}

TEST_F(VerifyCommandTest, AFileThatCannotBeOpenedFailsAndTheOthersAreLookedAt) {
  const sResult result = Verify({.paths = {folder.Path("none.isf"), good}});
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(result.out,
            good + ": complete: 3 items, 57.4 kB (packets not looked at: --contents)\n");
  EXPECT_EQ(result.errors.find("corvane verify: " + folder.Path("none.isf") + ": the file cannot"),
            0U);
}

TEST_F(VerifyCommandTest, AFileThatCannotBeOpenedIsAnObjectOfJsonToo) {
  const std::string none = folder.Path("none.isf");
  const sResult result = Verify({.paths = {none, good}, .json = true});
  EXPECT_EQ(result.code, 1);
  const std::vector<json> objects = result.Objects();
  ASSERT_EQ(objects.size(), 2U);
  EXPECT_EQ(objects[0]["file"], none);
  EXPECT_EQ(objects[0]["verdict"], "not opened");
  const std::string problem = objects[0]["problem"];
  EXPECT_EQ(problem.rfind("the file cannot be opened (", 0), 0U) << problem;
  EXPECT_EQ(objects[1]["verdict"], "complete");
  EXPECT_EQ(result.errors, "corvane verify: " + none + ": " + problem + "\n");
}

TEST_F(VerifyCommandTest, TheWorstFileDecides) {
  EXPECT_EQ(Verify({.paths = {good, unclosed, good}}).code, 3);
  EXPECT_EQ(Verify({.paths = {unclosed, bad, good}}).code, 1);
  EXPECT_EQ(Verify({.paths = {good, bad, unclosed}}).code, 1);
}

TEST_F(VerifyCommandTest, SeveralFilesAtATimeGiveTheSameLines) {
  std::vector<std::string> paths;
  for (int i = 0; i < 20; ++i) {
    paths.insert(paths.end(), {good, bad, unclosed});
  }
  const auto sorted = [](const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
      lines.push_back(line);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
  };
  const sResult one = Verify({.paths = paths, .jobs = 1});
  const sResult four = Verify({.paths = paths, .jobs = 4});
  EXPECT_EQ(four.code, 1);
  EXPECT_EQ(sorted(four.out), sorted(one.out));
}

TEST_F(VerifyCommandTest, AnOutputThatCannotBeWrittenIsAFailure) {
  std::ostringstream out;
  std::ostringstream errors;
  out.setstate(std::ios::badbit);
  EXPECT_EQ(VerifyFiles({.paths = {good}}, out, errors), 1);
  EXPECT_EQ(errors.str(), "corvane verify: the output cannot be written\n");
}

}  // namespace
}  // namespace corvane::tools
