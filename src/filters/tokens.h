#pragma once

#include <string_view>
#include <vector>

namespace corvane {

// The pieces of `text` between runs of `separator`. A run counts as one separator and an empty
// piece does not exist, at neither end nor in between. The pieces are views of `text`.
[[nodiscard]] std::vector<std::string_view> SplitAtRuns(std::string_view text, char separator);

}  // namespace corvane
