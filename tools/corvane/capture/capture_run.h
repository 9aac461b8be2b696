#pragma once

#include <iosfwd>
#include <string>

#include "corvane/capture/capture_host.h"
#include "corvane/capture/capture_request.h"

// A capture from its start to its end.
namespace corvane::tools {

// What a capture tells its user by.
struct sCaptureTerminal {
  std::ostream& status;     // standard error
  bool isTerminal = false;  // it is read by a person, and a line can be rewritten in place
};

// Captures with the library until the request or the user ends it. Returns the exit code, which is
// kExitGood only when the capture file was read back as complete. A capture that could not start,
// or never reached its device, leaves no file, and the one that it was to replace as it is.
[[nodiscard]] int RunCapture(const sCaptureRequest& wanted, cCaptureHost& host,
                             cCaptureLibrary& library, const sCaptureTerminal& terminal);

// How a capture that has ended left its file.
struct sCaptureResult {
  bool isComplete = false;
  bool isEmpty = false;  // the device was never reached
  std::string text;      // a line for the user, without its end
};
[[nodiscard]] sCaptureResult ReadResult(const std::string& path);

// The same on this machine, with corvane.dll and standard error. It is for Windows only: elsewhere
// it says so, and returns kExitUsage. Throws std::runtime_error when the library cannot be loaded.
[[nodiscard]] int RunCaptureHere(const sCaptureRequest& request);

}  // namespace corvane::tools
