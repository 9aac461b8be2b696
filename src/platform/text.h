#pragma once

#include <cstddef>

namespace corvane {

// Copies the NUL-terminated `source` into `destination`, which holds `size` bytes.
//
// A source of `size` characters or more is a fatal invalid-parameter condition, never silently cut:
// the process ends with status 0xC0000417 (STATUS_INVALID_CRUNTIME_PARAMETER) on Windows, whichever
// C runtime is linked, and aborts elsewhere.
void CopyBounded(char* destination, std::size_t size, const char* source);

// The library's one diagnostic output: printf's formatting to the process's standard output, with
// no prefix, time stamp or added newline.
void DebugPrint(const char* format, ...);

}  // namespace corvane
