#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace corvane {

// The length that an IP packet states of itself, header included (RFC 791, RFC 8200): more than
// there is where the modem logged the packet's beginning only. 0 for bytes that do not begin with a
// whole header.
[[nodiscard]] inline std::size_t StatedIpLength(std::span<const std::uint8_t> packet) {
  constexpr std::size_t kVersion4Header = 20;
  constexpr std::size_t kVersion4Length = 2;
  constexpr std::size_t kVersion6Header = 40;
  constexpr std::size_t kVersion6Length = 4;  // without the header
  const auto number = [&packet](std::size_t at) {
    return static_cast<std::size_t>(packet[at] << 8 | packet[at + 1]);
  };
  if (packet.size() >= kVersion4Header && packet[0] >> 4 == 4) {
    return number(kVersion4Length);
  }
  if (packet.size() >= kVersion6Header && packet[0] >> 4 == 6) {
    return kVersion6Header + number(kVersion6Length);
  }
  return 0;
}

}  // namespace corvane
