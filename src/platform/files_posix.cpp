#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/files.h"

namespace corvane {
namespace {

constexpr mode_t kFileMode = 0666;  // less what the user's mask takes away

[[nodiscard]] bool IsFile(int opened) {
  struct stat found {};
  return fstat(opened, &found) == 0 && S_ISREG(found.st_mode);
}

}  // namespace

bool AppendToFile(const std::string& path, std::string_view bytes) {
  // A pipe that nobody reads is not waited for.
  constexpr int kFlags = O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  const int file = open(path.c_str(), kFlags, kFileMode);
  if (file < 0) {
    return false;
  }
  ssize_t written = -1;
  if (IsFile(file)) {
    do {
      written = write(file, bytes.data(), bytes.size());
    } while (written < 0 && errno == EINTR);
  }
  const bool closed = close(file) == 0;
  return written == static_cast<ssize_t>(bytes.size()) && closed;
}

eMaking MakeNewFile(const std::string& path) {
  const int file =
      open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kFileMode);
  if (file >= 0) {
    close(file);
    return eMaking::Made;
  }
  return errno == EEXIST ? eMaking::NameIsTaken : eMaking::Failed;
}

}  // namespace corvane
