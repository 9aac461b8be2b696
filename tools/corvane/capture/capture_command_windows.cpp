#include <fmt/format.h>
#include <io.h>

#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

#include "common/quantities.h"
#include "corvane/capture/capture_checks.h"
#include "corvane/capture/capture_watch.h"
#include "corvane/command/command_line.h"
#include "corvane/capture/host_windows.h"
#include "corvane/capture/library_capture_windows.h"
#include "io/serial/com_ports.h"

namespace corvane::tools {
namespace {

void AnnounceCapture(const sCaptureRequest& request, std::ostream& status) {
  status << fmt::format("Capturing {} into {}; Ctrl-C ends the capture\n", request.device,
                        request.output);
  if (!IsMobileBroadband(request.device) && !ComPortIsPresent(request.device.c_str())) {
    status << fmt::format("{} is not present yet: waiting for it\n", request.device);
  }
  status << std::flush;
}

[[nodiscard]] int ReportResult(const std::string& path, std::ostream& status) {
  const sCaptureResult result = ReadResult(path);
  status << (result.isComplete ? "" : "corvane capture: ") << result.text;
  return result.isComplete ? kExitGood : kExitFailed;
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

// Captures with corvane.dll until the request or the user ends it. Returns the exit code, which is
// kExitGood only when the capture file was read back as complete. Throws std::runtime_error when
// the library cannot be loaded.
[[nodiscard]] int RunCapture(const sCaptureRequest& request, std::ostream& status) {
  cWindowsHost host;
  const std::optional<std::uint64_t> freeSpace = host.FreeSpace(request.output);
  if (const auto obstacle = FindObstacleToCapture(request, freeSpace)) {
    status << "corvane capture: " << *obstacle << '\n';
    return kExitFailed;
  }
  // The library prints through the same C runtime: unbuffered, its messages are seen as they come.
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  const cCaptureLibrary library;
  TellDoubts(request, freeSpace, status);
  AnnounceCapture(request, status);
  if (!library.Start(request.device.c_str(), request.configuration.c_str(),
                     request.output.c_str())) {
    status << "corvane capture: " << DescribeRefusal(request) << '\n';
    return kExitFailed;
  }
  {
    const cRunningCapture running(library);
    host.CaptureStarts();
    WatchCapture(request, host, status, _isatty(_fileno(stderr)) != 0);
  }
  return ReportResult(request.output, status);
}

[[noreturn]] void Refuse(const char* option, const std::string& text, const char* wanted) {
  throw CLI::ValidationError(option, fmt::format("\"{}\" is no {}", text, wanted));
}

void AddLimits(CLI::App& command, sCaptureRequest& request) {
  command.add_option_function<std::string>(
      "--duration",
      [&request](const std::string& text) {
        request.duration = ParseDuration(text);
        if (!request.duration) {
          Refuse("--duration", text, "duration: write 500ms, 10s, 5m or 2h");
        }
      },
      "End the capture by itself after 500ms, 10s, 5m or 2h; without it, Ctrl-C does");
  command
      .add_option_function<std::string>(
          "--stop-below",
          [&request](const std::string& text) {
            const auto size = ParseByteCount(text);
            if (!size) {
              Refuse("--stop-below", text, "size: write 500k, 200M or 1G, or 0 for no limit");
            }
            request.stopBelow = *size;
          },
          "End the capture, with a complete file, when less room than this is left on its disk: "
          "500k, 200M or 1G; 0 goes on until the disk is full, which spoils the file [200M]")
      ->type_name("SIZE");
}

}  // namespace

void AddCaptureCommand(CLI::App& app, int& exitCode) {
  const auto request = std::make_shared<sCaptureRequest>();
  CLI::App* const command =
      app.add_subcommand("capture", "Records a modem's DIAG traffic into a capture file");
  command
      ->add_option("--device", request->device,
                   "COM port, which need not be present yet (COM7), or QMBE: and the ID of a "
                   "mobile-broadband interface")
      ->required();
  command->add_option("--config", request->configuration, "File with what the modem is to report")
      ->required();
  command->add_option("--output", request->output, "Capture file; one that exists is overwritten")
      ->required();
  AddLimits(*command, *request);
  command->footer(
      "Exit codes: 0 a complete capture file was written, also where --stop-below ended it; 1 it "
      "was\nnot; 2 wrong usage.");
  command->callback([request, &exitCode] { exitCode = RunCapture(*request, std::cerr); });
}

}  // namespace corvane::tools
