#include <cstdio>
#include <iostream>

#include "corvane/capture/capture_run.h"
#include "corvane/capture/host_windows.h"
#include "corvane/command/standard_streams.h"

namespace corvane::tools {

int RunCaptureHere(const sCaptureRequest& request) {
  cLoadedLibrary library;
  cWindowsHost host;
  // The library prints through the same C runtime: unbuffered, its messages are seen as they come.
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  return RunCapture(request, host, library, {std::cerr, StandardErrorIsTerminal()});
}

}  // namespace corvane::tools
