#include <gtest/gtest.h>

#include <csignal>

#include "platform/bounded_copy_end.h"

namespace corvane {

bool IsEndOfOverlongCopy(int status) { return testing::KilledBySignal(SIGABRT)(status); }

}  // namespace corvane
