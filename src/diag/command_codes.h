#pragma once

#include <cstdint>

// The DIAG command codes (the first byte of a packet) that are told apart.
namespace corvane::command {

inline constexpr std::uint8_t kLog = 0x10;
inline constexpr std::uint8_t kMessage = 0x1F;
inline constexpr std::uint8_t kSubsystem = 0x4B;
inline constexpr std::uint8_t kEventReport = 0x60;
inline constexpr std::uint8_t kStatus = 0x63;
inline constexpr std::uint8_t kSecondEventReport = 0x74;
inline constexpr std::uint8_t kExtendedMessage = 0x79;
inline constexpr std::uint8_t kSecondSubsystem = 0x80;
inline constexpr std::uint8_t kTerseMessage = 0x92;

// The greatest code that an item of the capture file may have whose type is to be chosen.
inline constexpr std::uint8_t kLast = 0x92;

[[nodiscard]] constexpr bool IsSubsystem(std::uint8_t code) {
  return code == kSubsystem || code == kSecondSubsystem;
}

[[nodiscard]] constexpr bool IsEventReport(std::uint8_t code) {
  return code == kEventReport || code == kSecondEventReport;
}

}  // namespace corvane::command
