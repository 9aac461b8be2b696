#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "capture/isf/layout.h"
#include "corvane/capture/capture_follower.h"
#include "corvane/capture/printed_lines.h"

// What a capture was, over all of its files.
namespace corvane::tools {

// What became of the requests by which the modem is set up.
struct sVerdict {
  std::uint64_t wanted = 0;  // requests for each connection
  std::uint64_t sent = 0;    // over all connections, as the following
  std::uint64_t answered = 0;
  std::uint64_t refused = 0;
  std::uint64_t notSent = 0;              // to the newest connection
  std::set<std::string> refusedNames;     // "log mask, equipment ID 4 (status 2)"
  std::set<std::string> unansweredNames;  // at most kMostNames of each
  // The newest connection had all of its requests answered or refused.
  bool isComplete = false;
  // It did not, and nothing happened any more.
  bool isStuck = false;

  [[nodiscard]] std::uint64_t Unanswered() const { return sent - answered - refused; }

  static constexpr std::size_t kMostNames = 20;
};

// The verdict on the present connection alone.
[[nodiscard]] sVerdict VerdictOf(const cRequestReplies& requests, const sSetUpProgress& setUp);

// The verdict as lines for the user: "Set-up complete: 18 requests sent, 17 answered, 1 refused, 0
// unanswered", or "Set-up stuck: 6 of 19 requests sent, ...", and the names of those that were not
// answered. No line where there was no connection to set up.
[[nodiscard]] std::vector<std::string> DescribeVerdict(const sVerdict& verdict);

// A file of the capture.
struct sFileTally {
  std::string path;
  bool isComplete = false;
  bool isKept = true;  // otherwise only its connections and its requests are counted
  std::uint64_t items = 0;
  std::uint64_t bytes = 0;
};

// The change from one file to the next.
struct sFileChange {
  std::chrono::milliseconds change{};  // from the stop to the next start
  // Milliseconds between the last item of the device in the one file and its first in the next;
  // nothing as long as there is none, and where the clock was set back in between.
  std::optional<std::uint64_t> silence = {};
};

class cCaptureTally {
 public:
  // Takes up what the follower of a file that has ended knows. `last` is the set-up when the
  // capture was going on: its end disconnects the port.
  void AddFile(const sFileTally& file, cCaptureFollower& follower, const sSetUpProgress& last);
  // The next file was begun.
  void AddChange(std::chrono::milliseconds change);
  // The capture ended at `time` (milliseconds since 1601-01-01 UTC), and with it a silence that had
  // begun.
  void AddEnd(std::uint64_t time);

  [[nodiscard]] std::uint64_t Items() const { return items; }
  [[nodiscard]] std::uint64_t Bytes() const { return bytes; }
  [[nodiscard]] std::uint64_t Received() const { return received; }
  [[nodiscard]] const std::array<std::uint64_t, isf::kItemTypes>& ItemsByType() const {
    return byType;
  }
  [[nodiscard]] std::uint64_t Connections() const { return connections; }
  [[nodiscard]] const sVerdict& Verdict() const { return verdict; }
  [[nodiscard]] std::uint64_t FileCount() const { return files; }
  // The newest of them.
  [[nodiscard]] const std::vector<sFileTally>& Files() const { return newestFiles; }
  [[nodiscard]] std::uint64_t ChangeCount() const { return changeCount; }
  // The longest of the changes; nothing of its silence where none is known.
  [[nodiscard]] const sFileChange& LongestChange() const { return longestChange; }
  [[nodiscard]] const sFileChange& ShortestChange() const { return shortestChange; }
  [[nodiscard]] const std::vector<sSilence>& Silences() const { return silences; }
  [[nodiscard]] std::uint64_t SilenceCount() const { return silenceCount; }
  // Time of the newest item of the device in the files so far; nothing when there is none.
  [[nodiscard]] std::optional<std::uint64_t> LastReceived() const { return lastReceived; }

  static constexpr std::size_t kMostFiles = 100;

 private:
  void AddKeptFile(const sFileTally& file, const cCaptureFollower& follower);
  void AddSilence(std::uint64_t from, std::uint64_t to);
  void AddSilenceOfChange(std::uint64_t from, std::uint64_t to);

  std::uint64_t items = 0;
  std::uint64_t bytes = 0;
  std::uint64_t received = 0;
  std::array<std::uint64_t, isf::kItemTypes> byType{};
  std::uint64_t connections = 0;
  sVerdict verdict;
  std::uint64_t files = 0;
  std::vector<sFileTally> newestFiles;
  std::uint64_t changeCount = 0;
  sFileChange longestChange;
  sFileChange shortestChange;
  std::optional<std::uint64_t> lastReceived;
  std::vector<sSilence> silences;
  std::uint64_t silenceCount = 0;
};

// A measured length of time: "18 ms", "1.0 s".
[[nodiscard]] std::string FormatLength(std::uint64_t milliseconds);

// The summary as lines for the user.
[[nodiscard]] std::vector<std::string> DescribeCapture(const cCaptureTally& tally,
                                                       const sPrintedCounts& printed);

}  // namespace corvane::tools
