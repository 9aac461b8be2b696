// What Windows has not: pipes with a path, and a limit on what a process may write.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <tuple>

#include "reader/byte_source.h"
#include "reader/markers.h"
#include "support/temp_directory.h"

namespace corvane {
namespace {

TEST(ByteSourceTest, APipeHasNoSizeAndNoPlaceToReadAt) {
  const cTempDirectory folder;
  const std::string path = folder.Path("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  // Both ends are open, so that opening it does not wait.
  const int pipe = open(path.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(pipe, 0);
  ASSERT_EQ(write(pipe, "byte", 4), 4);
  std::string reason;
  const auto source = cFileSource::Open(path, reason);
  ASSERT_NE(source, nullptr) << reason;
  EXPECT_EQ(source->Size(), std::nullopt);
  std::array<std::uint8_t, 4> bytes{};
  EXPECT_EQ(source->ReadAt(0, bytes), 0U);
  close(pipe);
}

// While it lives, this process can write nothing into files.
class cNoRoom {
 public:
  cNoRoom() : handler(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit none = before;
    none.rlim_cur = 0;
    setrlimit(RLIMIT_FSIZE, &none);
  }
  ~cNoRoom() {
    setrlimit(RLIMIT_FSIZE, &before);
    std::ignore = std::signal(SIGXFSZ, handler);
  }
  cNoRoom(const cNoRoom&) = delete;
  cNoRoom& operator=(const cNoRoom&) = delete;

 private:
  rlimit before{};
  void (*handler)(int);
};

TEST(Markers, ThatFindNoRoomLeaveNoFileBehind) {
  const cTempDirectory folder;
  const std::string capture = folder.Path("drive.isf");
  bool isAdded = true;
  int reason = 0;
  {
    const cNoRoom noRoom;
    isAdded = AddMarker(capture, {0, "lost"});
    reason = errno;
  }
  EXPECT_FALSE(isAdded);
  EXPECT_EQ(reason, EFBIG);
  EXPECT_FALSE(std::filesystem::exists(MarkerPath(capture)));

  // One that had been there stays, with what it had.
  ASSERT_TRUE(AddMarker(capture, {0, "kept"}));
  {
    const cNoRoom noRoom;
    isAdded = AddMarker(capture, {0, "lost"});
  }
  EXPECT_FALSE(isAdded);
  cMarkerReader markers(capture);
  EXPECT_EQ(markers.NextUntil(UINT64_MAX)->text, "kept");
  EXPECT_FALSE(markers.NextUntil(UINT64_MAX));
}

}  // namespace
}  // namespace corvane
