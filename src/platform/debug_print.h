#pragma once

namespace corvane {

// The library's one diagnostic output: printf's formatting to the process's standard output, with
// no prefix, time stamp or added newline.
void DebugPrint(const char* format, ...);

}  // namespace corvane
