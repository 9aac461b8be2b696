#include "corvane/capture/printed_lines.h"

namespace corvane::tools {
namespace {

constexpr char kBadFrame[] = "bad CRC";

// "Port COM7 connected", "Port COM7 disconnected"
[[nodiscard]] bool IsPortChange(const std::string& line) {
  return line.starts_with("Port ") && line.ends_with("connected");
}

}  // namespace

void cPrintedLines::Take(const std::string& line) {
  const bool isBadFrame = line == kBadFrame;
  if (isBadFrame) {
    ++badFrames;
  }
  // Everything else that the library prints is a problem.
  if (isBadFrame || IsPortChange(line)) {
    console.Tell(line);
  } else {
    console.Print(line);
  }
}

}  // namespace corvane::tools
