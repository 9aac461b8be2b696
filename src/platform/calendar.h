#pragma once

#include <ctime>

namespace corvane {

// The local calendar time of now. All nine fields are zero when the system cannot tell it.
[[nodiscard]] std::tm LocalCalendarTime();

}  // namespace corvane
