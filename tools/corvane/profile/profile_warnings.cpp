#include "corvane/profile/profile_warnings.h"

#include <fmt/format.h>

#include <algorithm>

#include "corvane/command/readable_text.h"
#include "filters/configuration_text.h"

namespace corvane::tools {
namespace {

constexpr std::size_t kMostOfAKind = 10;
constexpr std::size_t kLongestPiece = 40;

[[nodiscard]] const char* NameOf(eProfileWarning kind, bool isOne) {
  switch (kind) {
    case eProfileWarning::Tag:
      return isOne ? "tag out of place" : "tags out of place";
    case eProfileWarning::Number:
      return isOne ? "item that is not read as it is written"
                   : "items that are not read as they are written";
    case eProfileWarning::Value:
      return isOne ? "number that does not ask for what it says"
                   : "numbers that do not ask for what they say";
    case eProfileWarning::Duplicate:
      return isOne ? "item that is there twice" : "items that are there twice";
    case eProfileWarning::File:
      break;
  }
  return isOne ? "warning" : "warnings";
}

// The line breaks in a part of a text: LF, CR LF and CR alone.
[[nodiscard]] std::size_t CountLineBreaks(std::string_view text, std::size_t from, std::size_t to) {
  std::size_t count = 0;
  for (std::size_t place = from; place < to; ++place) {
    const bool isHalf = text[place] == '\r' && place + 1 < text.size() && text[place + 1] == '\n';
    if (!isHalf && (text[place] == '\n' || text[place] == '\r')) {
      ++count;
    }
  }
  return count;
}

}  // namespace

std::string sProfileWarning::Text() const {
  return line == 0 ? text : fmt::format("line {}: {}", line, text);
}

bool cProfileWarnings::IsKept(eProfileWarning kind) { return counts[kind]++ < kMostOfAKind; }

std::size_t cProfileWarnings::LineOf(const char* where) const {
  return CountLineBreaks(whole, 0, static_cast<std::size_t>(where - whole.data())) + 1;
}

std::vector<sProfileWarning> cProfileWarnings::Take() {
  std::stable_sort(kept.begin(), kept.end(),
                   [](const sKept& a, const sKept& b) { return a.offset < b.offset; });
  std::vector<sProfileWarning> warnings = std::move(ofFile);
  std::size_t line = 1;
  std::size_t offset = 0;
  for (sKept& warning : kept) {
    line += CountLineBreaks(whole, offset, warning.offset);
    offset = warning.offset;
    warnings.push_back({line, std::move(warning.text)});
  }
  for (const auto& [kind, count] : counts) {
    if (count > kMostOfAKind) {
      const std::size_t more = count - kMostOfAKind;
      warnings.push_back({0, fmt::format("there {} {} more {}", more == 1 ? "is" : "are",
                                         FormatCount(more), NameOf(kind, more == 1))});
    }
  }
  return warnings;
}

std::string Shown(std::string_view piece) {
  if (piece.size() <= kLongestPiece) {
    return Quote(piece);
  }
  return Quote(piece.substr(0, kLongestPiece)) + "...";
}

std::string_view Trimmed(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kWhiteSpace), text.size()));
  return text.substr(0, text.find_last_not_of(kWhiteSpace) + 1);
}

}  // namespace corvane::tools
