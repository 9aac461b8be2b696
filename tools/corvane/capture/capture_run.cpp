#include "corvane/capture/capture_run.h"

#include <fmt/format.h>

#include "corvane/capture/capture_checks.h"
#include "corvane/capture/capture_course.h"
#include "corvane/capture/capture_start.h"
#include "corvane/capture/device_presence.h"
#include "corvane/capture/files_in_turn.h"
#include "corvane/command/command_line.h"

namespace corvane::tools {
namespace {

// Whether the names of files in turn, which are longer than that of the output, are too long for
// the library.
[[nodiscard]] bool IsTooLongInTurn(const sCaptureRequest& request, cCaptureHost& host) {
  return request.IsInTurn() && NameInTurn(request.output, 1, host.Now()).size() > kLongestPath;
}

}  // namespace

int RunCapture(const sCaptureRequest& wanted, cCaptureHost& host, cCaptureLibrary& library,
               cCaptureConsole& console, const cPrintedLines& printed) {
  sCaptureRequest request = wanted;
  if (const auto code = PrepareCapture(request, host, console)) {
    return *code;
  }
  if (IsTooLongInTurn(request, host)) {
    console.Complain(
        fmt::format("the names of files in turn have {} bytes in UTF-8; at most {} are "
                    "possible",
                    NameInTurn(request.output, 1, host.Now()).size(), kLongestPath));
    return kExitFailed;
  }
  cDevicePresence presence(request.device, host);
  cCaptureCourse course(request, {host, library, console, presence, printed});
  return course.Run();
}

}  // namespace corvane::tools
