#include "rewrite/base_time_choice.h"

#include <algorithm>

#include "capture/isf/layout.h"
#include "rewrite/record_proof.h"

namespace corvane {
namespace {

// No clock reaches beyond 48 bits: what stands above them came there.
constexpr std::uint64_t kClockBits = (std::uint64_t{1} << 48) - 1;

}  // namespace

sChosenBaseTime ChooseBaseTime(const sBaseTimeEvidence& evidence) {
  const std::uint64_t own = evidence.own;
  const std::optional<std::uint64_t>& indexed = evidence.indexed;
  const bool isPossible = own <= isf::kLatestTime;
  if (isPossible && (IsLikelyTime(own) || evidence.isOfCompleteFile) &&
      (!indexed || *indexed == own)) {
    return {own};
  }
  const auto reference = evidence.byModem();
  if (indexed && *indexed <= isf::kLatestTime) {
    const auto distance = [&](std::uint64_t time) {
      return reference ? std::max(time, *reference) - std::min(time, *reference)
                       : std::uint64_t{IsLikelyTime(time) ? 0u : 1u};
    };
    if (!isPossible || distance(*indexed) < distance(own)) {
      return {*indexed, " cannot be right: that of the block index is taken"};
    }
    return {own, " is not that of the block index, and fits the items better"};
  }
  if (!isPossible && IsLikelyTime(own & kClockBits)) {
    return {own & kClockBits, " cannot be right: its two highest bytes are taken for zero"};
  }
  if (reference) {
    return {reference,
            " is lost: the items have the time of their packets, as the modem's clock had it"};
  }
  if (isPossible && evidence.hasItems) {
    return {own};
  }
  return {};
}

}  // namespace corvane
