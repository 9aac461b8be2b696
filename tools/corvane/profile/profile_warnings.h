#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/profile/profile_check.h"

namespace corvane::tools {

// Kinds of warnings, of each of which only the first ones are kept.
enum class eProfileWarning {
  File,       // about the file as a whole
  Tag,        // tags and sections
  Number,     // items that are not read as they are written
  Value,      // numbers that do not ask for what they say
  Duplicate,  // items that are there twice
};

// Collects warnings about a text.
class cProfileWarnings {
 public:
  // `text` must last as long as this object.
  explicit cProfileWarnings(std::string_view text) : whole(text) {}

  // Adds a warning about the place `where`, which lies in the text (or at its end). `makeText`
  // makes its text, and is called only when the warning is kept.
  template <typename MakeText>
  void Add(eProfileWarning kind, const char* where, const MakeText& makeText) {
    if (IsKept(kind)) {
      kept.push_back({kind, static_cast<std::size_t>(where - whole.data()), makeText()});
    }
  }
  // Adds one about the file as a whole.
  void AddForFile(std::string text) { ofFile.push_back({0, std::move(text)}); }

  // The line of a place in the text, from 1.
  [[nodiscard]] std::size_t LineOf(const char* where) const;

  // All of them, those of the file first, and then in the order of the text.
  [[nodiscard]] std::vector<sProfileWarning> Take();

 private:
  struct sKept {
    eProfileWarning kind;
    std::size_t offset;
    std::string text;
  };

  // Counts a warning of this kind.
  [[nodiscard]] bool IsKept(eProfileWarning kind);

  const std::string_view whole;
  std::vector<sProfileWarning> ofFile;
  std::vector<sKept> kept;
  std::map<eProfileWarning, std::size_t> counts;
};

// A piece of the text as a warning shows it: in quotation marks, and cut when it is long.
[[nodiscard]] std::string Shown(std::string_view piece);

// Without white space at its ends.
[[nodiscard]] std::string_view Trimmed(std::string_view text);

}  // namespace corvane::tools
