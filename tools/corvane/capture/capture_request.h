#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace corvane::tools {

// What `corvane capture` was asked to do, as its options say it.
struct sCaptureRequest {
  std::string device;         // as the user names it (device_name.h)
  std::string configuration;  // path; empty where `profile` is given instead
  std::string profile;        // name of a shipped profile
  std::string output;         // path, which may have placeholders (output_file.h)
  bool overwrite = false;     // an existing output is replaced
  // Counted from the first connection; without one, the capture goes on until a stop is requested.
  std::optional<std::chrono::milliseconds> duration;
  // How long the first connection is waited for; without it as long as `duration`.
  std::optional<std::chrono::milliseconds> wait;
  // The capture ends when less room than this is left on the disk of `output`; 0: it does not. A
  // disk that is really full would leave a file without index.
  std::uint64_t stopBelow = 200'000'000;

  // How long the device is waited for; nothing where that has no limit.
  [[nodiscard]] std::optional<std::chrono::milliseconds> LongestWait() const {
    return wait ? wait : duration;
  }
};

}  // namespace corvane::tools
