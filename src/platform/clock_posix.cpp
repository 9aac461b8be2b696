#include "platform/clock.h"
#include "platform/posix_calls.h"

namespace corvane {
namespace {

constexpr std::uint64_t kUnitsPerSecond = 10'000'000;

}  // namespace

sPosixCalls& PosixCalls() {
  static sPosixCalls calls;
  return calls;
}

std::uint64_t SystemFileTime() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return (static_cast<std::uint64_t>(now.tv_sec) + kSecondsFrom1601To1970) * kUnitsPerSecond +
         static_cast<std::uint64_t>(now.tv_nsec) / 100;
}

std::tm LocalCalendarTime() {
  const std::time_t now = ::time(nullptr);
  std::tm local{};
  if (PosixCalls().localtime_r(&now, &local) == nullptr) {
    return std::tm{};
  }
  return local;
}

}  // namespace corvane
