#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <memory>
#include <string>

#include "corvane/live/live_output.h"
#include "support/temp_directory.h"

namespace corvane::tools {
namespace {

constexpr std::chrono::milliseconds kAtOnce(0);
// Only a broken program ever waits so long.
constexpr std::chrono::hours kForEver(1);

// An output into a FIFO, from which nobody reads, and its reader.
class PipeOutputTest : public ::testing::Test {
 protected:
  PipeOutputTest() {
    EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
    reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_GE(reader, 0);
    output = OpenLiveOutput(path, problem);
  }
  ~PipeOutputTest() override { CloseReader(); }

  void CloseReader() {
    if (reader >= 0) {
      close(reader);
    }
    reader = -1;
  }

  const cTempDirectory folder;
  const std::string path = folder.Path("pipe");
  std::string problem;
  int reader = -1;
  std::unique_ptr<cLiveOutput> output;
};

TEST_F(PipeOutputTest, AReaderThatIsThereLetsTheTimePass) {
  ASSERT_NE(output, nullptr) << problem;
  EXPECT_EQ(output->Wait(kAtOnce), eWake::TimeIsOver);
}

// Nothing was ever written, nor waited for.
TEST_F(PipeOutputTest, AReaderThatHasGoneIsNoticedAtOnce) {
  ASSERT_NE(output, nullptr) << problem;
  CloseReader();
  EXPECT_EQ(output->Wait(kAtOnce), eWake::ReaderIsGone);
  EXPECT_EQ(output->Wait(kForEver), eWake::ReaderIsGone);
}

TEST_F(PipeOutputTest, AStopIsNoticedAtOnce) {
  ASSERT_NE(output, nullptr) << problem;
  for (const int stop : {SIGINT, SIGTERM}) {
    raise(stop);
    EXPECT_EQ(output->Wait(kAtOnce), eWake::StopRequested);
    EXPECT_EQ(output->Wait(kForEver), eWake::StopRequested);
  }
}

}  // namespace
}  // namespace corvane::tools
