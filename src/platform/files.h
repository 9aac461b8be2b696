#pragma once

#include <string>
#include <string_view>

// What has to be done to a file in one step: between two of the standard library's, someone else
// may put a file or a link in its place.
namespace corvane {

// Adds `bytes` at the end of the file, which is made where there is none, in one piece: what
// several programs add at once stands one behind the other and never mixes. False when not all of
// it could be written; a part may be there then. Nothing is added through a link, or to anything
// that is no file.
[[nodiscard]] bool AppendToFile(const std::string& path, std::string_view bytes);

enum class eMaking {
  Made,
  NameIsTaken,  // by anything; a link takes it, wherever that leads
  Failed        // errno says why
};

// Makes an empty file where nothing has its name.
[[nodiscard]] eMaking MakeNewFile(const std::string& path);

}  // namespace corvane
