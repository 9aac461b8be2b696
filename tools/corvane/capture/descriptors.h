#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

// The C runtime's file descriptors, where a stream of it has to be redirected.
namespace corvane::tools {

struct sPipe {
  int readEnd = -1;
  int writeEnd = -1;
};

// A pipe that no other program inherits. Nothing, and errno, when the system refuses. Bytes come
// out of it as they went in.
[[nodiscard]] std::optional<sPipe> MakePipe();
// A second descriptor of the same file; -1 when there is no such file.
[[nodiscard]] int CopyDescriptor(int descriptor);
// From now on `target` is what `descriptor` is. False, and errno, when that fails.
[[nodiscard]] bool PutDescriptor(int descriptor, int target);
void CloseDescriptor(int descriptor);

// How many bytes were read, at least one; 0 at the end, and when nothing can be read.
[[nodiscard]] std::size_t ReadDescriptor(int descriptor, std::span<char> bytes);
// How many bytes were written; nothing when none can be.
[[nodiscard]] std::optional<std::size_t> WriteDescriptor(int descriptor, std::string_view bytes);

}  // namespace corvane::tools
