#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "corvane/capture/capture_request.h"

// What can be known of a capture before it starts, and of a start that failed.
namespace corvane::tools {

// The most characters of a device name and of a path that the library takes. A longer one would end
// the process, so it is refused before the library is called.
inline constexpr std::size_t kLongestDevice = 63;
inline constexpr std::size_t kLongestPath = 259;

// The reason why a capture cannot start that can be known beforehand, as a sentence for the user,
// or nothing. `request` has the names that the library would get. `freeSpace` is the room on the
// disk of the output file in bytes, where that is known. No file is made or changed.
[[nodiscard]] std::optional<std::string> FindObstacle(const sCaptureRequest& request,
                                                      std::optional<std::uint64_t> freeSpace);

// The same of the configuration file alone.
[[nodiscard]] std::optional<std::string> FindConfigurationObstacle(const std::string& path);

// That the library would get a path of the capture file that is too long for it, or nothing.
[[nodiscard]] std::optional<std::string> FindOutputLengthObstacle(const std::string& path);

// That another program has the output file open, as a sentence for the user. The library lets
// others write its file, so a second capture would truncate and spoil the first one's.
[[nodiscard]] std::string DescribeUse(const sCaptureRequest& request);

// A length of time that the user gave: "30 s", "0.5 s".
[[nodiscard]] std::string FormatWait(std::chrono::milliseconds wait);

// That a device is waited for so shortly that one which is present may not be met, as a sentence
// for the user, or nothing.
[[nodiscard]] std::optional<std::string> FindShortWait(const sCaptureRequest& request);

// What may be the reason that the library refused to start, as a sentence for the user.
[[nodiscard]] std::string DescribeRefusal(const sCaptureRequest& request);

// What the library accepts silently of a configuration file and is hardly meant, a sentence each
// that names the file.
[[nodiscard]] std::vector<std::string> FindDoubts(const std::string& configuration);

}  // namespace corvane::tools
