#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/capture/capture_host.h"

namespace corvane::tools {

// The text of the marker that a typed line asks for: "m" and a text behind a blank, which may be
// missing. Nothing for any other line.
[[nodiscard]] std::optional<std::string> MarkerTyped(std::string_view line);

// The lines that come in on standard input while a capture runs, each with its time. A thread fills
// it and may stay behind when the program ends: nobody waits for a console.
class cTypedLines {
 public:
  // Milliseconds since 1601-01-01 UTC.
  using Clock = std::function<std::uint64_t()>;

  // More of them wait for nobody: a pipe that sends without end must not fill the memory.
  static constexpr std::size_t kMostWaiting = 1000;
  static constexpr std::size_t kLongestLine = 4000;

  explicit cTypedLines(Clock wallClock) : clock(std::move(wallClock)) {}

  // Takes bytes as they come. A line has the time of its end.
  void Add(std::string_view bytes);
  // The lines that are whole, oldest first; each is given once.
  [[nodiscard]] std::vector<sTypedLine> Take();

 private:
  Clock clock;
  std::mutex mutex;
  std::string line;
  std::vector<sTypedLine> lines;
};

}  // namespace corvane::tools
