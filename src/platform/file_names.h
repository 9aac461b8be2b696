#pragma once

#include <filesystem>
#include <string>

namespace corvane {

// A file's name as the command line, the library and this project's functions have it, as a path
// and back. Such a name is in the system's 8-bit encoding: UTF-8, in a Windows program too whose
// manifest says so.
//
// On Windows the standard library takes each byte of a name for a character when it makes a path of
// it, whatever the encoding: nothing beyond ASCII would be found. So every name goes through here
// on its way to std::filesystem. A stream takes a name as it is.
[[nodiscard]] std::filesystem::path PathOf(const std::string& name);
[[nodiscard]] std::string TextOf(const std::filesystem::path& path);

}  // namespace corvane
