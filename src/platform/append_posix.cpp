#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/append.h"

namespace corvane {

bool AppendToFile(const std::string& path, std::string_view bytes) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  if (file < 0) {
    return false;
  }
  ssize_t written = -1;
  do {
    written = write(file, bytes.data(), bytes.size());
  } while (written < 0 && errno == EINTR);
  const bool closed = close(file) == 0;
  return written == static_cast<ssize_t>(bytes.size()) && closed;
}

}  // namespace corvane
