#include "corvane/command/reserved_name.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace corvane::tools {
namespace {

// The part of a path by which Windows knows a reserved name: of the last name what is before its
// first dot or colon, without blanks at its end.
[[nodiscard]] std::string_view StemOf(std::string_view path) {
  constexpr std::size_t kDriveLength = 2;  // "C:"
  path.remove_prefix(path.find_last_of("/\\") + 1);
  if (path.size() > kDriveLength && path[1] == ':') {
    path.remove_prefix(kDriveLength);
  }
  path = path.substr(0, path.find_first_of(".:"));
  return path.substr(0, path.find_last_not_of(' ') + 1);
}

[[nodiscard]] bool IsReserved(std::string_view stem) {
  constexpr std::array<std::string_view, 6> kNames = {"CON", "PRN",    "AUX",
                                                      "NUL", "CONIN$", "CONOUT$"};
  // What may stand behind "COM" and "LPT": superscript digits, too, which were in a code page.
  constexpr std::array<std::string_view, 13> kNumbers = {
      "0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "\u00B9", "\u00B2", "\u00B3"};
  std::string name(stem);
  std::transform(name.begin(), name.end(), name.begin(), [](char letter) {
    return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
  });
  constexpr std::size_t kKindLength = 3;
  const bool isNumbered = name.starts_with("COM") || name.starts_with("LPT");
  return std::find(kNames.begin(), kNames.end(), name) != kNames.end() ||
         (isNumbered &&
          std::find(kNumbers.begin(), kNumbers.end(), name.substr(kKindLength)) != kNumbers.end());
}

}  // namespace

std::string_view ReservedPart(std::string_view path) {
  const std::string_view stem = StemOf(path);
  return IsReserved(stem) ? stem : std::string_view();
}

std::optional<std::string> FindReservedName(std::string_view name) {
  const std::string_view reserved = ReservedPart(name);
  if (reserved.empty()) {
    return std::nullopt;
  }
  return fmt::format("{} is no name of a file: Windows has reserved {} for a device", name,
                     reserved);
}

}  // namespace corvane::tools
