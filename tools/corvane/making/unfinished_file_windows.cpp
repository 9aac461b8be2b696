#include <io.h>
#include <stdlib.h>
#include <windows.h>

#include <filesystem>
#include <mutex>
#include <tuple>

#include "corvane/making/unfinished_file.h"
#include "platform/file_names.h"
#include "platform/windows_handle.h"

namespace corvane::tools {
namespace {

// Behind those of the standard streams. A command has a few files open.
constexpr int kFirstFile = 3;
constexpr int kLastFile = 63;

std::mutex ends;

void IgnoreInvalid(const wchar_t*, const wchar_t*, const wchar_t*, unsigned, uintptr_t) {}

[[nodiscard]] bool IsSame(const BY_HANDLE_FILE_INFORMATION& one, HANDLE file) {
  BY_HANDLE_FILE_INFORMATION other{};
  return GetFileInformationByHandle(file, &other) != 0 &&
         one.dwVolumeSerialNumber == other.dwVolumeSerialNumber &&
         one.nFileIndexHigh == other.nFileIndexHigh && one.nFileIndexLow == other.nFileIndexLow;
}

// Streams of the C runtime share no right to remove what they have open, so that they have to be
// closed first. Whoever writes to one next finds it closed: the program is about to end.
void CloseStreamsOf(const std::filesystem::path& path) {
  const FileHandle file(CreateFileW(path.c_str(), 0,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, 0, nullptr));
  BY_HANDLE_FILE_INFORMATION wanted{};
  if (!file || GetFileInformationByHandle(file.Get(), &wanted) == 0) {
    return;
  }
  const auto before = _set_invalid_parameter_handler(IgnoreInvalid);  // of numbers without a file
  for (int number = kFirstFile; number <= kLastFile; ++number) {
    const intptr_t opened = _get_osfhandle(number);
    if (opened != -1 && IsSame(wanted, reinterpret_cast<HANDLE>(opened))) {
      std::ignore = _close(number);
    }
  }
  _set_invalid_parameter_handler(before);
}

// The system calls it in a thread of its own, and ends the program afterwards.
BOOL WINAPI OnConsoleEnd(DWORD) {
  const std::lock_guard guard(ends);
  RemoveUnfinishedFiles();
  return FALSE;
}

}  // namespace

void RemoveOpenFile(const char* path) {
  const std::filesystem::path file = PathOf(path);
  CloseStreamsOf(file);
  DeleteFileW(file.c_str());
}

void HandleEnds() {
  static const bool isHandled = SetConsoleCtrlHandler(OnConsoleEnd, TRUE) != 0;
  std::ignore = isHandled;
}

cHeldBackEnd::cHeldBackEnd() { ends.lock(); }

cHeldBackEnd::~cHeldBackEnd() { ends.unlock(); }

}  // namespace corvane::tools
