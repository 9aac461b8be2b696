#pragma once

#include <chrono>

namespace corvane::tools {

// Ctrl-C, Ctrl-Break, and the closing of the console, as something to wait for: while one of these
// objects exists they do not end the process at once. At most one may exist.
class cStopRequest {
 public:
  // Throws std::runtime_error when the system refuses.
  cStopRequest();
  // From here on a console that is being closed ends the process.
  ~cStopRequest();
  cStopRequest(const cStopRequest&) = delete;
  cStopRequest& operator=(const cStopRequest&) = delete;

  // Waits until a stop is requested, or for `time`. Returns whether it was requested.
  [[nodiscard]] bool WaitFor(std::chrono::milliseconds time) const;
};

}  // namespace corvane::tools
