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

}  // namespace corvane::tools
