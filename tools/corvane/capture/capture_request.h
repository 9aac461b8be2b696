#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace corvane::tools {

// A port that is present is connected about a second after the start: what is waited for less long
// is hardly met.
inline constexpr std::chrono::milliseconds kShortestWait = std::chrono::seconds(2);

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
  // The capture ends when it has so many items of the device, or bytes, in all of its files; 0: it
  // does not.
  std::uint64_t items = 0;
  std::uint64_t size = 0;
  // The capture goes on in the next file when the present one has so many bytes, or is so old.
  std::uint64_t rotateSize = 0;  // 0: whatever its size
  std::optional<std::chrono::milliseconds> rotateTime;
  std::size_t keep = 0;  // so many of these files stay; 0: all
  bool quiet = false;    // the user is told of problems only
  bool json = false;     // a supervisor is told on standard output what happens

  // Whether the capture goes into files in turn.
  [[nodiscard]] bool IsInTurn() const { return rotateSize != 0 || rotateTime; }

  // How long the device is waited for; nothing where that has no limit.
  [[nodiscard]] std::optional<std::chrono::milliseconds> LongestWait() const {
    return wait ? wait : duration;
  }
};

}  // namespace corvane::tools
