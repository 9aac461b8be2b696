#include "corvane/profile/shipped_profiles.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <system_error>
#include <utility>

#include "corvane/command/named_numbers.h"
#include "corvane/command/readable_text.h"
#include "corvane/live/installed_files.h"
#include "platform/file_names.h"

namespace corvane::tools {
namespace {

constexpr std::string_view kExtension = ".cfg";

// Reads the paragraphs of a profile that tell of it, each as one line.
void ReadCommentary(sShippedProfile& profile) {
  std::ifstream file(profile.path);
  std::string* paragraph = &profile.purpose;
  for (std::string line; std::getline(file, line);) {
    if (line.ends_with('\r')) {
      line.pop_back();
    }
    if (line.starts_with("Rate")) {
      paragraph = &profile.rate;
    }
    if (line.empty()) {
      paragraph = nullptr;
    } else if (paragraph != nullptr) {
      *paragraph += (paragraph->empty() ? "" : " ") + line;
    }
  }
}

}  // namespace

std::vector<sShippedProfile> ProfilesIn(const std::filesystem::path& folder) {
  std::vector<sShippedProfile> profiles;
  std::error_code error;  // a folder that cannot be read has no profiles
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->path().extension() == kExtension) {
      profiles.push_back({TextOf(entry->path().stem()), entry->path(), {}, {}});
      ReadCommentary(profiles.back());
    }
  }
  std::sort(profiles.begin(), profiles.end(),
            [](const sShippedProfile& a, const sShippedProfile& b) { return a.name < b.name; });
  return profiles;
}

std::vector<sShippedProfile> ShippedProfiles() {
  const auto folder = FindProfiles(ProgramPath().parent_path());
  return folder ? ProfilesIn(*folder) : std::vector<sShippedProfile>();
}

std::optional<sShippedProfile> FindProfile(const std::vector<sShippedProfile>& profiles,
                                           std::string_view name) {
  if (name.ends_with(kExtension)) {
    name.remove_suffix(kExtension.size());
  }
  const auto found =
      std::find_if(profiles.begin(), profiles.end(),
                   [name](const sShippedProfile& profile) { return profile.name == name; });
  return found == profiles.end() ? std::nullopt : std::optional(*found);
}

std::string NoProfileText(const std::vector<sShippedProfile>& profiles, std::string_view name) {
  std::vector<std::string> names;
  for (const sShippedProfile& profile : profiles) {
    names.push_back(profile.name);
  }
  std::string text = fmt::format("there is no profile {}", Quote(name));
  const char* separator = "; the nearest: ";
  for (const std::string& nearest : NearestNames(names, name, 3)) {
    text += std::exchange(separator, ", ") + nearest;
  }
  return text;
}

}  // namespace corvane::tools
