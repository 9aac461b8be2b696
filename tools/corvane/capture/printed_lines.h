#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "corvane/capture/capture_console.h"

namespace corvane::tools {

// What the library prints, line by line: it goes on to the user. Lines may come on any thread.
class cPrintedLines {
 public:
  // `terminal` is not owned and must outlive this.
  explicit cPrintedLines(cCaptureConsole& terminal) : console(terminal) {}

  void Take(const std::string& line);

  // How many frames failed their check: of these the capture file tells nothing.
  [[nodiscard]] std::uint64_t BadFrames() const { return badFrames; }

 private:
  cCaptureConsole& console;
  std::atomic<std::uint64_t> badFrames{0};
};

}  // namespace corvane::tools
