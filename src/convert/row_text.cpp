#include "convert/row_text.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace corvane {
namespace {

// Nearly all texts are of these characters, and stand in a row of any format as they are.
[[nodiscard]] bool IsPlain(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char character) {
    return character >= ' ' && character <= '~' && character != '"' && character != '\\';
  });
}

[[nodiscard]] std::string JsonString(std::string_view text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

// `text` is well-formed.
void AppendField(std::string& row, std::string_view text) {
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
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

std::string WellFormed(std::string_view text) {
  return nlohmann::json::parse(JsonString(text)).get<std::string>();
}

void AppendJsonString(std::string& row, std::string_view text) {
  if (IsPlain(text)) {
    row += '"';
    row += text;
    row += '"';
  } else {
    row += JsonString(text);
  }
}

void AppendSeparatedField(std::string& row, std::string_view text) {
  if (IsPlain(text)) {
    row += text;
    return;
  }
  constexpr std::string_view kHexDigits = "0123456789ABCDEF";
  constexpr unsigned char kDelete = 0x7F;
  for (const char character : WellFormed(text)) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte >= ' ' && byte != kDelete) {
      row += character;
    } else {
      row += "\\x";
      row += kHexDigits[byte >> 4];
      row += kHexDigits[byte & 0xF];
    }
  }
}

void AppendCsvField(std::string& row, std::string_view text) {
  if (IsPlain(text)) {
    AppendField(row, text);
  } else {
    AppendField(row, WellFormed(text));
  }
}

}  // namespace corvane
