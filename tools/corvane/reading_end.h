#pragma once

#include <iosfwd>
#include <optional>
#include <string>

#include "reader/capture_file.h"

namespace corvane::tools {

// How the commands that read a capture file end. Each writes a line about what is wrong to
// `errors`, led by the command's name and the file's, and returns the exit code.

// The file could not be opened at all.
[[nodiscard]] int ReportUnreadable(const char* command, const std::string& path,
                                   const sCaptureError& error, std::ostream& errors);

// The file was read to its end, or to an item that could not be read (`unreadable`), and what there
// is was written to `out`.
[[nodiscard]] int ReportEnd(const char* command, const std::string& path, const cCaptureFile& file,
                            const std::optional<sCaptureError>& unreadable, const std::ostream& out,
                            std::ostream& errors);

}  // namespace corvane::tools
