#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "corvane/capture/capture_console.h"

namespace corvane::tools {

// What the library says of what it received, of which the capture file tells nothing.
struct sPrintedCounts {
  std::uint64_t badFrames = 0;  // frames that failed their check
  std::uint64_t refused = 0;    // packets that no item can be made of
  std::uint64_t unwritten = 0;  // packets that could not be written into the file
};

// What the library prints, line by line: it goes on to the user. Lines may come on any thread.
class cPrintedLines {
 public:
  // `terminal` is not owned and must outlive this.
  explicit cPrintedLines(cCaptureConsole& terminal) : console(terminal) {}

  void Take(const std::string& line);

  [[nodiscard]] sPrintedCounts Counts() const { return {badFrames, refused, unwritten}; }

 private:
  cCaptureConsole& console;
  std::atomic<std::uint64_t> badFrames{0};
  std::atomic<std::uint64_t> refused{0};
  std::atomic<std::uint64_t> unwritten{0};
};

}  // namespace corvane::tools
