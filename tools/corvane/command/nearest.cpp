#include "corvane/command/nearest.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <numeric>

namespace corvane::tools {
namespace {

[[nodiscard]] std::string InLowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return text;
}

// How many there are behind the hyphens that an option begins with.
[[nodiscard]] std::size_t Letters(const std::string& text) {
  return text.size() - std::min(text.find_first_not_of('-'), text.size());
}

// How many letters have to be put in, taken out, replaced or swapped with their neighbour to make
// one of the other.
[[nodiscard]] std::size_t Distance(const std::string& one, const std::string& other) {
  const std::size_t width = other.size() + 1;
  std::vector<std::size_t> before(width);
  std::vector<std::size_t> last(width);
  std::vector<std::size_t> row(width);
  std::iota(last.begin(), last.end(), std::size_t{0});
  for (std::size_t i = 1; i <= one.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j < width; ++j) {
      const std::size_t replaced = last[j - 1] + (one[i - 1] == other[j - 1] ? 0 : 1);
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, replaced});
      if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1]) {
        row[j] = std::min(row[j], before[j - 2] + 1);
      }
    }
    before.swap(last);
    last.swap(row);
  }
  return last.back();
}

}  // namespace

std::string Nearest(const std::string& word, const std::vector<std::string>& known) {
  const std::string wanted = InLowerCase(word);
  std::string nearest;
  std::size_t least = SIZE_MAX;
  for (const std::string& candidate : known) {
    const std::string name = InLowerCase(candidate);
    std::size_t distance = Distance(wanted, name);
    if (Letters(wanted) > 1 && name.starts_with(wanted)) {
      distance = std::min<std::size_t>(distance, 1);
    }
    // One letter in three may be wrong, and one in any case; the hyphens of options are no letters.
    const std::size_t letters = std::max(Letters(wanted), Letters(name));
    if (distance <= std::max<std::size_t>(1, letters / 3) && distance < least &&
        distance < std::min(Letters(wanted), Letters(name))) {
      least = distance;
      nearest = candidate;
    }
  }
  return nearest;
}

std::string DidYouMean(const std::string& word, const std::vector<std::string>& known) {
  const std::string nearest = Nearest(word, known);
  return nearest.empty() ? "" : ", did you mean " + nearest + "?";
}

}  // namespace corvane::tools
