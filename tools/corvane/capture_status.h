#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace corvane::tools {

// How far a capture has come.
struct sProgress {
  std::chrono::milliseconds elapsed{};  // since the capture was started
  std::uint64_t items = 0;
  std::uint64_t bytes = 0;  // of the capture file
};

// One line for the user: "0:00:07  1,204 items  118.4 kB  171 items/s", without a line break. The
// rate is that since `previous`; 0 when no time has passed.
[[nodiscard]] std::string FormatStatus(const sProgress& now, const sProgress& previous);

// A byte count in the largest decimal unit that leaves a number of 1 or more: "998 B", "1.5 MB".
[[nodiscard]] std::string FormatBytes(std::uint64_t bytes);

// A count with thousands separated: "1,204".
[[nodiscard]] std::string FormatCount(std::uint64_t count);

// Hours, minutes and seconds, "0:00:07"; parts of a second are cut off.
[[nodiscard]] std::string FormatElapsed(std::chrono::milliseconds elapsed);

}  // namespace corvane::tools
