#include "ota/ota_packet.h"

namespace corvane {
namespace {

constexpr std::uint64_t kFileTimeStepsPerUnit = 12'500;  // 1.25 ms in steps of 100 ns
constexpr std::uint64_t kFractionsPerUnit = 49'152;

}  // namespace

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
