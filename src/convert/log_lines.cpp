#include "convert/log_lines.h"

#include <cstddef>
#include <cstdint>

namespace corvane {
namespace {

constexpr std::string_view kMedium = "<14>";
constexpr std::string_view kPartEnd = "  ";

// By the highest known level, for a message can have several.
[[nodiscard]] std::string_view Priority(std::uint32_t levels) {
  // That this bit means fatal is a guess, which fits the messages that were seen.
  constexpr std::uint32_t kFatal = 1U << 4;
  constexpr std::uint32_t kError = 1U << 3;
  constexpr std::uint32_t kHigh = 1U << 2;
  constexpr std::uint32_t kLow = 1U << 0;
  constexpr std::uint32_t kKnown = 0x1F;
  if ((levels & kFatal) != 0) {
    return "<10>";
  }
  if ((levels & kError) != 0) {
    return "<11>";
  }
  if ((levels & kHigh) != 0) {
    return "<13>";
  }
  return (levels & kKnown) == kLow ? "<15>" : kMedium;
}

// A line feed would end the line, and other control characters are not for it either.
[[nodiscard]] std::string OneLine(std::string text) {
  constexpr char kDelete = 0x7F;
  for (char& character : text) {
    if (static_cast<unsigned char>(character) < ' ' || character == kDelete) {
      character = ' ';
    }
  }
  return text;
}

[[nodiscard]] std::string Place(const sDebugMessage& message) {
  const std::string line = message.line ? std::to_string(*message.line) : std::string();
  if (message.file.empty()) {
    return line.empty() ? line : "line " + line;
  }
  return line.empty() ? message.file : message.file + ":" + line;
}

// The text or what stands for it, and the arguments where it has not all of them.
[[nodiscard]] std::string TextAndArguments(const sDebugMessage& message) {
  std::string text = message.hash ? "hash " + HexText(*message.hash, 8) : message.text;
  if (!message.HasOtherArguments()) {
    return text;
  }
  std::string_view before = " (";
  for (const std::uint32_t argument : message.arguments) {
    text += before;
    text += HexText(argument, 1);
    before = ", ";
  }
  return text + ")";
}

[[nodiscard]] std::string SubsystemName(const sDebugMessage& message) {
  if (!message.subsystem.empty() || !message.ssid) {
    return std::string(message.subsystem);
  }
  return "SSID " + std::to_string(*message.ssid);
}

void AppendPart(std::string& line, const std::string& part) {
  if (part.empty()) {
    return;
  }
  if (!line.empty()) {
    line += kPartEnd;
  }
  line += part;
}

}  // namespace

std::string HexText(std::uint64_t number, unsigned digits) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text;
  for (; number != 0 || text.size() < digits; number >>= 4) {
    text.insert(text.begin(), kDigits[number & 0xF]);
  }
  return "0x" + text;
}

std::string EventLine(const sEvent& event) {
  std::string line = std::string(kMedium) + "event " + std::to_string(event.id);
  if (!event.name.empty()) {
    line += " ";
    line += event.name;
  }
  if (!event.value.empty()) {
    line += ": " + event.value;
  }
  if (!event.payload.empty()) {
    line += " (";
    for (const std::uint8_t byte : event.payload) {
      line += HexText(byte, 2).substr(2);
    }
    line += ")";
  }
  return OneLine(std::move(line));
}

std::string MessageLine(const sDebugMessage& message) {
  std::string line;
  AppendPart(line, SubsystemName(message));
  AppendPart(line, Place(message));
  AppendPart(line, TextAndArguments(message));
  if (message.dropped != 0) {
    AppendPart(line, "(" + std::to_string(message.dropped) + " lost before)");
  }
  return std::string(Priority(message.levels.value_or(0))) + OneLine(std::move(line));
}

std::string MarkerTextLine(std::string_view text) {
  std::string line = "marker";
  AppendPart(line, std::string(text));
  return TextLine(line);
}

std::string TextLine(std::string_view text) {
  return std::string(kMedium) + OneLine(std::string(text));
}

}  // namespace corvane
