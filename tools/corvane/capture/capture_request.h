#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace corvane::tools {

// What `corvane capture` was asked to do, as its options say it.
struct sCaptureRequest {
  std::string device;         // COM port name, or "QMBE:" and a mobile-broadband interface ID
  std::string configuration;  // path
  std::string output;         // path
  std::optional<std::chrono::milliseconds> duration;  // without one, until a stop is requested
  // The capture ends when less room than this is left on the disk of `output`; 0: it does not. A
  // disk that is really full would leave a file without index.
  std::uint64_t stopBelow = 200'000'000;
};

}  // namespace corvane::tools
