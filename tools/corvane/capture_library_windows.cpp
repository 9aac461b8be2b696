#include "corvane/capture_library_windows.h"

#include <fmt/format.h>

#include <array>
#include <stdexcept>
#include <string>

namespace corvane::tools {
namespace {

constexpr wchar_t kLibraryName[] = L"corvane.dll";

// The full path, so that no other folder of the library search path can supply the DLL.
[[nodiscard]] std::wstring LibraryPath() {
  std::array<wchar_t, 32768> program{};  // the longest path that Windows knows
  const DWORD length =
      GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
  const std::wstring path(program.data(), length);
  return path.substr(0, path.find_last_of(L'\\') + 1) + kLibraryName;
}

template <typename Function>
void FindExport(HMODULE library, const char* name, Function& function) {
  // By way of void*, the one pointer type to which a function pointer of unknown type converts
  // without a warning.
  function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
  if (function == nullptr) {
    throw std::runtime_error(fmt::format("corvane.dll has no function {}", name));
  }
}

}  // namespace

cCaptureLibrary::cCaptureLibrary() : library(LoadLibraryW(LibraryPath().c_str())) {
  if (library == nullptr) {
    throw std::runtime_error(
        fmt::format("corvane.dll, which belongs beside this program, cannot be loaded (error {})",
                    GetLastError()));
  }
  FindExport(library.get(), "CorvaneStart", start);
  FindExport(library.get(), "CorvaneStop", stop);
}

}  // namespace corvane::tools
