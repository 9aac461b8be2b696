#include "platform/file_names.h"

namespace corvane {

std::filesystem::path PathOf(const std::string& name) { return name; }

std::string TextOf(const std::filesystem::path& path) { return path.string(); }

}  // namespace corvane
