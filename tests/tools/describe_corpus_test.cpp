#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "support/bytes.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace corvane {
namespace {

// What the fuzzer starts from (fuzz/describe_fuzzer.cpp), described once by every build, whole and
// cut off anywhere.
TEST(DescribeCorpusTest, EveryInputIsDescribedWithoutHarm) {
  std::size_t inputs = 0;
  for (const auto& entry : std::filesystem::directory_iterator(CORVANE_DESCRIBE_CORPUS)) {
    SCOPED_TRACE(entry.path().filename().string());
    std::ifstream file(entry.path(), std::ios::binary);
    const ByteVector input((std::istreambuf_iterator<char>(file)),
                           std::istreambuf_iterator<char>());
    for (std::size_t size = 0; size <= input.size(); ++size) {
      EXPECT_EQ(LLVMFuzzerTestOneInput(input.data(), size), 0);
    }
    ++inputs;
  }
  EXPECT_GE(inputs, 100U);
}

}  // namespace
}  // namespace corvane
