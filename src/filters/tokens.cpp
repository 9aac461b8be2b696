#include "filters/tokens.h"

namespace corvane {

std::vector<std::string_view> SplitAtRuns(std::string_view text, char separator) {
  std::vector<std::string_view> pieces;
  std::size_t start = text.find_first_not_of(separator);
  while (start != std::string_view::npos) {
    const std::size_t end = text.find(separator, start);
    pieces.push_back(text.substr(start, end - start));
    start = text.find_first_not_of(separator, end);
  }
  return pieces;
}

}  // namespace corvane
