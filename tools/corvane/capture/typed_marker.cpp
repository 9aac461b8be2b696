#include "corvane/capture/typed_marker.h"

#include <utility>

namespace corvane::tools {

std::optional<std::string> MarkerTyped(std::string_view line) {
  constexpr std::string_view kBlanks = " \t";
  const std::size_t begin = line.find_first_not_of(kBlanks);
  if (begin == line.npos) {
    return std::nullopt;
  }
  line = line.substr(begin, line.find_last_not_of(kBlanks) + 1 - begin);
  if (line.front() != 'm' && line.front() != 'M') {
    return std::nullopt;
  }
  line.remove_prefix(1);
  if (line.empty()) {
    return std::string();
  }
  const std::size_t text = line.find_first_not_of(kBlanks);
  return text == 0 ? std::nullopt : std::optional<std::string>(line.substr(text));
}

void cTypedLines::Add(std::string_view bytes) {
  const std::lock_guard guard(mutex);
  for (const char character : bytes) {
    if (character != '\n') {
      if (line.size() < kLongestLine) {
        line += character;
      }
      continue;
    }
    if (line.ends_with('\r')) {
      line.pop_back();
    }
    if (lines.size() < kMostWaiting) {
      lines.push_back({clock(), line});
    }
    line.clear();
  }
}

std::vector<sTypedLine> cTypedLines::Take() {
  const std::lock_guard guard(mutex);
  return std::exchange(lines, {});
}

}  // namespace corvane::tools
