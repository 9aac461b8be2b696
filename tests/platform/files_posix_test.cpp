#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/files.h"
#include "platform/stream_error.h"
#include "support/temp_directory.h"

namespace corvane {
namespace {

using std::filesystem::create_symlink;
using std::filesystem::file_size;

TEST(FileLinksTest, ALinkTakesAName) {
  const cTempDirectory folder;
  const std::string link = folder.Path("link");
  const std::string target = folder.Path("target");
  create_symlink(target, link);
  EXPECT_EQ(MakeNewFile(link), eMaking::NameIsTaken);
  EXPECT_FALSE(std::filesystem::exists(target));
  std::ofstream(target) << "old";
  EXPECT_EQ(MakeNewFile(link), eMaking::NameIsTaken);
  EXPECT_EQ(file_size(target), 3U);
}

TEST(FileLinksTest, NothingIsAppendedThroughALink) {
  const cTempDirectory folder;
  const std::string link = folder.Path("link");
  const std::string target = folder.Path("target");
  create_symlink(target, link);
  EXPECT_FALSE(AppendToFile(link, "text"));
  EXPECT_FALSE(std::filesystem::exists(target));
  std::ofstream(target) << "old";
  EXPECT_FALSE(AppendToFile(link, "text"));
  EXPECT_EQ(file_size(target), 3U);
}

// Neither is waited for, nor given what was not meant for it.
TEST(FileLinksTest, NothingIsAppendedToWhatIsNoFile) {
  const cTempDirectory folder;
  const std::string pipe = folder.Path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_FALSE(AppendToFile(pipe, "text"));
  EXPECT_FALSE(AppendToFile("/dev/null", "text"));
}

TEST(NewFileTest, NothingOfItStaysOpen) {
  const cTempDirectory folder;
  const int lowest = dup(STDERR_FILENO);
  ASSERT_EQ(close(lowest), 0);
  ASSERT_EQ(MakeNewFile(folder.Path("new")), eMaking::Made);
  const int next = dup(STDERR_FILENO);
  EXPECT_EQ(next, lowest);
  EXPECT_EQ(close(next), 0);
}

// An interruption of something earlier is none of this.
TEST(AppendedTextTest, NothingIsAppendedAtOnce) {
  const cTempDirectory folder;
  errno = EINTR;
  EXPECT_TRUE(AppendToFile(folder.Path("text"), ""));
  EXPECT_EQ(file_size(folder.Path("text")), 0U);
}

TEST(StreamErrorTest, AFailureWithoutAReasonOfItsOwnIsOneOfTheDevice) {
  errno = 0;
  EXPECT_EQ(LastStreamError(), EIO);
  errno = EPERM;
  EXPECT_EQ(LastStreamError(), EPERM);
}

}  // namespace
}  // namespace corvane
