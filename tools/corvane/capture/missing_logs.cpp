#include "corvane/capture/missing_logs.h"

#include <fmt/format.h>

#include <algorithm>

#include "corvane/command/readable_text.h"

namespace corvane::tools {
namespace {

using std::chrono::milliseconds;

constexpr char kRemedy[] = "<MultiSim>unwrap</MultiSim> in the configuration records them";

// As requests are named (analysis/command_names.h).
constexpr char kLogMaskRequest[] = "log mask, equipment ID ";

[[nodiscard]] bool HasLogs(const cCaptureFollower& follower) {
  const auto& items = follower.ItemsByType();
  return items[isf::kLogItem] + items[isf::kShortLogItem] + items[isf::kSignallingLogItem] != 0;
}

[[nodiscard]] bool HasAcceptedLogMask(const cRequestReplies& requests) {
  return std::ranges::any_of(requests.ByName(), [](const auto& entry) {
    return entry.first.starts_with(kLogMaskRequest) && entry.second.totals.answered != 0;
  });
}

[[nodiscard]] std::string DescribePerhaps(const std::string& what) {
  return fmt::format(
      "{}, though the modem accepted the log masks: perhaps it has several SIMs and wraps its logs "
      "in packets that are refused; {}",
      what, kRemedy);
}

}  // namespace

std::optional<std::string> cMissingLogs::Look(const cCaptureFollower& follower,
                                              milliseconds elapsed) {
  if (!asksForLogs || unwraps) {
    return std::nullopt;
  }
  hasLogs = hasLogs || HasLogs(follower);
  isAccepted = isAccepted || HasAcceptedLogMask(follower.Requests());
  const bool isSetUp = follower.IsConnected() && follower.Requests().Waiting() == nullptr;
  if (hasLogs || !isAccepted || !isSetUp) {
    setUpSince.reset();
    return std::nullopt;
  }
  setUpSince = setUpSince.value_or(elapsed);
  if (isTold || elapsed - *setUpSince < kPatienceForLogs) {
    return std::nullopt;
  }
  isTold = true;
  return DescribePerhaps(
      fmt::format("no log has come for {} s",
                  std::chrono::floor<std::chrono::seconds>(elapsed - *setUpSince).count()));
}

std::optional<std::string> cMissingLogs::AtEnd(std::uint64_t logs, std::uint64_t refused) const {
  if (unwraps) {
    return std::nullopt;
  }
  if (refused > logs) {
    return fmt::format(
        "{} refused, and {} recorded: a modem with several SIMs wraps its logs in packets that are "
        "refused; {}",
        FormatCount(refused) + (refused == 1 ? " packet was" : " packets were"),
        FormatCount(logs) + (logs == 1 ? " log" : " logs"), kRemedy);
  }
  if (isAccepted && !hasLogs) {
    return DescribePerhaps("no log was recorded");
  }
  return std::nullopt;
}

}  // namespace corvane::tools
