#include "corvane/capture/printed_lines.h"

#include <fmt/format.h>

#include "platform/error_codes.h"

namespace corvane::tools {
namespace {

constexpr char kBadFrame[] = "bad CRC";

// How the library says that a packet was not recorded, with the error of its store.
[[nodiscard]] std::string NotRecorded(std::uint32_t error) {
  return fmt::format("error {} writing item", error);
}

// "Port COM7 connected", "Port COM7 disconnected"
[[nodiscard]] bool IsPortChange(const std::string& line) {
  return line.starts_with("Port ") && line.ends_with("connected");
}

}  // namespace

void cPrintedLines::Take(const std::string& line) {
  const bool isBadFrame = line == kBadFrame;
  if (isBadFrame) {
    ++badFrames;
  } else if (line == NotRecorded(kErrorBadArguments)) {
    ++refused;
  } else if (line == NotRecorded(kErrorInvalidBlock)) {
    ++unwritten;
  }
  // Everything else that the library prints is a problem.
  if (isBadFrame || IsPortChange(line)) {
    console.Tell(line);
  } else {
    console.Print(line);
  }
}

}  // namespace corvane::tools
