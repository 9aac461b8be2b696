#include <cerrno>

#include "platform/stream_error.h"

namespace corvane {

int LastStreamError() { return errno != 0 ? errno : EIO; }

}  // namespace corvane
