#include <gtest/gtest.h>

#include "platform/bounded_copy_end.h"

namespace corvane {

bool IsEndOfOverlongCopy(int status) {
  return testing::ExitedWithCode(static_cast<int>(0xC0000417))(status);
}

}  // namespace corvane
