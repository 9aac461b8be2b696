#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The configurations that come with the program. Each is a file NAME.cfg, and tells in its
// commentary what it is for: its first paragraph, and the one that begins with "Rate".
namespace corvane::tools {

struct sShippedProfile {
  std::string name;  // of the file, without ".cfg"
  std::filesystem::path path;
  std::string purpose;  // what it is for, in one line; empty when it cannot be read
  std::string rate;     // what it costs, in one line; empty where it does not tell
};

// Those in `folder`, by name. Nothing when it cannot be read.
[[nodiscard]] std::vector<sShippedProfile> ProfilesIn(const std::filesystem::path& folder);

// The shipped profiles of the running program; none where they are not installed.
[[nodiscard]] std::vector<sShippedProfile> ShippedProfiles();

// The one of this name, "lte-signalling"; "lte-signalling.cfg" will do.
[[nodiscard]] std::optional<sShippedProfile> FindProfile(
    const std::vector<sShippedProfile>& profiles, std::string_view name);

// Why FindProfile finds nothing, with the names that are most like it.
[[nodiscard]] std::string NoProfileText(const std::vector<sShippedProfile>& profiles,
                                        std::string_view name);

}  // namespace corvane::tools
