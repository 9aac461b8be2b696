#include "corvane/packet_description.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>

#include "corvane/readable_text.h"
#include "diag/little_endian.h"

namespace corvane::tools {
namespace {

using Packet = std::span<const std::uint8_t>;

constexpr std::uint8_t kEventReport = 0x60;
constexpr std::uint8_t kLogMask = 0x73;
constexpr std::uint8_t kMessageLevel = 0x7D;
constexpr std::uint8_t kEventMask = 0x82;

[[nodiscard]] std::string Count(std::size_t number, const char* what) {
  return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

[[nodiscard]] std::size_t CountBits(Packet mask) {
  std::size_t bits = 0;
  for (const std::uint8_t byte : mask) {
    bits += static_cast<std::size_t>(std::popcount(byte));
  }
  return bits;
}

// 0x4B, and its second form 0x80.
[[nodiscard]] bool IsSubsystemPacket(Packet packet) {
  return packet.size() >= 4 && (packet[0] == 0x4B || packet[0] == 0x80);
}

[[nodiscard]] std::string SubsystemName(Packet packet) {
  return fmt::format("subsystem 0x{:02X} command 0x{:04X}", packet[1], Load16(&packet[2]));
}

// What follows the name of a request, or nothing where its layout is not that of the requests that
// carry masks.
[[nodiscard]] std::string RequestDetails(Packet packet) {
  if (packet[0] == kLogMask && packet.size() == 528 && packet[4] == 3) {
    return fmt::format(", equipment ID {}, {}", Load32(&packet[8]),
                       Count(CountBits(packet.subspan(16)), "log code"));
  }
  if (packet[0] == kEventMask && packet.size() > 6) {
    return ", " + Count(CountBits(packet.subspan(6)), "event");
  }
  if (packet[0] == kMessageLevel && packet.size() >= 8 && packet[1] == 4) {
    const unsigned first = Load16(&packet[2]);
    const unsigned last = Load16(&packet[4]);
    if (first != last) {
      return fmt::format(", SSIDs {} to {}", first, last);
    }
    std::string details = fmt::format(", SSID {}", first);
    if (packet.size() == 12) {
      details += fmt::format(", levels 0x{:08X}", Load32(&packet[8]));
    }
    return details;
  }
  if (packet[0] == kMessageLevel && packet.size() == 8 && packet[1] == 5) {
    return fmt::format(", all SSIDs, levels 0x{:08X}", Load32(&packet[4]));
  }
  if (packet[0] == kEventReport && packet.size() == 2) {
    return packet[1] == 0 ? ", off" : ", on";
  }
  return {};
}

// The modem's three ways of refusing a request.
[[nodiscard]] std::optional<const char*> RefusalName(std::uint8_t command) {
  switch (command) {
    case 0x13:
      return "unknown command";
    case 0x14:
      return "bad parameters";
    case 0x15:
      return "bad length";
    default:
      return std::nullopt;
  }
}

// The answer that holds a packet which the modem had kept.
[[nodiscard]] std::string DescribeGetItem(Packet packet) {
  constexpr std::size_t kStatus = 9;
  constexpr std::size_t kKeptPacket = 13;
  const std::uint32_t status = Load32(&packet[kStatus]);
  if (status != 0) {
    return fmt::format("get-item reply, status 0x{:X}", status);
  }
  return fmt::format("get-item reply, holds a packet of {}",
                     Count(packet.size() - kKeptPacket, "byte"));
}

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

[[nodiscard]] std::string DescribeHead(const char* kind, Packet packet) {
  if (packet.size() < kHeadSize) {
    return kind;
  }
  return fmt::format("{}, SSID {}", kind, Load16(&packet[kSsid]));
}

[[nodiscard]] std::string DescribeExtended(Packet packet) {
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

std::optional<std::string_view> CommandName(std::uint8_t command) {
  switch (command) {
    case 0x00:
      return "version";
    case 0x0C:
      return "status";
    case 0x1C:
      return "protocol version";
    case 0x1D:
      return "time stamp";
    case 0x60:
      return "event report";
    case 0x63:
      return "feature query";
    case 0x73:
      return "log mask";
    case 0x7C:
      return "build ID";
    case 0x7D:
      return "message level";
    case 0x82:
      return "event mask";
    default:
      return std::nullopt;
  }
}

std::string DescribeRequest(Packet packet) {
  if (IsSubsystemPacket(packet)) {
    return SubsystemName(packet) + " request";
  }
  if (packet.empty()) {
    return "request";
  }
  const auto name = CommandName(packet[0]);
  if (!name) {
    return fmt::format("request 0x{:02X}", packet[0]);
  }
  return fmt::format("{} request{}", *name, RequestDetails(packet));
}

std::string DescribeReply(Packet packet) {
  if (IsSubsystemPacket(packet)) {
    if (packet.size() >= 13 && packet[1] == 0x25 && Load16(&packet[2]) == 8) {
      return DescribeGetItem(packet);
    }
    return SubsystemName(packet) + " reply";
  }
  if (packet.empty()) {
    return "packet";
  }
  if (const auto refusal = RefusalName(packet[0])) {
    return fmt::format("request refused: {}", *refusal);
  }
  const auto name = CommandName(packet[0]);
  return name ? fmt::format("{} reply", *name) : fmt::format("packet 0x{:02X}", packet[0]);
}

std::string DescribeMessage(Packet packet) {
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
