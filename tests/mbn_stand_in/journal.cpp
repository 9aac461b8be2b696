#include "mbn_stand_in/journal.h"

#include <windows.h>

#include <array>
#include <cstdio>

#include "support/windows_handles.h"

namespace mbn_stand_in {
namespace {

// Appending is no single step on every system: two threads could write over each other's line.
SRWLOCK appending = SRWLOCK_INIT;

}  // namespace

void Log(const std::string& line) {
  std::array<wchar_t, MAX_PATH> path{};
  const DWORD length = GetEnvironmentVariableW(L"CORVANE_MBN_LOG", path.data(), MAX_PATH);
  if (length == 0 || length >= MAX_PATH) {
    return;
  }
  // Opened for each line, so that a process that dies has lost none.
  const corvane::test::TestFile file(CreateFileW(path.data(), FILE_APPEND_DATA,
                                                 FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                                 OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) {
    return;
  }
  const std::string whole = line + "\n";
  DWORD written = 0;
  AcquireSRWLockExclusive(&appending);
  WriteFile(file.Get(), whole.data(), static_cast<DWORD>(whole.size()), &written, nullptr);
  ReleaseSRWLockExclusive(&appending);
}

std::string ResultText(long result) {
  std::array<char, 16> text{};
  const int length = std::snprintf(text.data(), text.size(), "0x%08lX",
                                   static_cast<unsigned long>(result) & 0xFFFFFFFFUL);
  return {text.data(), static_cast<std::size_t>(length)};
}

std::string Narrow(const wchar_t* text) {
  if (text == nullptr) {
    return "null";
  }
  std::string narrow;
  for (; *text != L'\0'; ++text) {
    narrow += *text < 0x80 ? static_cast<char>(*text) : '?';
  }
  return narrow;
}

}  // namespace mbn_stand_in
