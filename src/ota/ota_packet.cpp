#include "ota/ota_packet.h"

#include "diag/little_endian.h"
#include "diag/packets.h"

namespace corvane {
namespace {

constexpr std::uint64_t kFileTimeStepsPerUnit = 12'500;  // 1.25 ms in steps of 100 ns
constexpr std::uint64_t kFractionsPerUnit = 49'152;

}  // namespace

std::optional<sOtaPacket> ViewOtaPacket(const sSharedBuffer& item) {
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
