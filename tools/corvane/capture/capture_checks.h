#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "corvane/capture/capture_request.h"

// What can be known of a capture before it starts, and of a start that failed.
namespace corvane::tools {

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

// That another program has the output file open, as a sentence for the user. The library lets
// others write its file, so a second capture would truncate and spoil the first one's.
[[nodiscard]] std::string DescribeUse(const sCaptureRequest& request);

// What may be the reason that the library refused to start, as a sentence for the user.
[[nodiscard]] std::string DescribeRefusal(const sCaptureRequest& request);

// How many requests the library makes of a configuration's text for each connection.
[[nodiscard]] std::size_t CountRequests(std::string_view configuration);

// A sentence for the user about a capture that can start and may not give what is expected of it,
// or nothing: the configuration makes more requests than the library's queue holds. The queue then
// drops the oldest requests, and the first one with them. The answer to the first request starts
// the sending of the others, so a modem that sends nothing by itself is never asked anything.
[[nodiscard]] std::optional<std::string> FindDoubt(const sCaptureRequest& request);

}  // namespace corvane::tools
