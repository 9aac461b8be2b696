#pragma once

#include <time.h>

#include <ctime>

namespace corvane {

// The calls into a POSIX system whose failures the tests provoke, as the library makes them. The
// counterpart of platform/windows_calls.h.
struct sPosixCalls {
  std::tm* (*localtime_r)(const std::time_t* time, std::tm* result) = ::localtime_r;
};

// The one record of the process. Tests replace a field (tests/support/replaced_call.h); the library
// changes none.
[[nodiscard]] sPosixCalls& PosixCalls();

}  // namespace corvane
