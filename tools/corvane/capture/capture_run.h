#pragma once

#include "corvane/capture/capture_console.h"
#include "corvane/capture/capture_host.h"
#include "corvane/capture/capture_request.h"
#include "corvane/capture/printed_lines.h"

// A capture from what its user asked for to its exit code.
namespace corvane::tools {

// Captures with the library until the request or the user ends it. Returns the exit code: kExitGood
// when every file was read back as complete, kExitNothing when the device sent nothing or its
// set-up was stuck. A capture that could not start, or never reached its device, leaves no file,
// and the one that it was to replace as it is.
[[nodiscard]] int RunCapture(const sCaptureRequest& wanted, cCaptureHost& host,
                             cCaptureLibrary& library, cCaptureConsole& console,
                             const cPrintedLines& printed);

// The same on this machine, with corvane.dll and the standard streams. It is for Windows only:
// elsewhere it says so, and returns kExitUsage. Throws std::runtime_error when the library cannot
// be loaded.
[[nodiscard]] int RunCaptureHere(const sCaptureRequest& request);

}  // namespace corvane::tools
