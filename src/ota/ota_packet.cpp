#include "ota/ota_packet.h"

#include "diag/little_endian.h"

namespace corvane {
namespace {

constexpr std::uint64_t kFileTimeStepsPerUnit = 12'500;  // 1.25 ms in steps of 100 ns
constexpr std::uint64_t kFractionsPerUnit = 49'152;

}  // namespace

std::optional<sOtaPacket> ViewOtaPacket(const sSharedBuffer& item) {
  if (!item.IsUsable()) {
    return std::nullopt;
  }
  if (item.size <= kLogHeaderSize) {
    return std::nullopt;
  }
  if (Load16(item.data + kLogCodeOffset) != kOtaLogCode) {
    return std::nullopt;
  }
  // A packet that ends with its OTA header is refused even when its message length is 0.
  if (item.size - kLogHeaderSize <= kOtaHeaderSize) {
    return std::nullopt;
  }

  const std::uint8_t* header = item.data + kLogHeaderSize;
  const std::uint32_t messageLength = Load16(header + kOtaMsgLengthOffset);
  if (messageLength > item.size - kLogHeaderSize - kOtaHeaderSize) {
    return std::nullopt;
  }
  return sOtaPacket{.channel = header[kOtaChannelOffset],
                    .rbId = header[kOtaRbIdOffset],
                    .message = header + kOtaHeaderSize,
                    .bitCount = messageLength * 8};
}

std::optional<std::uint64_t> DiagTimestampFromFileTime(std::uint64_t fileTime) {
  if (fileTime < kGpsEpochFileTime) {
    return std::nullopt;
  }
  const std::uint64_t steps = fileTime - kGpsEpochFileTime;
  // Truncated, so that the fraction ends at 49148: 100 ns are almost four of its steps.
  const std::uint64_t fraction =
      steps % kFileTimeStepsPerUnit * kFractionsPerUnit / kFileTimeStepsPerUnit;
  return (steps / kFileTimeStepsPerUnit << 16) + fraction;
}

}  // namespace corvane
