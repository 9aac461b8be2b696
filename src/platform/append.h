#pragma once

#include <string>
#include <string_view>

namespace corvane {

// Adds `bytes` at the end of the file, which is made where there is none, in one piece: what
// several programs add at once stands one behind the other and never mixes. False when not all of
// it could be written; a part may be there then.
[[nodiscard]] bool AppendToFile(const std::string& path, std::string_view bytes);

}  // namespace corvane
