#pragma once

#include <iosfwd>
#include <memory>
#include <string>

#include "corvane/command/standard_streams.h"
#include "reader/capture_file.h"

// How a command opens the captures that it reads.
namespace corvane::tools {

// Opens the bytes at `path`, or those of standard input or a named pipe: these are read to their
// end first, into a temporary file without a name, since a capture is read here and there, and stay
// there until the program ends. So they may be opened again, and by several threads. Null when that
// fails; `reason` then receives why, as text for the user.
[[nodiscard]] std::unique_ptr<cByteSource> OpenBytes(const std::string& path, std::string& reason);

// The same as cCaptureFile::Open does, of which `error` and `check` are.
[[nodiscard]] std::unique_ptr<cCaptureFile> OpenCapture(const std::string& path,
                                                        sCaptureError& error,
                                                        eCheck check = eCheck::Records);

// The capture whose markers (reader/markers.h) belong to `path`: none are beside standard input.
[[nodiscard]] std::string MarkedCapture(const std::string& path);

// Tells on `errors` what of the markers of `path` cannot be read, behind the name of the command
// that has read the others and ended with `exitCode`. Returns that code, or 1 where there is such a
// problem.
[[nodiscard]] int EndWithMarkers(const char* command, const std::string& path, int exitCode,
                                 std::ostream& errors);

// The file as messages call it: "standard input", or `path`.
[[nodiscard]] std::string InputName(const std::string& path);

}  // namespace corvane::tools
