#include "support/controllable_clock.h"

#include <atomic>

namespace corvane {
namespace {

constinit std::atomic<std::uint64_t> now{kClockStart};

// Unsigned arithmetic takes a negative count backwards.
[[nodiscard]] std::uint64_t UnitsOf(std::int64_t milliseconds) {
  return static_cast<std::uint64_t>(milliseconds) * 10'000;
}

}  // namespace

std::uint64_t ControllableFileTime() { return now; }

void SetFileTime(std::uint64_t fileTime) { now = fileTime; }

void SetClockFromStart(std::int64_t milliseconds) { now = kClockStart + UnitsOf(milliseconds); }

void AdvanceClock(std::int64_t milliseconds) { now += UnitsOf(milliseconds); }

}  // namespace corvane
