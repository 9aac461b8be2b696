#include "corvane/capture/capture_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <ostream>
#include <vector>

#include "corvane/capture/capture_checks.h"
#include "corvane/capture/capture_watch.h"
#include "corvane/command/command_line.h"
#include "corvane/command/readable_text.h"
#include "reader/capture_file.h"

namespace corvane::tools {
namespace {

void AnnounceCapture(const sCaptureRequest& request, cCaptureHost& host, std::ostream& status) {
  status << fmt::format("Capturing {} into {}; Ctrl-C ends the capture\n", request.device,
                        request.output);
  if (!IsMobileBroadband(request.device)) {
    const std::vector<std::string> present = host.PresentComPorts();
    if (std::find(present.begin(), present.end(), request.device) == present.end()) {
      status << fmt::format("{} is not present yet: waiting for it\n", request.device);
    }
  }
  status << std::flush;
}

void TellDoubts(const sCaptureRequest& request, std::optional<std::uint64_t> freeSpace,
                std::ostream& status) {
  if (const auto doubt = FindDoubt(request)) {
    status << "corvane capture: warning: " << *doubt << '\n';
  }
  if (!freeSpace && request.stopBelow != 0) {
    status << fmt::format(
        "corvane capture: warning: the system does not tell the room on the disk of {}: "
        "--stop-below has no effect\n",
        request.output);
  }
}

// Why this capture cannot start, and whatever else its user should know of before it does. Returns
// whether it can.
[[nodiscard]] bool PrepareCapture(const sCaptureRequest& request, cCaptureHost& host,
                                  std::ostream& status) {
  const std::optional<std::uint64_t> freeSpace = host.FreeSpace(request.output);
  if (host.IsInUse(request.output)) {
    status << "corvane capture: " << DescribeUse(request) << '\n';
    return false;
  }
  if (const auto obstacle = FindObstacle(request, freeSpace)) {
    status << "corvane capture: " << *obstacle << '\n';
    return false;
  }
  TellDoubts(request, freeSpace, status);
  return true;
}

[[nodiscard]] int ReportResult(const std::string& path, std::ostream& status) {
  const sCaptureResult result = ReadResult(path);
  status << (result.isComplete ? "" : "corvane capture: ") << result.text;
  return result.isComplete ? kExitGood : kExitFailed;
}

}  // namespace

int RunCapture(const sCaptureRequest& request, cCaptureHost& host, cCaptureLibrary& library,
               const sCaptureTerminal& terminal) {
  if (!PrepareCapture(request, host, terminal.status)) {
    return kExitFailed;
  }
  AnnounceCapture(request, host, terminal.status);
  if (!library.Start(request.device, request.configuration, request.output)) {
    terminal.status << "corvane capture: " << DescribeRefusal(request) << '\n';
    return kExitFailed;
  }
  {
    const cRunningCapture running(library);
    host.CaptureStarts();
    WatchCapture(request, host, terminal.status, terminal.isTerminal);
  }
  return ReportResult(request.output, terminal.status);
}

sCaptureResult ReadResult(const std::string& path) {
  sCaptureError error;
  const std::unique_ptr<cCaptureFile> file = cCaptureFile::Open(path, error);
  if (file == nullptr || !file->IsComplete()) {
    const std::string reason = file == nullptr ? error.Text()
                               : file->Damage()
                                   ? file->Damage()->Text()
                                   : std::string("it has no index and trailer; is the disk full?");
    return {false, fmt::format("{} is not complete: {}\n", path, reason)};
  }
  std::string text = fmt::format("{} is complete: {}, {}\n", path, FormatItems(file->ItemCount()),
                                 FormatBytes(file->Size()));
  if (file->ItemCount() <= 1) {
    // The first item is the library's own.
    text += "The device was never reached: the file holds nothing of it\n";
  }
  return {true, std::move(text)};
}

}  // namespace corvane::tools
