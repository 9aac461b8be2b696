#pragma once

#include <string>
#include <vector>

namespace corvane::tools {

// The one of `known` that `word` was most likely meant to be: it begins with it, or a few letters
// are wrong, missing, too many or swapped. Empty when none comes near; the first of equals.
[[nodiscard]] std::string Nearest(const std::string& word, const std::vector<std::string>& known);

// ", did you mean jsonl?", to be put behind what is wrong with `word`; empty when none comes near.
[[nodiscard]] std::string DidYouMean(const std::string& word,
                                     const std::vector<std::string>& known);

}  // namespace corvane::tools
