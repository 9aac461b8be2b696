#pragma once

#include <cstdint>
#include <optional>

#include "diag/shared_buffer.h"

namespace corvane {

// A 0x412F packet whose layout has been checked. Views the item that it was made from.
struct sOtaPacket {
  std::uint8_t channel = 0;
  std::uint8_t rbId = 0;
  const std::uint8_t* message = nullptr;
  std::uint32_t bitCount = 0;  // of the message
};

// The item as a 0x412F packet, or nothing: when it is not usable, carries another log code, holds
// nothing behind the OTA header, or is too short for its message.
[[nodiscard]] std::optional<sOtaPacket> ViewOtaPacket(const sSharedBuffer& item);

// The FILETIME (100 ns units since 1601-01-01 UTC) of the GPS epoch, 1980-01-06 00:00:00 UTC.
inline constexpr std::uint64_t kGpsEpochFileTime = 119'604'384'000'000'000;

// `fileTime` as a DIAG timestamp: the upper 48 bits count units of 1.25 ms since the GPS epoch, the
// lower 16 are the fraction of a unit in 1/49152 steps. Nothing for a time before the epoch.
[[nodiscard]] std::optional<std::uint64_t> DiagTimestampFromFileTime(std::uint64_t fileTime);

}  // namespace corvane
