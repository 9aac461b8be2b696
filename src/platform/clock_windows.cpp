#include "platform/clock.h"
#include "platform/windows_calls.h"

namespace corvane {

std::uint64_t SystemFileTime() {
  FILETIME now{};
  GetSystemTimeAsFileTime(&now);
  return (std::uint64_t{now.dwHighDateTime} << 32) | now.dwLowDateTime;
}

std::tm LocalCalendarTime() {
  __time64_t now = 0;
  _time64(&now);
  std::tm local{};
  if (KernelCalls()._localtime64_s(&local, &now) != 0) {
    return std::tm{};
  }
  return local;
}

}  // namespace corvane
