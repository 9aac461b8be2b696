#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "corvane/capture/capture_checks.h"
#include "corvane/capture/host_windows.h"

// A capture by corvane.dll from its start to its end, for each command that makes one.
namespace corvane::tools {

// The reason why a capture cannot start that can be known beforehand, as FindObstacle has it; also
// that another program has the output file open for writing, or does not let it be read. The
// library lets others write its file, so a second capture would truncate and spoil the first one's.
[[nodiscard]] std::optional<std::string> FindObstacleToCapture(
    const sCaptureRequest& request, std::optional<std::uint64_t> freeSpace);

// What may be the reason that the library refused to start, as a sentence for the user.
[[nodiscard]] std::string DescribeRefusal(const sCaptureRequest& request);

// A started capture, which is stopped however this is left.
class cRunningCapture {
 public:
  // `started` is not owned and must outlive this.
  explicit cRunningCapture(const cCaptureLibrary& started) : library(started) {}
  cRunningCapture(const cRunningCapture&) = delete;
  cRunningCapture& operator=(const cRunningCapture&) = delete;
  ~cRunningCapture() { library.Stop(); }

 private:
  const cCaptureLibrary& library;
};

// How a capture that has ended left its file.
struct sCaptureResult {
  bool isComplete = false;
  std::string text;  // as sentences for the user, a line each
};
[[nodiscard]] sCaptureResult ReadResult(const std::string& path);

}  // namespace corvane::tools
