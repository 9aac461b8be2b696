#pragma once

#include <cstdint>
#include <optional>

#include "diag/shared_buffer.h"

namespace corvane {

// The over-the-air signalling log, one WCDMA RRC message a packet:
//
//   offset  bytes
//    0      1      DIAG command code 16, log
//    1      1      more
//    2      2      packet length - 4
//    4      2      packet length - 4, again
//    6      2      log code 0x412F
//    8      8      DIAG timestamp (DiagTimestampFromFileTime)
//   16      1      channel of the message
//   17      1      radio bearer
//   18      2      length of the message in bytes
//   20             the message, in unaligned PER (3GPP TS 25.331)
inline constexpr std::uint16_t kOtaLogCode = 0x412F;

inline constexpr std::uint32_t kLogLengthOffset = 2;
inline constexpr std::uint32_t kLogLengthAgainOffset = 4;
inline constexpr std::uint32_t kLogCodeOffset = 6;
inline constexpr std::uint32_t kLogTimestampOffset = 8;
inline constexpr std::uint32_t kLogHeaderSize = 16;
inline constexpr std::uint32_t kUncountedLogBytes = 4;  // left out of both length fields

// The OTA header counts from the end of the log header.
inline constexpr std::uint32_t kOtaChannelOffset = 0;
inline constexpr std::uint32_t kOtaRbIdOffset = 1;
inline constexpr std::uint32_t kOtaMsgLengthOffset = 2;
inline constexpr std::uint32_t kOtaHeaderSize = 4;

// The channels that matter to the reassembly of system information.
inline constexpr std::uint8_t kOtaChannelBcchBch = 4;
inline constexpr std::uint8_t kOtaChannelBcchFach = 5;
// Complete blocks, rebuilt here from the segments that came on BCH or on FACH.
inline constexpr std::uint8_t kOtaChannelSibFromBch = 254;
inline constexpr std::uint8_t kOtaChannelSibFromFach = 255;

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
