#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace corvane::tools {

// What `corvane capture` was asked to do.
struct sCaptureRequest {
  std::string device;         // COM port name, or "QMBE:" and a mobile-broadband interface ID
  std::string configuration;  // path
  std::string output;         // path
};

// The most characters of a device name and of a path that the library takes. A longer one would end
// the process, so it is refused before the library is called.
inline constexpr std::size_t kLongestDevice = 63;
inline constexpr std::size_t kLongestPath = 259;

// The reason why a capture cannot start that can be known beforehand, as a sentence for the user,
// or nothing. The output file is opened for writing, and so created where it is missing, but only
// after everything else was found good; what it holds is left as it is.
[[nodiscard]] std::optional<std::string> FindObstacle(const sCaptureRequest& request);

}  // namespace corvane::tools
