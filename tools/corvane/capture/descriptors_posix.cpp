#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "corvane/capture/descriptors.h"

namespace corvane::tools {

std::optional<sPipe> MakePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    return std::nullopt;
  }
  return sPipe{ends[0], ends[1]};
}

int CopyDescriptor(int descriptor) { return fcntl(descriptor, F_DUPFD_CLOEXEC, 3); }

bool PutDescriptor(int descriptor, int target) { return dup2(descriptor, target) >= 0; }

void CloseDescriptor(int descriptor) { close(descriptor); }

std::size_t ReadDescriptor(int descriptor, std::span<char> bytes) {
  ssize_t length = -1;
  do {
    length = read(descriptor, bytes.data(), bytes.size());
  } while (length < 0 && errno == EINTR);
  return length < 0 ? 0 : static_cast<std::size_t>(length);
}

std::optional<std::size_t> WriteDescriptor(int descriptor, std::string_view bytes) {
  ssize_t length = -1;
  do {
    length = write(descriptor, bytes.data(), bytes.size());
  } while (length < 0 && errno == EINTR);
  return length < 0 ? std::nullopt : std::optional(static_cast<std::size_t>(length));
}

}  // namespace corvane::tools
