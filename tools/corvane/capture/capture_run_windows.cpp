#include "corvane/capture/capture_console.h"
#include "corvane/capture/capture_run.h"
#include "corvane/capture/host_windows.h"
#include "corvane/capture/printed_lines.h"
#include "corvane/capture/standard_output_drain.h"
#include "corvane/capture/typed_input.h"
#include "corvane/command/standard_streams.h"

namespace corvane::tools {

int RunCaptureHere(const sCaptureRequest& request) {
  cCaptureConsole console({StandardErrorIsTerminal(), request.quiet, request.json},
                          WriteStandardError, KeepStandardOutput());
  cPrintedLines printed(console);
  int exitCode = 0;
  {
    // Before the library is loaded, which prints through the same C runtime.
    const cStandardOutputDrain drain([&printed](const std::string& line) { printed.Take(line); });
    cLoadedLibrary library;
    cWindowsHost host;
    ReadTypedLines(host.Typed());
    exitCode = RunCapture(request, host, library, console, printed);
  }
  console.Finish();
  return exitCode;
}

}  // namespace corvane::tools
