#pragma once

#include <cstdint>
#include <optional>

#include "convert/export.h"

namespace corvane {

// An item's time in nanoseconds since 1970-01-01 UTC. Times that 63 bits do not hold become the
// nearest that they do.
[[nodiscard]] std::int64_t UnixNanosecondsOfItem(std::uint64_t itemTime);

struct sFrameTime {
  std::int64_t nanoseconds = 0;  // since 1970-01-01 UTC
  bool isBelieved = true;        // false: the packet has a stamp, which was too far off to count
};

// Gives the items of an export their times.
//
// A modem that has had no network time counts from 1980, and now and then a stamp is nonsense.
// Where a stamp is more than kFarthest from its item's time, the item's counts.
class cModemClock {
 public:
  static constexpr std::int64_t kFarthest = std::int64_t{2} * 24 * 3600 * 1'000'000'000;  // ns

  cModemClock(eExportClock wanted, std::uint32_t leapSeconds)
      : clock(wanted), leap(std::int64_t{leapSeconds} * 1'000'000'000) {}

  // The time of an item. `itemTime` is in milliseconds since 1601, `modemTime` a DIAG timestamp, if
  // the packet has one. `isImported`: the item's time is by the modem's clock too.
  [[nodiscard]] sFrameTime TimeOf(std::uint64_t itemTime, std::optional<std::uint64_t> modemTime,
                                  bool isImported) const;

 private:
  eExportClock clock;
  std::int64_t leap;  // ns
};

}  // namespace corvane
