#include "convert/item_times.h"

#include <utility>

#include "describe/diag_time.h"
#include "platform/clock.h"

namespace corvane {
namespace {

constexpr std::uint64_t kUnitsPerSecond = 10'000'000;
constexpr std::uint64_t kDay = 86'400 * kUnitsPerSecond;
constexpr std::int64_t kNanosecondsPerUnit = 100;
constexpr std::uint64_t kFrom1601To1970 = kSecondsFrom1601To1970 * kUnitsPerSecond;

[[nodiscard]] std::optional<std::uint64_t> FileTimeFromDiag(std::uint64_t timestamp) {
  const auto nanoseconds = UnixNanosecondsFromDiag(timestamp);
  if (!nanoseconds) {
    return std::nullopt;
  }
  return kFrom1601To1970 + static_cast<std::uint64_t>(*nanoseconds / kNanosecondsPerUnit);
}

[[nodiscard]] bool AreNear(std::uint64_t one, std::uint64_t other) {
  return (one < other ? other - one : one - other) <= kDay;
}

}  // namespace

std::uint64_t cItemTimes::Unknown() { return FileTimeFromDiag(0).value(); }

void cItemTimes::Add(std::optional<std::uint64_t> diagTimestamp) {
  if (!diagTimestamp) {
    ++unstamped;
    AddWithoutTime();
  } else if (const auto time = FileTimeFromDiag(*diagTimestamp)) {
    AddTime(*time);
  } else {
    ++nonsensical;
    AddWithoutTime();
  }
}

void cItemTimes::AddWithoutTime() {
  if (inDoubt || !lastTime) {
    ++waiting;
    return;
  }
  undated += lastKept ? 0U : 1U;
  Decide(*lastTime, 1);
}

void cItemTimes::AddTime(std::uint64_t time) {
  if (inDoubt) {
    Settle(AreNear(*inDoubt, time));
  }
  Decide(lastTime.value_or(time), std::exchange(waiting, 0));
  if (lastKept && !AreNear(*lastKept, time)) {
    inDoubt = time;
    return;
  }
  lastKept = time;
  Decide(time, 1);
}

void cItemTimes::DecideAll() {
  if (inDoubt) {
    Settle(true);
  }
  undated += waiting;
  Decide(Unknown(), std::exchange(waiting, 0));
}

std::uint64_t cItemTimes::Take() {
  const std::uint64_t time = decided.front();
  decided.pop_front();
  return time;
}

void cItemTimes::Settle(bool isKept) {
  if (isKept) {
    lastKept = inDoubt;
    Decide(*inDoubt, 1);
  } else {
    ++nonsensical;
    // There was a stamp before this one, so there is a time before it.
    Decide(*lastTime, 1);
  }
  inDoubt.reset();
  Decide(*lastTime, std::exchange(waiting, 0));
}

void cItemTimes::Decide(std::uint64_t time, std::size_t items) {
  if (items != 0) {
    decided.insert(decided.end(), items, time);
    lastTime = time;
  }
}

}  // namespace corvane
