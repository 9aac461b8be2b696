#include <windows.h>

#include "platform/clock.h"

namespace corvane {

std::uint64_t SystemFileTime() {
  FILETIME now{};
  GetSystemTimeAsFileTime(&now);
  return (std::uint64_t{now.dwHighDateTime} << 32) | now.dwLowDateTime;
}

}  // namespace corvane
