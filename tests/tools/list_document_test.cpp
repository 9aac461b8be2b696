#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "convert/memory_sink.h"
#include "corvane/reading/reading_commands.h"
#include "reader/capture_builder.h"
#include "support/temp_directory.h"

namespace corvane::tools {
namespace {

// The fenced blocks of docs/capture-format.md, without their fences.
[[nodiscard]] std::vector<std::string> DocumentBlocks() {
  std::ifstream document(CORVANE_CAPTURE_FORMAT_DOCUMENT);
  EXPECT_TRUE(document.is_open());
  std::vector<std::string> blocks;
  bool inside = false;
  for (std::string line; std::getline(document, line);) {
    if (line == "```") {
      inside = !inside;
      if (inside) {
        blocks.emplace_back();
      }
    } else if (inside) {
      blocks.back() += line + "\n";
    }
  }
  return blocks;
}

// The bytes of the worked example. Every line that has any must stand at the position it claims.
[[nodiscard]] ByteVector BytesOf(const std::string& listing) {
  const std::regex bytesLine(R"(([0-9A-F]{8})  ((?:[0-9A-F]{2} )*[0-9A-F]{2})(?:  .*)?)");
  const std::regex zerosLine(R"(([0-9A-F]{8})  00 \* ([0-9]+)(?:  .*)?)");
  const std::regex remark(R"((?:                                   .*)?)");
  ByteVector file;
  std::istringstream lines(listing);
  for (std::string line; std::getline(lines, line);) {
    std::smatch match;
    if (std::regex_match(line, remark)) {
      continue;
    }
    const bool zeros = std::regex_match(line, match, zerosLine);
    if (!zeros && !std::regex_match(line, match, bytesLine)) {
      ADD_FAILURE() << "a line that cannot be read: " << line;
      continue;
    }
    EXPECT_EQ(std::stoul(match[1], nullptr, 16), file.size()) << line;
    const ByteVector bytes = zeros ? ByteVector(std::stoul(match[2])) : Hex(match[2].str());
    file.insert(file.end(), bytes.begin(), bytes.end());
  }
  return file;
}

TEST(CaptureFormatDocumentTest, TheWorkedExampleIsAFileOfTheItemsSaidThere) {
  const std::vector<std::string> blocks = DocumentBlocks();
  ASSERT_EQ(blocks.size(), 2U);
  const ByteVector file = BytesOf(blocks[0]);
  EXPECT_EQ(file.size(), 57474U);
  const cTempDirectory folder;
  sListRequest request;
  request.showing.path = folder.Write("example.isf", file);
  cMemorySink out;
  std::ostringstream errors;
  EXPECT_EQ(ListItems(request, out, errors), 0);
  EXPECT_EQ(errors.str(), "");
  EXPECT_EQ(std::string(out.Bytes().begin(), out.Bytes().end()), blocks[1]);
}

TEST(CaptureFormatDocumentTest, TheWorkedExampleIsWhatTheRulesMakeOfItsItems) {
  const std::vector<std::string> blocks = DocumentBlocks();
  ASSERT_EQ(blocks.size(), 2U);
  cCaptureBuilder builder;
  builder.Add({7, 13'360'420'800'000, TextItem("Corvane version 1.0"), {}});
  builder.Add({10, 13'360'420'800'020, Hex("4B 0F 00 00"), {}});
  builder.Add({8, 13'360'420'800'300,
               Hex("10 00 12 00 12 00 2F 41 00 00 F0 E8 5C C4 04 01 02 00 02 00 31 42"), 0xA1B2});
  EXPECT_EQ(BytesOf(blocks[0]), builder.Closed());
}

}  // namespace
}  // namespace corvane::tools
