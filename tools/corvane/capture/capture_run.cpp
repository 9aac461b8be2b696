#include "corvane/capture/capture_run.h"

#include <fmt/format.h>

#include <memory>
#include <ostream>

#include "corvane/capture/capture_checks.h"
#include "corvane/capture/capture_start.h"
#include "corvane/capture/capture_watch.h"
#include "corvane/capture/device_presence.h"
#include "corvane/capture/output_file.h"
#include "corvane/command/command_line.h"
#include "corvane/command/readable_text.h"
#include "reader/capture_file.h"

namespace corvane::tools {
namespace {

// Writes to a stream.
class cStreamReporter final : public cCaptureReporter {
 public:
  explicit cStreamReporter(std::ostream& stream) : output(stream) {}
  void Tell(const std::string& line) override { output << line << '\n' << std::flush; }
  void Complain(const std::string& problem) override { Tell("corvane capture: " + problem); }

 private:
  std::ostream& output;
};

void AnnounceCapture(const sCaptureRequest& request, const cOutputFile& file,
                     cCaptureReporter& reporter) {
  reporter.Tell(file.Replaces()
                    ? fmt::format("Capturing {} into {}, which replaces {} in the end; Ctrl-C ends "
                                  "the capture",
                                  request.device, file.WritePath(), file.Path())
                    : fmt::format("Capturing {} into {}; Ctrl-C ends the capture", request.device,
                                  file.WritePath()));
}

// Gives the file its name, or removes it when nothing is in it. Returns the exit code.
[[nodiscard]] int ReportResult(cOutputFile& file, cCaptureReporter& reporter) {
  const sCaptureResult result = ReadResult(file.WritePath());
  if (!result.isComplete) {
    file.KeepApart();
    reporter.Complain(result.text);
    return kExitFailed;
  }
  if (result.isEmpty) {
    reporter.Complain("nothing was captured: the device was never reached; no file is kept");
    return kExitNothing;
  }
  reporter.Tell(result.text);
  if (const auto problem = file.Keep()) {
    reporter.Complain(*problem);
    return kExitFailed;
  }
  return kExitGood;
}

}  // namespace

int RunCapture(const sCaptureRequest& wanted, cCaptureHost& host, cCaptureLibrary& library,
               const sCaptureTerminal& terminal) {
  cStreamReporter reporter(terminal.status);
  sCaptureRequest request = wanted;
  if (const auto code = PrepareCapture(request, host, reporter)) {
    return *code;
  }
  const std::unique_ptr<cOutputFile> file = BeginOutput(request, host, reporter);
  if (file == nullptr) {
    return kExitFailed;
  }
  AnnounceCapture(request, *file, reporter);
  cDevicePresence presence(request.device, host);
  presence.LookBeforeStart(reporter);
  request.output = file->WritePath();
  if (!library.Start(request.device, request.configuration, request.output)) {
    reporter.Complain(DescribeRefusal(request));
    return kExitFailed;
  }
  {
    const cRunningCapture running(library);
    host.CaptureStarts();
    WatchCapture(request, host, presence, terminal.status, terminal.isTerminal);
  }
  return ReportResult(*file, reporter);
}

sCaptureResult ReadResult(const std::string& path) {
  sCaptureError error;
  const std::unique_ptr<cCaptureFile> file = cCaptureFile::Open(path, error);
  if (file == nullptr || !file->IsComplete()) {
    const std::string reason = file == nullptr ? error.Text()
                               : file->Damage()
                                   ? file->Damage()->Text()
                                   : std::string("it has no index and trailer; is the disk full?");
    return {false, false, fmt::format("{} is not complete: {}", path, reason)};
  }
  // The first item is the library's own.
  return {true, file->ItemCount() <= 1,
          fmt::format("{} is complete: {}, {}", path, FormatItems(file->ItemCount()),
                      FormatBytes(file->Size()))};
}

}  // namespace corvane::tools
