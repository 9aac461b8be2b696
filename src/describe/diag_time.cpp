#include "describe/diag_time.h"

namespace corvane {
namespace {

constexpr std::int64_t kGpsEpoch = 315'964'800'000'000'000;  // 1980-01-06, in ns since 1970
constexpr std::int64_t kUnit = 1'250'000;                    // ns
constexpr std::int64_t kStepsPerUnit = 49'152;
constexpr unsigned kStepBits = 16;
constexpr std::uint64_t kStepMask = 0xFFFF;

// The most units that fit behind the epoch, with room for the longest fraction of one: the low part
// counts to 65,535, though no modem sends more than 49,151.
constexpr std::uint64_t kMostUnits =
    static_cast<std::uint64_t>((INT64_MAX - kGpsEpoch) / kUnit) - 2;

}  // namespace

std::optional<std::int64_t> UnixNanosecondsFromDiag(std::uint64_t timestamp) {
  const std::uint64_t units = timestamp >> kStepBits;
  if (units > kMostUnits) {
    return std::nullopt;
  }
  const auto steps = static_cast<std::int64_t>(timestamp & kStepMask);
  return kGpsEpoch + static_cast<std::int64_t>(units) * kUnit + steps * kUnit / kStepsPerUnit;
}

}  // namespace corvane
