#pragma once

#include <cstdint>
#include <optional>

#include "diag/little_endian.h"
#include "diag/packets.h"
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
[[nodiscard]] inline std::optional<sOtaPacket> ViewOtaPacket(const sSharedBuffer& item) {
  if (!item.IsUsable()) {
    return std::nullopt;
  }
  // A packet that ends with its OTA header is refused even when its message length is 0.
  if (item.size <= ota_log::kMessage) {
    return std::nullopt;
  }
  if (Load16(item.data + log_packet::kLogCode) != ota_log::kLogCode) {
    return std::nullopt;
  }
  const std::uint32_t messageLength = Load16(item.data + ota_log::kMessageLength);
  if (messageLength > item.size - ota_log::kMessage) {
    return std::nullopt;
  }
  return sOtaPacket{.channel = item.data[ota_log::kChannel],
                    .rbId = item.data[ota_log::kRadioBearer],
                    .message = item.data + ota_log::kMessage,
                    .bitCount = messageLength * 8};
}

// The FILETIME (100 ns units since 1601-01-01 UTC) of the GPS epoch, 1980-01-06 00:00:00 UTC.
inline constexpr std::uint64_t kGpsEpochFileTime = 119'604'384'000'000'000;

// `fileTime` as a DIAG timestamp: the upper 48 bits count units of 1.25 ms since the GPS epoch, the
// lower 16 are the fraction of a unit in 1/49152 steps. Nothing for a time before the epoch.
[[nodiscard]] std::optional<std::uint64_t> DiagTimestampFromFileTime(std::uint64_t fileTime);

}  // namespace corvane
