#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "corvane/profile/profile_making.h"
#include "corvane/profile/shipped_profiles.h"

// The actions of the profile command. Each returns the exit code of the program.
namespace corvane::tools {

// What each profile is for and what it costs; as JSON, an object a line.
[[nodiscard]] int ListProfiles(const std::vector<sShippedProfile>& profiles, bool isJson,
                               std::ostream& out, std::ostream& errors);

// A profile's text, or where its file lies.
[[nodiscard]] int ShowProfile(const std::vector<sShippedProfile>& profiles, const std::string& name,
                              bool isPath, std::ostream& out, std::ostream& errors);

// What the configuration in a file switches on, and the warnings about it. "-" reads `in`.
[[nodiscard]] int CheckProfileFile(const std::string& path, bool isJson, std::istream& in,
                                   std::ostream& out, std::ostream& errors);

// Writes a configuration to the file `output`, or to `out` where that is empty or "-".
[[nodiscard]] int MakeProfile(const sProfileContent& content, const std::string& output,
                              bool mayReplace, std::ostream& out, std::ostream& errors);

}  // namespace corvane::tools
