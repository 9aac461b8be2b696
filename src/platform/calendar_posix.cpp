#include <time.h>

#include "platform/calendar.h"

namespace corvane {

std::tm LocalCalendarTime() {
  const std::time_t now = ::time(nullptr);
  std::tm local{};
  if (localtime_r(&now, &local) == nullptr) {
    return std::tm{};
  }
  return local;
}

}  // namespace corvane
