#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "corvane/capture/capture_follower.h"
#include "corvane/capture/capture_tally.h"
#include "corvane/capture/printed_lines.h"

// What a capture tells its supervisor: a JSON object for each event, without line end. Each has its
// "event" and its "time"; docs/capture-events.md describes them. Times are in milliseconds since
// 1601-01-01 UTC here.
namespace corvane::tools {

struct sStartedEvent {
  std::string device;
  std::string configuration;
  std::string output;        // where it is recorded to
  std::size_t requests = 0;  // that each connection begins with
};
[[nodiscard]] std::string StartedEvent(std::uint64_t time, const sStartedEvent& started);

[[nodiscard]] std::string PortEvent(const sPortChange& change);
// `rate` is in items a second.
[[nodiscard]] std::string StatusEvent(std::uint64_t time, const sProgress& progress, double rate,
                                      std::uint64_t badFrames);
[[nodiscard]] std::string SetUpEvent(std::uint64_t time, const sVerdict& verdict);
[[nodiscard]] std::string MarkerEvent(std::uint64_t time, const std::string& text);
// `kind` is "warning" or "error".
[[nodiscard]] std::string ProblemEvent(std::uint64_t time, const char* kind,
                                       const std::string& text);

// One file was closed, and the next one begun.
struct sRotatedEvent {
  std::string closed;
  std::string output;
  std::chrono::milliseconds change{};  // from the stop to the next start
};
[[nodiscard]] std::string RotatedEvent(std::uint64_t time, const sRotatedEvent& rotated);
// The device is heard in a file that is not the first. `silence` in milliseconds is since its last
// item in the file before, where that is known.
[[nodiscard]] std::string ResumedEvent(std::uint64_t time, const std::string& output,
                                       std::optional<std::uint64_t> silence);
// `files` are those that --keep has no room for.
[[nodiscard]] std::string RemovedEvent(std::uint64_t time, const std::vector<std::string>& files);

[[nodiscard]] std::string StoppedEvent(std::uint64_t time, const char* reason);
[[nodiscard]] std::string SummaryEvent(std::uint64_t time, const cCaptureTally& tally,
                                       const sPrintedCounts& printed, int exitCode);

}  // namespace corvane::tools
