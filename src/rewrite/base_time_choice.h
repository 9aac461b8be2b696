#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>

#include "capture/isf/layout.h"
#include "reader/byte_source.h"
#include "rewrite/block_recovery.h"

namespace corvane {

// What is known of a block's base time. Times are milliseconds since 1601.
struct sBaseTimeEvidence {
  std::uint64_t own = 0;                 // in the block itself
  std::optional<std::uint64_t> indexed;  // in the block index
  std::optional<std::uint64_t> before;   // of the block before it, and of the one behind
  std::optional<std::uint64_t> after;
  bool isOfCompleteFile = false;
  bool hasItems = false;  // its directory leads to some
  // By the modem's clock, from a packet that tells its time; asked only where it matters.
  std::function<std::optional<std::uint64_t>()> byModem;
};

struct sChosenBaseTime {
  std::optional<std::uint64_t> time;
  // What was wrong, behind "the base time of the block"; null when nothing was.
  const char* problem = nullptr;
  bool isLoss = false;  // the time is not sure to be the right one
};

// The block's own base time, unless that of the block index is better. One that no clock of these
// years shows is worse than one that does. Between two that both may be, the time by the modem
// decides when it is near to one alone, or just that of one, and then the blocks around when only
// one lies between them. Where nothing decides, the block's own is taken; without that of the
// index too, unless it is years from the modem's time and from both blocks around.
[[nodiscard]] sChosenBaseTime ChooseBaseTime(const sBaseTimeEvidence& evidence);

// A block's base time by the modem's clock: from the first packet that tells its time and its
// length, of which another one of the first has the same within an hour, if there are others.
[[nodiscard]] std::optional<std::uint64_t> BaseTimeByModem(
    cByteSource& source, const sBlockToRecover& block,
    std::span<const std::uint8_t, isf::kDirectorySize> directory);

}  // namespace corvane
