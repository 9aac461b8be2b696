#pragma once

#include <filesystem>
#include <optional>
#include <string>

// Where the program, its profiles and Wireshark's folder of a user lie.
namespace corvane::tools {

// The running program's file. Throws std::runtime_error when the system does not tell.
[[nodiscard]] std::filesystem::path ProgramPath();

// The folder of Wireshark's personal configuration, which need not exist; nothing when the
// environment does not tell. $WIRESHARK_CONFIG_DIR, or
//   Windows: %APPDATA%\Wireshark
//   elsewhere: wireshark in $XDG_CONFIG_HOME or ~/.config; ~/.wireshark where only that exists
[[nodiscard]] std::optional<std::filesystem::path> WiresharkFolder();

// What the folder of profiles is called beside a program that was installed for Wireshark.
inline constexpr char kProfilesBeside[] = "corvane-profiles";

// The folder with the sample configurations that belong to the program in `folder`: beside it, in
// the share folder of an installation, or in the source tree that it was built in. Nothing when
// there is none.
[[nodiscard]] std::optional<std::filesystem::path> FindProfiles(
    const std::filesystem::path& folder);

}  // namespace corvane::tools
