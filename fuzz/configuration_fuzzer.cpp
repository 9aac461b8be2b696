// Reads the lists of arbitrary configurations. docs/fuzzing.md describes the input.
//
//   scripts/fuzz.sh configuration 1
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "filters/configuration_text.h"
#include "filters/mask_lists.h"
#include "fuzz/checks.h"

namespace corvane {
namespace {

constexpr std::string_view kSections[] = {"EventIDs", "LogCodes", "OTATypes", "MessageLevels",
                                          "MultiSim"};

// --- The model: goes through the text once, character by character, and has the C library read
// numbers.

[[nodiscard]] std::vector<std::string> ModelBodies(std::string_view text, std::string_view name) {
  const std::string opening = "<" + std::string(name) + ">";
  const std::string closing = "</" + std::string(name) + ">";
  std::vector<std::string> bodies;
  std::string body;
  bool isOpen = false;
  while (!text.empty()) {
    if (text[0] != '<') {
      if (isOpen) {
        body += text[0];
      }
      text.remove_prefix(1);
    } else if (text.starts_with(closing)) {
      if (!isOpen) {
        break;
      }
      bodies.push_back(body);
      body.clear();
      isOpen = false;
      text.remove_prefix(closing.size());
    } else if (!isOpen && text.starts_with(opening)) {
      isOpen = true;
      text.remove_prefix(opening.size());
    } else {
      if (isOpen) {
        body += '<';
      }
      text.remove_prefix(1);
    }
  }
  return bodies;
}

[[nodiscard]] std::vector<std::string> ModelPieces(const std::string& text, char separator) {
  std::vector<std::string> pieces(1);
  for (const char character : text) {
    if (character == '\0') {
      break;
    }
    if (character != separator) {
      pieces.back() += character;
    } else if (!pieces.back().empty()) {
      pieces.emplace_back();
    }
  }
  if (pieces.back().empty()) {
    pieces.pop_back();
  }
  return pieces;
}

[[nodiscard]] std::vector<std::string> ModelItems(std::string_view text, std::string_view name) {
  std::vector<std::string> items;
  for (const std::string& body : ModelBodies(text, name)) {
    for (const std::string& item : ModelPieces(body, ',')) {
      items.push_back(item);
    }
  }
  return items;
}

[[nodiscard]] bool IsBlank(char character) {
  return std::isspace(static_cast<unsigned char>(character)) != 0;
}

[[nodiscard]] std::uint32_t ModelNumber(const std::string& item, int base) {
  const char* rest = item.c_str();
  while (IsBlank(*rest)) {
    ++rest;
  }
  const bool isNegative = *rest == '-';
  if (isNegative || *rest == '+') {
    ++rest;
  }
  // The C library would take blanks and a sign here once more.
  if (std::isxdigit(static_cast<unsigned char>(*rest)) == 0) {
    return 0;
  }
  const unsigned long long size = std::strtoull(rest, nullptr, base);
  if (size > 0xFFFFFFFF) {
    return 0xFFFFFFFF;
  }
  return static_cast<std::uint32_t>(isNegative ? 0x100000000 - size : size);
}

[[nodiscard]] std::set<std::uint32_t> ModelNumbers(std::string_view text, std::string_view name,
                                                   int base) {
  std::set<std::uint32_t> numbers;
  for (const std::string& item : ModelItems(text, name)) {
    numbers.insert(ModelNumber(item, base));
  }
  return numbers;
}

[[nodiscard]] std::set<std::uint32_t> ModelOtaTypes(std::string_view text) {
  std::set<std::uint32_t> types;
  for (const std::string& item : ModelItems(text, "OTATypes")) {
    bool hasSlash = false;
    bool hasMore = false;
    for (const char character : item) {
      hasSlash = hasSlash || character == '/';
      hasMore = hasMore || (character != '/' && !IsBlank(character));
    }
    if (hasMore || !hasSlash) {
      types.insert(ModelNumber(ModelPieces(item, '/')[0], 16));
    }
  }
  return types;
}

[[nodiscard]] std::map<std::uint32_t, std::set<std::uint32_t>> ModelLevels(std::string_view text) {
  std::map<std::uint32_t, std::set<std::uint32_t>> levels;
  bool isBroken = false;
  for (const std::string& item : ModelItems(text, "MessageLevels")) {
    const std::vector<std::string> pieces = ModelPieces(item, '/');
    isBroken = isBroken || pieces.size() != 2;
    if (!isBroken) {
      levels[ModelNumber(pieces[0], 10)].insert(ModelNumber(pieces[1], 10));
    }
  }
  if (isBroken) {
    levels.clear();
  }
  return levels;
}

[[nodiscard]] bool ModelMultiSim(std::string_view text) {
  for (std::string item : ModelItems(text, "MultiSim")) {
    while (!item.empty() && IsBlank(item.back())) {
      item.pop_back();
    }
    while (!item.empty() && IsBlank(item.front())) {
      item.erase(item.begin());
    }
    if (item == "unwrap") {
      return true;
    }
  }
  return false;
}

// --- The input

// The bytes 0x80 to 0x89 stand for the tags, which a fuzzer would not find by itself.
[[nodiscard]] std::string TextOf(std::string_view input) {
  std::string text;
  for (const char character : input) {
    const auto number = static_cast<std::size_t>(static_cast<unsigned char>(character)) - 0x80;
    if (number < 2 * std::size(kSections)) {
      text += number % 2 == 0 ? "<" : "</";
      text += kSections[number / 2];
      text += '>';
    } else {
      text += character;
    }
  }
  return text;
}

void CheckBodies(std::string_view text) {
  for (const std::string_view section : kSections) {
    const std::vector<std::string_view> bodies = FindSectionBodies(text, section);
    const std::vector<std::string> expected = ModelBodies(text, section);
    Require(bodies == std::vector<std::string_view>(expected.begin(), expected.end()),
            "the bodies of a section are the expected ones");
    const char* end = text.data();
    for (const std::string_view body : bodies) {
      Require(body.data() >= end && body.data() + body.size() <= text.data() + text.size(),
              "bodies lie in the text, one behind the other");
      end = body.data() + body.size();
    }
  }
}

}  // namespace
}  // namespace corvane

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace corvane;
  const std::string text = TextOf({reinterpret_cast<const char*>(data), size});
  CheckBodies(text);
  Require(ParseEventIDs(text) == ModelNumbers(text, "EventIDs", 10), "event IDs are as expected");
  Require(ParseLogCodes(text) == ModelNumbers(text, "LogCodes", 16), "log codes are as expected");
  Require(ParseOTATypes(text) == ModelOtaTypes(text), "types of messages are as expected");
  Require(ParseMessageLevels(text) == ModelLevels(text), "levels are as expected");
  Require(ParseMultiSim(text) == ModelMultiSim(text), "multi-SIM is as expected");
  return 0;
}
