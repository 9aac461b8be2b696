#include "convert/modem_clock.h"

#include "describe/diag_time.h"
#include "platform/clock.h"

namespace corvane {
namespace {

constexpr std::uint64_t kMostMilliseconds =
    static_cast<std::uint64_t>(INT64_MAX / kNanosecondsPerMillisecond);

// Both are 0 or above, so the difference cannot overflow.
[[nodiscard]] bool AreFar(std::int64_t one, std::int64_t other) {
  const std::int64_t apart = one - other;
  return apart > cModemClock::kFarthest || apart < -cModemClock::kFarthest;
}

}  // namespace

std::int64_t UnixNanosecondsOfItem(std::uint64_t itemTime) {
  if (itemTime < kUnixEpochMilliseconds) {
    return 0;
  }
  const std::uint64_t milliseconds = itemTime - kUnixEpochMilliseconds;
  return milliseconds > kMostMilliseconds
             ? INT64_MAX
             : static_cast<std::int64_t>(milliseconds) * kNanosecondsPerMillisecond;
}

sFrameTime cModemClock::TimeOf(std::uint64_t itemTime, std::optional<std::uint64_t> modemTime,
                               bool isImported) const {
  const auto lessLeap = [this](std::int64_t time) { return time > leap ? time - leap : 0; };
  const std::int64_t recorded = UnixNanosecondsOfItem(itemTime);
  const std::int64_t host = isImported ? lessLeap(recorded) : recorded;
  if (clock == eExportClock::Host || !modemTime) {
    return {host};
  }
  const std::optional<std::int64_t> modem = UnixNanosecondsFromDiag(*modemTime);
  if (!modem || AreFar(*modem, recorded)) {
    return {host, false};
  }
  return {lessLeap(*modem)};
}

}  // namespace corvane
