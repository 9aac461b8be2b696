#include "convert/row_text.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "convert/characters.h"

namespace corvane {
namespace {

// Nearly all texts are of these characters, and stand in a row of any format as they are.
[[nodiscard]] bool IsPlain(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char character) {
    return character >= ' ' && character <= '~' && character != '"' && character != '\\';
  });
}

[[nodiscard]] std::string DumpString(std::string_view text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

// Spreadsheets take a text that begins with one of these for a formula, which can start programs
// and send what is in other cells. An apostrophe in front makes it a text for them.
[[nodiscard]] bool LooksLikeFormula(std::string_view text) {
  constexpr std::string_view kBeginnings = "=+-@\t\r";
  return !text.empty() && kBeginnings.find(text.front()) != kBeginnings.npos;
}

// `text` is well-formed.
void AppendField(std::string& row, std::string_view text) {
  const std::string_view apostrophe = LooksLikeFormula(text) ? "'" : "";
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
    (row += apostrophe) += text;
    return;
  }
  (row += '"') += apostrophe;
  for (const char character : text) {
    row.append(character == '"' ? 2 : 1, character);
  }
  row += '"';
}

}  // namespace

std::string WellFormed(std::string_view text) {
  return nlohmann::json::parse(DumpString(text)).get<std::string>();
}

void AppendJsonString(std::string& row, std::string_view text) {
  if (IsPlain(text)) {
    row += '"';
    row += text;
    row += '"';
  } else {
    row += InertJson(DumpString(text));
  }
}

std::string InertJson(std::string_view json) {
  constexpr std::string_view kSmallHexDigits = "0123456789abcdef";
  // What such characters begin with, but for those that JSON itself does not allow.
  constexpr std::string_view kFirstBytes = "\x7F\xC2\xD8\xE2";
  std::string inert;
  inert.reserve(json.size());
  while (!json.empty()) {
    const std::size_t place = std::min(json.find_first_of(kFirstBytes), json.size());
    inert += json.substr(0, place);
    json.remove_prefix(place);
    if (json.empty()) {
      break;
    }
    const sCharacter character = FirstCharacter(json);
    if (ActsOnText(character.code)) {
      inert += "\\u";
      for (int shift = 12; shift >= 0; shift -= 4) {
        inert += kSmallHexDigits[character.code >> shift & 0xF];
      }
    } else {
      inert += json.substr(0, character.size);
    }
    json.remove_prefix(character.size);
  }
  return inert;
}

void AppendSeparatedField(std::string& row, std::string_view text) {
  if (IsPlain(text)) {
    row += text;
    return;
  }
  AppendInert(row, WellFormed(text), {});
}

void AppendCsvField(std::string& row, std::string_view text) {
  if (IsPlain(text)) {
    AppendField(row, text);
  } else {
    std::string inert;
    AppendInert(inert, WellFormed(text), "\t\r\n");
    AppendField(row, inert);
  }
}

}  // namespace corvane
