#pragma once

#include <windows.h>

#include "platform/windows_handle.h"

// Owners of the handles that tests and their programs open for themselves. They close them by the
// system's own calls, so that a test that replaces the library's calls does not see these.
namespace corvane::test {

// Events, semaphores and threads: "none" is null.
struct sTestObject {
  using Handle = HANDLE;
  static constexpr HANDLE None() { return nullptr; }
  static void Close(HANDLE handle) { ::CloseHandle(handle); }
};
using TestHandle = cOwnedHandle<sTestObject>;

// Files: "none" is INVALID_HANDLE_VALUE.
struct sTestFile {
  using Handle = HANDLE;
  static HANDLE None() { return INVALID_HANDLE_VALUE; }
  static void Close(HANDLE handle) { ::CloseHandle(handle); }
};
using TestFile = cOwnedHandle<sTestFile>;

// Registry keys: "none" is null.
struct sRegistryKey {
  using Handle = HKEY;
  static constexpr HKEY None() { return nullptr; }
  static void Close(HKEY key) { ::RegCloseKey(key); }
};
using RegistryKey = cOwnedHandle<sRegistryKey>;

}  // namespace corvane::test
