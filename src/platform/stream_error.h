#pragma once

namespace corvane {

// Why a call on a stream of the C library has just failed, as a value of errno that is never 0.
// EPIPE: nobody reads the pipe any more; Windows' C library calls that an invalid argument. errno
// has to be 0 before the failing call.
[[nodiscard]] int LastStreamError();

}  // namespace corvane
