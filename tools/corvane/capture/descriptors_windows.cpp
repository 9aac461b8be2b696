#include <fcntl.h>
#include <io.h>

#include <array>

#include "corvane/capture/descriptors.h"

namespace corvane::tools {
namespace {

constexpr unsigned kPipeSize = 65536;

}  // namespace

std::optional<sPipe> MakePipe() {
  std::array<int, 2> ends{};
  if (_pipe(ends.data(), kPipeSize, _O_BINARY | _O_NOINHERIT) != 0) {
    return std::nullopt;
  }
  return sPipe{ends[0], ends[1]};
}

int CopyDescriptor(int descriptor) { return _dup(descriptor); }

bool PutDescriptor(int descriptor, int target) { return _dup2(descriptor, target) == 0; }

void CloseDescriptor(int descriptor) { _close(descriptor); }

std::size_t ReadDescriptor(int descriptor, std::span<char> bytes) {
  const int length = _read(descriptor, bytes.data(), static_cast<unsigned>(bytes.size()));
  return length < 0 ? 0 : static_cast<std::size_t>(length);
}

std::optional<std::size_t> WriteDescriptor(int descriptor, std::string_view bytes) {
  const int length = _write(descriptor, bytes.data(), static_cast<unsigned>(bytes.size()));
  return length < 0 ? std::nullopt : std::optional(static_cast<std::size_t>(length));
}

}  // namespace corvane::tools
