#include "corvane/message_description.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "corvane/printable_text.h"
#include "diag/little_endian.h"

namespace corvane::tools {
namespace {

// Extended and terse messages begin with a head of 20 bytes, which has the number of arguments and
// the subsystem ID. In an extended message the arguments and then the format text follow.
constexpr std::size_t kArgumentCount = 2;
constexpr std::size_t kSsid = 14;
constexpr std::size_t kHeadSize = 20;

[[nodiscard]] bool IsPlainText(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char character) {
    return (character >= ' ' && character <= '~') || character == '\t' || character == '\n' ||
           character == '\r';
  });
}

[[nodiscard]] std::string DescribeHead(const char* kind, std::span<const std::uint8_t> packet) {
  if (packet.size() < kHeadSize) {
    return kind;
  }
  return fmt::format("{}, SSID {}", kind, Load16(&packet[kSsid]));
}

[[nodiscard]] std::string DescribeExtended(std::span<const std::uint8_t> packet) {
  const std::string description = DescribeHead("extended message", packet);
  if (packet.size() < kHeadSize) {
    return description;
  }
  const std::size_t textOffset = kHeadSize + std::size_t{packet[kArgumentCount]} * 4;
  if (packet.size() <= textOffset) {
    return description;
  }
  const auto rest = packet.subspan(textOffset);
  const auto terminator = std::find(rest.begin(), rest.end(), std::uint8_t{0});
  const std::string text(rest.begin(), terminator);
  // What is no text may be anything: an unknown layout is not shown as if it were known.
  if (terminator == rest.end() || text.empty() || !IsPlainText(text)) {
    return description;
  }
  return description + ", " + Quote(text);
}

}  // namespace

std::string DescribeMessage(std::span<const std::uint8_t> packet) {
  switch (packet.empty() ? 0 : packet[0]) {
    case 0x79:
      return DescribeExtended(packet);
    case 0x92:
      return DescribeHead("terse message", packet);
    default:
      return "debug message";
  }
}

}  // namespace corvane::tools
