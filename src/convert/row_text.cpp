#include "convert/row_text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace corvane {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

// What a character may need. Most texts need nothing, which one look at each character tells.
enum eNeed : std::uint8_t {
  kCheck = 1,       // is part of a sequence of UTF-8
  kJsonEscape = 2,  // cannot stand in a string of JSON
  kCsvQuotes = 4,   // cannot stand in CSV without quotation marks around it
};

constexpr std::array<std::uint8_t, 256> kNeeds = [] {
  std::array<std::uint8_t, 256> needs{};
  for (unsigned byte = 0; byte < 256; ++byte) {
    needs[byte] = byte >= 0x80 ? kCheck : byte < 0x20 ? kJsonEscape : 0;
  }
  for (const unsigned byte : {0x22U, 0x5CU}) {
    needs[byte] |= kJsonEscape;
  }
  for (const unsigned byte : {0x2CU, 0x22U, 0x0DU, 0x0AU}) {
    needs[byte] |= kCsvQuotes;
  }
  return needs;
}();

[[nodiscard]] std::uint8_t NeedsOf(std::string_view text) {
  std::uint8_t needs = 0;
  for (const char character : text) {
    needs |= kNeeds[static_cast<std::uint8_t>(character)];
  }
  return needs;
}

// The bytes that may follow a first byte (Unicode, table 3-7). The second one is bounded, all later
// ones are 0x80 to 0xBF.
struct sSequence {
  std::size_t length;
  std::uint8_t first;
  std::uint8_t last;
  std::uint8_t secondFrom;
  std::uint8_t secondTo;
};
constexpr sSequence kSequences[] = {
    {1, 0x00, 0x7F, 0, 0},       {2, 0xC2, 0xDF, 0x80, 0xBF}, {3, 0xE0, 0xE0, 0xA0, 0xBF},
    {3, 0xE1, 0xEC, 0x80, 0xBF}, {3, 0xED, 0xED, 0x80, 0x9F}, {3, 0xEE, 0xEF, 0x80, 0xBF},
    {4, 0xF0, 0xF0, 0x90, 0xBF}, {4, 0xF1, 0xF3, 0x80, 0xBF}, {4, 0xF4, 0xF4, 0x80, 0x8F},
};

struct sTaken {
  std::size_t length;  // 1 or more
  bool wellFormed;
};

// Takes the first character of `text`, or as much of it as begins one.
[[nodiscard]] sTaken TakeCharacter(std::string_view text) {
  const auto byte = [text](std::size_t at) { return static_cast<std::uint8_t>(text[at]); };
  const sSequence* const sequence = std::find_if(
      std::begin(kSequences), std::end(kSequences), [first = byte(0)](const sSequence& candidate) {
        return candidate.first <= first && first <= candidate.last;
      });
  if (sequence == std::end(kSequences)) {
    return {1, false};
  }
  for (std::size_t at = 1; at < sequence->length; ++at) {
    const std::uint8_t from = at == 1 ? sequence->secondFrom : 0x80;
    const std::uint8_t to = at == 1 ? sequence->secondTo : 0xBF;
    if (at == text.size() || byte(at) < from || byte(at) > to) {
      return {at, false};
    }
  }
  return {sequence->length, true};
}

[[nodiscard]] std::string WellFormed(std::string_view text) {
  std::string good;
  good.reserve(text.size());
  while (!text.empty()) {
    const auto [length, wellFormed] = TakeCharacter(text);
    good += wellFormed ? text.substr(0, length) : kReplacement;
    text.remove_prefix(length);
  }
  return good;
}

void AppendEscaped(std::string& row, char character) {
  constexpr std::string_view kHexDigits = "0123456789abcdef";
  switch (character) {
    case '"':
    case '\\':
      row += '\\';
      row += character;
      break;
    case '\n':
      row += "\\n";
      break;
    case '\r':
      row += "\\r";
      break;
    case '\t':
      row += "\\t";
      break;
    default:
      row += "\\u00";
      row += kHexDigits[static_cast<std::uint8_t>(character) >> 4];
      row += kHexDigits[static_cast<std::uint8_t>(character) & 0xF];
  }
}

// The two take well-formed text, of which they know what it needs.

void AppendGoodJsonString(std::string& row, std::string_view text, std::uint8_t needs) {
  row += '"';
  if ((needs & kJsonEscape) == 0) {
    row += text;
  } else {
    for (const char character : text) {
      if ((kNeeds[static_cast<std::uint8_t>(character)] & kJsonEscape) != 0) {
        AppendEscaped(row, character);
      } else {
        row += character;
      }
    }
  }
  row += '"';
}

void AppendGoodCsvField(std::string& row, std::string_view text, std::uint8_t needs) {
  if ((needs & kCsvQuotes) == 0) {
    row += text;
    return;
  }
  row += '"';
  for (const char character : text) {
    row.append(character == '"' ? 2 : 1, character);
  }
  row += '"';
}

}  // namespace

void AppendJsonString(std::string& row, std::string_view text) {
  const std::uint8_t needs = NeedsOf(text);
  if ((needs & kCheck) != 0) {
    AppendGoodJsonString(row, WellFormed(text), needs);
  } else {
    AppendGoodJsonString(row, text, needs);
  }
}

void AppendCsvField(std::string& row, std::string_view text) {
  const std::uint8_t needs = NeedsOf(text);
  if ((needs & kCheck) != 0) {
    AppendGoodCsvField(row, WellFormed(text), needs);
  } else {
    AppendGoodCsvField(row, text, needs);
  }
}

}  // namespace corvane
