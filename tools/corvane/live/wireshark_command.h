#pragma once

#include <filesystem>
#include <iosfwd>
#include <optional>

// `corvane wireshark`: puts the program where Wireshark looks for what it can capture with.
namespace corvane::tools {

struct sExtcapInstallation {
  std::filesystem::path program;                  // the file to copy
  bool needsLibrary = false;                      // corvane.dll from beside it too, and profiles
  std::optional<std::filesystem::path> profiles;  // the folder of them
  std::filesystem::path folder;                   // Wireshark's extcap folder
  bool folderIsGiven = false;                     // by the user; else it is the usual one
};

// These tell on `out` what they did, and on `errors` what failed. They return an exit code
// (command_line.h).
//
// Copies what the program needs into the folder, which is made, and replaces earlier copies. A copy
// has its name only when it is whole.
[[nodiscard]] int InstallExtcap(const sExtcapInstallation& installation, std::ostream& out,
                                std::ostream& errors);
// Removes what InstallExtcap put there, and nothing else. That nothing is there is no failure.
[[nodiscard]] int UninstallExtcap(const sExtcapInstallation& installation, std::ostream& out,
                                  std::ostream& errors);

}  // namespace corvane::tools
