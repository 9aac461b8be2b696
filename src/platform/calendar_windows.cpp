#include <time.h>

#include "platform/calendar.h"
#include "platform/windows_calls.h"

namespace corvane {

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
