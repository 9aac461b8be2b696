#include "corvane/command/named_numbers.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "common/quantities.h"
#include "describe/names.h"

namespace corvane::tools {
namespace {

constexpr std::size_t kMostCandidates = 10;

constexpr std::uint32_t kLastLogCode = 0xFFFF;
constexpr std::uint32_t kLastEvent = 4095;
constexpr std::uint32_t kLastSsid = 0xFFFF;
constexpr std::uint32_t kLevelBits = 32;

// "a, b, c and 4 more"
[[nodiscard]] std::string Enumerate(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t place = 0; place < std::min(names.size(), kMostCandidates); ++place) {
    text += (place == 0 ? "" : ", ") + names[place];
  }
  if (names.size() > kMostCandidates) {
    text += fmt::format(" and {} more", names.size() - kMostCandidates);
  }
  return text;
}

// How many letters have to be changed, put in or taken out so that `word` is a part of `name`.
[[nodiscard]] std::size_t DistanceToPart(std::string_view word, std::string_view name) {
  // Row by row of the table of all prefixes of the word against all parts of the name.
  std::vector<std::size_t> row(name.size() + 1, 0);
  for (std::size_t letters = 1; letters <= word.size(); ++letters) {
    std::size_t diagonal = std::exchange(row[0], letters);
    for (std::size_t place = 1; place <= name.size(); ++place) {
      const std::size_t changed = diagonal + (word[letters - 1] == name[place - 1] ? 0 : 1);
      diagonal = row[place];
      row[place] = std::min({changed, row[place] + 1, row[place - 1] + 1});
    }
  }
  return *std::min_element(row.begin(), row.end());
}

// --- Numbers

// How a kind of numbers is written.
struct sNotation {
  const char* what;  // "log codes"
  std::uint32_t last;
  bool isHexadecimal;  // without "0x" too, with four digits then
};

constexpr std::size_t kBareHexDigits = 4;

// Nothing for what is no number. One that is too large for 32 bits is as large as can be.
[[nodiscard]] std::optional<std::uint32_t> ParseNumber(std::string_view text,
                                                       const sNotation& notation) {
  int base = 10;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    text.remove_prefix(2);
    base = 16;
  } else if (notation.isHexadecimal) {
    if (text.size() != kBareHexDigits) {
      return std::nullopt;
    }
    base = 16;
  }
  const std::string_view digits =
      base == 16 ? "0123456789abcdefABCDEF" : std::string_view("0123456789");
  if (text.empty() || text.find_first_not_of(digits) != std::string_view::npos) {
    return std::nullopt;
  }
  return ParseUnsigned<std::uint32_t>(text, base).value_or(UINT32_MAX);
}

[[nodiscard]] std::optional<sNumberRange> ParseRange(std::string_view text,
                                                     const sNotation& notation) {
  const std::size_t hyphen = text.find('-');
  const auto first = ParseNumber(text.substr(0, hyphen), notation);
  const auto last =
      hyphen == std::string_view::npos ? first : ParseNumber(text.substr(hyphen + 1), notation);
  return first && last ? std::optional(sNumberRange{*first, *last}) : std::nullopt;
}

[[nodiscard]] std::string NumberText(std::uint32_t number, const sNotation& notation) {
  return notation.isHexadecimal ? fmt::format("0x{:04X}", number) : std::to_string(number);
}

// What is to be said to one who wrote a number as if it were decimal, or too short.
[[nodiscard]] std::string HexadecimalHint(std::string_view word, const sNotation& notation) {
  if (!notation.isHexadecimal ||
      word.find_first_not_of("0123456789abcdefABCDEF") != std::string_view::npos) {
    return {};
  }
  std::string hint = "; numbers are hexadecimal, of four digits or behind 0x";
  const auto decimal = ParseUnsigned<std::uint32_t>(word);
  if (decimal && *decimal <= notation.last) {
    hint += fmt::format(": {} is {}", word, NumberText(*decimal, notation));
  }
  return hint;
}

// What is wrong with a range, if anything.
[[nodiscard]] std::optional<std::string> FaultOf(const sNumberRange& range, std::string_view word,
                                                 const sNotation& notation) {
  if (range.first > range.last) {
    return fmt::format("the range \"{}\" ends before it begins", word);
  }
  if (range.last > notation.last) {
    return fmt::format("\"{}\" is too large: {} go up to {}", word, notation.what,
                       NumberText(notation.last, notation));
  }
  return std::nullopt;
}

// --- Tables of names

// Names, and what each of them stands for.
struct sTable {
  std::vector<std::string> names;  // hyphenated
  std::vector<sNumberRange> ranges;

  void Add(std::string name, std::uint32_t first, std::uint32_t last) {
    if (!name.empty()) {
      names.push_back(std::move(name));
      ranges.push_back({first, last});
    }
  }
};

[[nodiscard]] std::optional<std::string> Take(std::string_view word, const sNotation& notation,
                                              const sTable& table,
                                              std::vector<sNumberRange>& ranges) {
  if (const auto range = ParseRange(word, notation)) {
    std::optional<std::string> fault = FaultOf(*range, word, notation);
    if (!fault) {
      ranges.push_back(*range);
    }
    return fault;
  }
  std::string problem;
  const auto found = FindName(table.names, word, notation.what, problem);
  if (!found) {
    return problem + HexadecimalHint(word, notation);
  }
  ranges.push_back(table.ranges[*found]);
  return std::nullopt;
}

}  // namespace

std::string Hyphenate(std::string_view name) {
  std::string text;
  bool isApart = false;
  for (const char character : name) {
    const bool isCapital = character >= 'A' && character <= 'Z';
    const char small = isCapital ? static_cast<char>(character | 0x20) : character;
    if ((small < 'a' || small > 'z') && (small < '0' || small > '9')) {
      isApart = !text.empty();
      continue;
    }
    text += std::exchange(isApart, false) ? "-" : "";
    text += small;
  }
  return text;
}

std::vector<std::string> NearestNames(std::span<const std::string> names, std::string_view word,
                                      std::size_t most) {
  const std::string wanted = Hyphenate(word);
  // One letter of three may be wrong: more is another word.
  const std::size_t mostWrong = (wanted.size() + 1) / 3;
  std::vector<std::pair<std::size_t, const std::string*>> candidates;
  for (const std::string& name : names) {
    const std::size_t distance = DistanceToPart(wanted, name);
    if (distance <= mostWrong && distance < wanted.size()) {
      candidates.emplace_back(distance, &name);
    }
  }
  std::stable_sort(candidates.begin(), candidates.end(), [](const auto& one, const auto& other) {
    return std::pair(one.first, one.second->size()) < std::pair(other.first, other.second->size());
  });
  std::vector<std::string> nearest;
  for (std::size_t place = 0; place < std::min(candidates.size(), most); ++place) {
    nearest.push_back(*candidates[place].second);
  }
  return nearest;
}

std::optional<std::size_t> FindName(std::span<const std::string> names, std::string_view word,
                                    const char* what, std::string& problem) {
  const std::string wanted = Hyphenate(word);
  std::vector<std::string> candidates;
  std::optional<std::size_t> found;
  for (std::size_t place = 0; place < names.size() && !wanted.empty(); ++place) {
    if (names[place] == wanted) {
      return place;
    }
    if (names[place].find(wanted) != std::string::npos) {
      candidates.push_back(names[place]);
      found = place;
    }
  }
  if (candidates.size() == 1) {
    return found;
  }
  if (!candidates.empty()) {
    problem = fmt::format("\"{}\" is part of the names of {} {}: {}", word, candidates.size(), what,
                          Enumerate(candidates));
    return std::nullopt;
  }
  problem = fmt::format("\"{}\" is in no name of {}", word, what);
  const std::vector<std::string> nearest = NearestNames(names, word, 3);
  if (!nearest.empty()) {
    problem += fmt::format(" that is known; the nearest: {}", Enumerate(nearest));
  }
  return std::nullopt;
}

std::optional<std::string> TakeLogCodes(std::string_view word, std::vector<sNumberRange>& ranges) {
  static const sTable kTable = [] {
    sTable table;
    for (const sLogCodeName& name : LogCodeNames()) {
      table.Add(std::string(name.key), name.code, name.code);
    }
    return table;
  }();
  return Take(word, {"log codes", kLastLogCode, true}, kTable, ranges);
}

std::optional<std::string> TakeEvents(std::string_view word, std::vector<sNumberRange>& ranges) {
  static const sTable kTable = [] {
    sTable table;
    for (const sEventName& name : EventNames()) {
      table.Add(Hyphenate(name.name), name.id, name.id);
    }
    return table;
  }();
  return Take(word, {"events", kLastEvent, false}, kTable, ranges);
}

std::optional<std::string> TakeSsids(std::string_view word, std::vector<sNumberRange>& ranges) {
  static const sTable kTable = [] {
    sTable table;
    for (const sSsidName& name : SsidNames()) {
      table.Add(Hyphenate(name.name), name.first, name.last);
    }
    return table;
  }();
  return Take(word, {"subsystems", kLastSsid, false}, kTable, ranges);
}

std::vector<std::string> MessageLevelNames() {
  std::vector<std::string> names;
  for (std::uint32_t level = 0; !MessageLevelName(level).empty(); ++level) {
    names.emplace_back(MessageLevelName(level));
  }
  return names;
}

std::optional<std::string> TakeLevel(std::string_view word, std::uint32_t& levels) {
  static const std::vector<std::string> kNames = MessageLevelNames();
  std::optional<std::size_t> bit = ParseUnsigned<std::uint32_t>(word);
  if (const auto name = std::find(kNames.begin(), kNames.end(), Hyphenate(word));
      name != kNames.end()) {
    bit = static_cast<std::size_t>(name - kNames.begin());
  }
  if (!bit || *bit >= kLevelBits) {
    return fmt::format("\"{}\" is no level: {}, or the number of a bit, 0 to {}", word,
                       Enumerate(kNames), kLevelBits - 1);
  }
  levels |= std::uint32_t{1} << *bit;
  return std::nullopt;
}

}  // namespace corvane::tools
