#include <cstdlib>
#include <stdexcept>
#include <system_error>

#include "corvane/live/installed_files.h"

namespace corvane::tools {
namespace {

// The folder that an environment variable names.
[[nodiscard]] std::optional<std::filesystem::path> Named(const char* variable) {
  const char* const value = std::getenv(variable);
  if (value == nullptr || *value == '\0') {
    return std::nullopt;
  }
  return value;
}

}  // namespace

std::filesystem::path ProgramPath() {
  std::error_code error;
  std::filesystem::path path = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) {
    throw std::runtime_error("the system does not tell where this program lies");
  }
  return path;
}

std::optional<std::filesystem::path> WiresharkFolder() {
  if (auto named = Named("WIRESHARK_CONFIG_DIR")) {
    return named;
  }
  const auto home = Named("HOME");
  const auto configuration = Named("XDG_CONFIG_HOME");
  if (!home && !configuration) {
    return std::nullopt;
  }
  std::filesystem::path usual = (configuration ? *configuration : *home / ".config") / "wireshark";
  std::error_code ignored;  // what cannot be looked at is not there
  if (home && !std::filesystem::exists(usual, ignored) &&
      std::filesystem::is_directory(*home / ".wireshark", ignored)) {
    return *home / ".wireshark";
  }
  return usual;
}

}  // namespace corvane::tools
