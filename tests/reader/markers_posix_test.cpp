// Windows adds to a file in one step, as Linux does. Wine asks for the end of the file first and
// writes there, so that one of two programs that add at once may lose its line.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "reader/markers.h"
#include "support/temp_directory.h"

namespace corvane {
namespace {

TEST(Markers, OfSeveralProgramsAtOnceNeverMix) {
  const cTempDirectory folder;
  const std::string capture = folder.Path("drive.isf");
  constexpr int kWriters = 4;
  constexpr int kEach = 100;
  std::atomic<int> failed{0};
  {
    std::vector<std::thread> writers;
    for (int writer = 0; writer < kWriters; ++writer) {
      writers.emplace_back([&, writer] {
        for (int number = 0; number < kEach; ++number) {
          // Opens and closes the file each time, as programs of their own would.
          failed +=
              AddMarker(capture, {0, std::string(200, static_cast<char>('a' + writer))}) ? 0 : 1;
        }
      });
    }
    for (std::thread& writer : writers) {
      writer.join();
    }
  }
  EXPECT_EQ(failed, 0);
  std::map<std::string, int> found;
  cMarkerReader markers(capture);
  while (const auto marker = markers.NextUntil(UINT64_MAX)) {
    ++found[marker->text];
  }
  ASSERT_EQ(found.size(), 4U);
  for (const auto& [text, count] : found) {
    EXPECT_EQ(text, std::string(200, text.front()));
    EXPECT_EQ(count, kEach);
  }
}

}  // namespace
}  // namespace corvane
