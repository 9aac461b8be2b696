#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// What `corvane capture` was asked to do, and what can be known of it before it starts.
namespace corvane::tools {

struct sCaptureRequest {
  std::string device;         // COM port name, or "QMBE:" and a mobile-broadband interface ID
  std::string configuration;  // path
  std::string output;         // path
  std::optional<std::chrono::milliseconds> duration;  // without one, until a stop is requested
  // The capture ends when less room than this is left on the disk of `output`; 0: it does not. A
  // disk that is really full would leave a file without index.
  std::uint64_t stopBelow = 200'000'000;
};

// The most characters of a device name and of a path that the library takes. A longer one would end
// the process, so it is refused before the library is called.
inline constexpr std::size_t kLongestDevice = 63;
inline constexpr std::size_t kLongestPath = 259;

// True where the device is a mobile-broadband interface, and false where it is a COM port.
[[nodiscard]] bool IsMobileBroadband(const std::string& device);

// The reason why a capture cannot start that can be known beforehand, as a sentence for the user,
// or nothing. `freeSpace` is the room on the disk of the output file in bytes, where that is known.
// The output file is opened for writing, and so created where it is missing, but only after
// everything else was found good; what it holds is left as it is.
[[nodiscard]] std::optional<std::string> FindObstacle(const sCaptureRequest& request,
                                                      std::optional<std::uint64_t> freeSpace);

// How many requests the library makes of a configuration's text for each connection.
[[nodiscard]] std::size_t CountRequests(std::string_view configuration);

// A sentence for the user about a capture that can start and may not give what is expected of it,
// or nothing: the configuration makes more requests than the library's queue holds. The queue then
// drops the oldest requests, and the first one with them. The answer to the first request starts
// the sending of the others, so a modem that sends nothing by itself is never asked anything.
[[nodiscard]] std::optional<std::string> FindDoubt(const sCaptureRequest& request);

}  // namespace corvane::tools
