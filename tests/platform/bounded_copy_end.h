#pragma once

namespace corvane {

// Whether a process that ended with `status`, as GoogleTest's death tests report it, ended the way
// that CopyBounded ends it for a source that is too long.
[[nodiscard]] bool IsEndOfOverlongCopy(int status);

}  // namespace corvane
