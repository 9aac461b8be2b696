#include "corvane/live/installed_files.h"

#include <system_error>

namespace corvane::tools {

std::optional<std::filesystem::path> FindProfiles(const std::filesystem::path& folder) {
  const std::filesystem::path source = folder.parent_path().parent_path().parent_path();
  for (const std::filesystem::path& place :
       {folder / kProfilesBeside, folder.parent_path() / "share" / "corvane" / "profiles",
        source / "profiles"}) {
    std::error_code ignored;  // what cannot be looked at is not there
    if (std::filesystem::is_directory(place, ignored)) {
      return place;
    }
  }
  return std::nullopt;
}

}  // namespace corvane::tools
