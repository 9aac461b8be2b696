#include "corvane/command/readable_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "convert/characters.h"

namespace corvane::tools {

std::string Quote(std::string_view text) {
  std::string quoted = "\"";
  while (!text.empty()) {
    const std::size_t end = std::min(text.find_first_of("\"\\"), text.size());
    AppendInert(quoted, text.substr(0, end), {});
    text.remove_prefix(end);
    if (!text.empty()) {
      (quoted += '\\') += text.front();
      text.remove_prefix(1);
    }
  }
  return quoted += '"';
}

std::string Readable(std::string_view text) {
  std::string readable;
  AppendInert(readable, text, {});
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
