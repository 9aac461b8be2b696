#include <fmt/format.h>
#include <io.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "common/quantities.h"
#include "corvane/capture_checks.h"
#include "corvane/capture_status.h"
#include "corvane/command_line.h"
#include "corvane/host_windows.h"
#include "corvane/readable_text.h"
#include "io/serial/com_ports.h"
#include "platform/windows_handle.h"
#include "reader/capture_file.h"

namespace corvane::tools {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kStatusInterval(1000);

[[nodiscard]] bool IsMobileBroadband(const std::string& device) {
  return device.find("QMBE:") != std::string::npos;
}

// Whether another program has the file open for writing, or does not let it be read. The library
// lets others write its file, so a second capture would truncate and spoil the first one's.
[[nodiscard]] bool IsInUse(const std::string& path) {
  const FileHandle opened(CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  return !opened && GetLastError() == ERROR_SHARING_VIOLATION;
}

[[nodiscard]] std::optional<std::string> FindObstacleToCapture(const sCaptureRequest& request) {
  if (IsInUse(request.output)) {
    return fmt::format("the capture file {} is in use by another program, perhaps a capture",
                       request.output);
  }
  return FindObstacle(request);
}

void AnnounceCapture(const sCaptureRequest& request, std::ostream& status) {
  status << fmt::format("Capturing {} into {}; Ctrl-C ends the capture\n", request.device,
                        request.output);
  if (!IsMobileBroadband(request.device) && !ComPortIsPresent(request.device.c_str())) {
    status << fmt::format("{} is not present yet: waiting for it\n", request.device);
  }
  status << std::flush;
}

[[nodiscard]] std::string DescribeRefusal(const sCaptureRequest& request) {
  if (IsMobileBroadband(request.device)) {
    return fmt::format(
        "the library refused to start: either {} names no mobile-broadband interface with a DIAG "
        "service, or {} could not be written",
        request.device, request.output);
  }
  return fmt::format(
      "the library refused to start: {} could not be written, or the system is out of memory or "
      "threads",
      request.output);
}

// The line that tells how far the capture has come, read from the growing file as any other program
// could read it.
class cStatusLine {
 public:
  cStatusLine(const std::string& path, std::ostream& stream)
      : output(stream), file(cCaptureFile::Open(path, error)) {}

  // `last` ends the line for good. In a terminal each line takes the place of the one before; the
  // library's own messages then stand behind the line that was current when they came.
  void Update(milliseconds elapsed, bool last) {
    sProgress now{elapsed, 0, 0};
    if (file != nullptr) {
      file->Refresh();
      now.items = file->ItemCount();
      now.bytes = file->Size();
    }
    output << (isTerminal ? "\r" : "") << FormatStatus(now, previous)
           << (isTerminal && !last ? "  " : "\n") << std::flush;
    previous = now;
  }

 private:
  std::ostream& output;
  sCaptureError error;
  std::unique_ptr<cCaptureFile> file;
  sProgress previous;
  const bool isTerminal = _isatty(_fileno(stderr)) != 0;
};

// A started capture, which is stopped however this is left.
class cRunningCapture {
 public:
  explicit cRunningCapture(const cCaptureLibrary& started) : library(started) {}
  cRunningCapture(const cRunningCapture&) = delete;
  cRunningCapture& operator=(const cRunningCapture&) = delete;
  ~cRunningCapture() { library.Stop(); }

 private:
  const cCaptureLibrary& library;
};

void WaitForEnd(const cStopRequest& stop, std::optional<milliseconds> duration,
                cStatusLine& statusLine) {
  using Clock = std::chrono::steady_clock;
  const auto started = Clock::now();
  for (bool ended = false; !ended;) {
    milliseconds wait = kStatusInterval;
    if (duration) {
      const auto elapsed = std::chrono::duration_cast<milliseconds>(Clock::now() - started);
      wait = std::clamp(*duration - elapsed, milliseconds(0), kStatusInterval);
    }
    ended = stop.WaitFor(wait);
    const auto elapsed = std::chrono::duration_cast<milliseconds>(Clock::now() - started);
    ended = ended || (duration && elapsed >= *duration);
    statusLine.Update(elapsed, ended);
  }
}

[[nodiscard]] int ReportResult(const std::string& path, std::ostream& status) {
  sCaptureError error;
  const std::unique_ptr<cCaptureFile> file = cCaptureFile::Open(path, error);
  if (file == nullptr || !file->IsComplete()) {
    const std::string reason = file == nullptr ? error.Text()
                               : file->Damage()
                                   ? file->Damage()->Text()
                                   : std::string("it has no index and trailer; is the disk full?");
    status << fmt::format("corvane capture: {} is not complete: {}\n", path, reason);
    return kExitFailed;
  }
  status << fmt::format("{} is complete: {} items, {}\n", path, FormatCount(file->ItemCount()),
                        FormatBytes(file->Size()));
  if (file->ItemCount() <= 1) {
    // The first item is the library's own.
    status << "The device was never reached: the file holds nothing of it\n";
  }
  return kExitGood;
}

// Captures with corvane.dll until `duration` is over (without one: until a stop is requested, which
// also ends it earlier), and writes a status line every second to `status`. Returns the exit code,
// which is kExitGood only when the capture file was read back as complete. Throws
// std::runtime_error when the library cannot be loaded.
[[nodiscard]] int RunCapture(const sCaptureRequest& request, std::optional<milliseconds> duration,
                             std::ostream& status) {
  if (const auto obstacle = FindObstacleToCapture(request)) {
    status << "corvane capture: " << *obstacle << '\n';
    return kExitFailed;
  }
  // The library prints through the same C runtime: unbuffered, its messages are seen as they come.
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  const cCaptureLibrary library;
  const cStopRequest stop;
  AnnounceCapture(request, status);
  if (!library.Start(request.device.c_str(), request.configuration.c_str(),
                     request.output.c_str())) {
    status << "corvane capture: " << DescribeRefusal(request) << '\n';
    return kExitFailed;
  }
  {
    const cRunningCapture running(library);
    cStatusLine statusLine(request.output, status);
    WaitForEnd(stop, duration, statusLine);
  }
  return ReportResult(request.output, status);
}

}  // namespace

void AddCaptureCommand(CLI::App& app, int& exitCode) {
  struct sOptions {
    sCaptureRequest request;
    std::optional<milliseconds> duration;
  };
  const auto options = std::make_shared<sOptions>();
  CLI::App* const command =
      app.add_subcommand("capture", "Records a modem's DIAG traffic into a capture file");
  command
      ->add_option("--device", options->request.device,
                   "COM port, which need not be present yet (COM7), or QMBE: and the ID of a "
                   "mobile-broadband interface")
      ->required();
  command
      ->add_option("--config", options->request.configuration,
                   "File with what the modem is to report")
      ->required();
  command
      ->add_option("--output", options->request.output,
                   "Capture file; one that exists is overwritten")
      ->required();
  command->add_option_function<std::string>(
      "--duration",
      [options](const std::string& text) {
        options->duration = ParseDuration(text);
        if (!options->duration) {
          throw CLI::ValidationError(
              "--duration", fmt::format("\"{}\" is no duration: write 500ms, 10s, 5m or 2h", text));
        }
      },
      "End the capture by itself after 500ms, 10s, 5m or 2h; without it, Ctrl-C does");
  command->footer(
      "Exit codes: 0 a complete capture file was written; 1 it was not; 2 wrong usage.");
  command->callback([options, &exitCode] {
    exitCode = RunCapture(options->request, options->duration, std::cerr);
  });
}

}  // namespace corvane::tools
