#include <windows.h>

#include <cerrno>

#include "platform/stream_error.h"

namespace corvane {

int LastStreamError() {
  const DWORD reason = GetLastError();
  const int error = errno != 0 ? errno : EIO;
  const bool isClosedPipe =
      reason == ERROR_NO_DATA || reason == ERROR_BROKEN_PIPE || reason == ERROR_PIPE_NOT_CONNECTED;
  return error == EINVAL && isClosedPipe ? EPIPE : error;
}

}  // namespace corvane
