#include "convert/rebuilt_blocks.h"

#include <cstdlib>

#include "describe/diag_time.h"
#include "diag/packets.h"
#include "platform/clock.h"

namespace corvane {
namespace {

// `itemTime` counts milliseconds since 1601, `stamp` is a DIAG timestamp.
[[nodiscard]] bool IsWithinMillisecond(std::uint64_t itemTime, std::uint64_t stamp) {
  const std::optional<std::int64_t> stampTime = UnixNanosecondsFromDiag(stamp);
  if (!stampTime) {
    return false;
  }
  // Item times reach further than 63 bits of nanoseconds: milliseconds are compared first.
  const std::int64_t milliseconds = static_cast<std::int64_t>(itemTime) -
                                    static_cast<std::int64_t>(kUnixEpochMilliseconds) -
                                    *stampTime / kNanosecondsPerMillisecond;
  if (std::abs(milliseconds) > 2) {
    return false;
  }
  const std::int64_t rest = *stampTime % kNanosecondsPerMillisecond;
  return std::abs(milliseconds * kNanosecondsPerMillisecond - rest) <= kNanosecondsPerMillisecond;
}

}  // namespace

bool IsRebuilt(const sCaptureItem& item, const sDescription& description, const sSource& source) {
  if (source.imported) {
    return false;
  }
  if (description.logCode != ota_log::kLogCode || !description.modemTime) {
    return false;
  }
  // The recorder puts what it rebuilds into no wrapper.
  if (description.subscription || item.bytes.size() <= ota_log::kChannel) {
    return false;
  }
  const std::uint8_t channel = item.bytes[ota_log::kChannel];
  return (channel == ota_log::kSibFromBch || channel == ota_log::kSibFromFach) &&
         IsWithinMillisecond(item.time, *description.modemTime);
}

}  // namespace corvane
