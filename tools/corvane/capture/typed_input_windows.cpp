#include <windows.h>

#include <array>
#include <memory>
#include <thread>

#include "corvane/capture/typed_input.h"

namespace corvane::tools {
namespace {

// Ctrl-C ends a read of the console, and the next one goes on.
[[nodiscard]] bool GoesOn(bool isRead, DWORD length) {
  return isRead ? length != 0 || GetLastError() == ERROR_OPERATION_ABORTED
                : GetLastError() == ERROR_OPERATION_ABORTED;
}

void ReadAll(HANDLE input, const std::shared_ptr<cTypedLines>& lines) {
  std::array<char, 1024> bytes{};
  for (;;) {
    DWORD length = 0;
    SetLastError(ERROR_SUCCESS);
    // Not by the C runtime, which would hold a lock that the end of the process needs.
    const bool isRead =
        ReadFile(input, bytes.data(), static_cast<DWORD>(bytes.size()), &length, nullptr) != 0;
    if (!GoesOn(isRead, length)) {
      return;
    }
    lines->Add({bytes.data(), length});
  }
}

}  // namespace

void ReadTypedLines(const std::shared_ptr<cTypedLines>& lines) {
  const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  if (input == nullptr || input == INVALID_HANDLE_VALUE) {
    return;
  }
  const DWORD type = GetFileType(input);
  if (type != FILE_TYPE_CHAR && type != FILE_TYPE_PIPE) {
    return;
  }
  // It may wait for a line for ever, and stays behind when the process ends.
  std::thread([input, lines] { ReadAll(input, lines); }).detach();
}

}  // namespace corvane::tools
