#include "corvane/command/readable_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace corvane::tools {
namespace {

// How many bytes the character in front of `text` has; 0 when that is no UTF-8. `text` is not
// empty.
[[nodiscard]] std::size_t CharacterSize(std::string_view text) {
  const auto byte = [&text](std::size_t place) {
    return place < text.size() ? static_cast<std::uint8_t>(text[place]) : std::uint8_t{0};
  };
  const std::uint8_t first = byte(0);
  if (first < 0x80) {
    return 1;
  }
  if (first < 0xC2 || first > 0xF4) {
    return 0;
  }
  // Longer forms than needed, surrogates and numbers above U+10FFFF show in the second byte.
  const std::uint8_t least = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
  const std::uint8_t most = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
  if (byte(1) < least || byte(1) > most) {
    return 0;
  }
  const std::size_t size = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  for (std::size_t place = 2; place < size; ++place) {
    if ((byte(place) & 0xC0) != 0x80) {
      return 0;
    }
  }
  return size;
}

// Appends a text whose control characters and bytes that are no UTF-8 are written as "\x1B".
void AppendReadable(std::string& readable, std::string_view text, bool isQuoted) {
  while (!text.empty()) {
    const std::size_t size = CharacterSize(text);
    const std::string_view character = text.substr(0, std::max<std::size_t>(size, 1));
    text.remove_prefix(character.size());
    const auto first = static_cast<std::uint8_t>(character.front());
    const auto last = static_cast<std::uint8_t>(character.back());
    if (size == 0 || first < 0x20 || first == 0x7F || (first == 0xC2 && last < 0xA0)) {
      // The control characters U+0080 to U+009F are obeyed by some terminals too.
      fmt::format_to(std::back_inserter(readable), "\\x{:02X}", last);
      continue;
    }
    if (isQuoted && (first == '"' || first == '\\')) {
      readable += '\\';
    }
    readable += character;
  }
}

}  // namespace

std::string Quote(std::string_view text) {
  std::string quoted = "\"";
  AppendReadable(quoted, text, true);
  return quoted += '"';
}

std::string Readable(std::string_view text) {
  std::string readable;
  AppendReadable(readable, text, false);
  return readable;
}

void AppendHexDump(std::string& text, std::span<const std::uint8_t> bytes,
                   std::string_view indent) {
  constexpr std::size_t kBytesInLine = 16;
  const auto out = std::back_inserter(text);
  for (std::size_t place = 0; place < bytes.size(); place += kBytesInLine) {
    const auto line = bytes.subspan(place, std::min(kBytesInLine, bytes.size() - place));
    fmt::format_to(out, "{}{:04X} ", indent, place);
    for (const std::uint8_t byte : line) {
      fmt::format_to(out, " {:02X}", byte);
    }
    text.append(3 * (kBytesInLine - line.size()) + 2, ' ');
    for (const std::uint8_t byte : line) {
      text += byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
    }
    text += '\n';
  }
}

std::string FormatBytes(std::uint64_t bytes) {
  if (bytes < 1000) {
    return fmt::format("{} B", bytes);
  }
  auto value = static_cast<double>(bytes);
  const char* unit = "";
  for (const char* larger : {"kB", "MB", "GB", "TB", "PB", "EB"}) {
    value /= 1000.0;
    unit = larger;
    // 999.95 would be shown as 1000.0.
    if (value < 999.95) {
      break;
    }
  }
  return fmt::format("{:.1f} {}", value, unit);
}

std::string FormatCount(std::uint64_t count) {
  std::string digits = std::to_string(count);
  for (std::size_t place = digits.size(); place > 3;) {
    place -= 3;
    digits.insert(place, 1, ',');
  }
  return digits;
}

std::string FormatItems(std::uint64_t count) {
  return FormatCount(count) + (count == 1 ? " item" : " items");
}

std::string FormatElapsed(std::chrono::milliseconds elapsed) {
  const std::chrono::hh_mm_ss time(std::chrono::floor<std::chrono::seconds>(elapsed));
  return fmt::format("{}:{:02}:{:02}", time.hours().count(), time.minutes().count(),
                     time.seconds().count());
}

}  // namespace corvane::tools
