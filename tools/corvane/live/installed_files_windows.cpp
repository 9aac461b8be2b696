#include <windows.h>

#include <array>
#include <cstdlib>
#include <stdexcept>

#include "corvane/live/installed_files.h"

namespace corvane::tools {
namespace {

// The folder that an environment variable names.
[[nodiscard]] std::optional<std::filesystem::path> Named(const wchar_t* variable) {
  const wchar_t* const value = _wgetenv(variable);
  if (value == nullptr || *value == L'\0') {
    return std::nullopt;
  }
  return value;
}

}  // namespace

std::filesystem::path ProgramPath() {
  std::array<wchar_t, 32768> program{};  // the longest path that Windows knows
  const DWORD length =
      GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
  if (length == 0 || length >= program.size()) {
    throw std::runtime_error("the system does not tell where this program lies");
  }
  return std::wstring(program.data(), length);
}

std::optional<std::filesystem::path> WiresharkFolder() {
  if (auto named = Named(L"WIRESHARK_CONFIG_DIR")) {
    return named;
  }
  if (const auto data = Named(L"APPDATA")) {
    return *data / L"Wireshark";
  }
  return std::nullopt;
}

}  // namespace corvane::tools
