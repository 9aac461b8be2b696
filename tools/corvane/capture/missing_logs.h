#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "corvane/capture/capture_follower.h"
#include "corvane/profile/profile_requests.h"

// Whether a capture has no logs because the modem has several SIMs: it wraps its logs, and the
// library refuses the wrappers. Over mobile broadband the library says that it refuses packets. On
// a COM port it is silent about them, and all that is left to tell by is that no log comes though
// the modem has accepted the log masks.
namespace corvane::tools {

class cMissingLogs {
 public:
  // `requests` are those of each connection.
  explicit cMissingLogs(const sProfileRequests& requests)
      : asksForLogs(requests.forLogCodes != 0), unwraps(requests.unwraps) {}

  // To be called whenever the present file was looked at, `elapsed` after the start of the capture.
  // Returns a warning, once, when the connected modem has sent no log for kPatienceForLogs since
  // it was set up, nor any before.
  [[nodiscard]] std::optional<std::string> Look(const cCaptureFollower& follower,
                                                std::chrono::milliseconds elapsed);

  // The warning at the end of a capture of so many logs, or nothing. `refused` packets were no
  // items, as far as the library said.
  [[nodiscard]] std::optional<std::string> AtEnd(std::uint64_t logs, std::uint64_t refused) const;

  // A modem that is at rest has little to log.
  static constexpr std::chrono::milliseconds kPatienceForLogs = std::chrono::seconds(30);

 private:
  const bool asksForLogs;
  const bool unwraps;
  bool hasLogs = false;
  bool isAccepted = false;  // a log mask, by any connection
  bool isTold = false;
  std::optional<std::chrono::milliseconds> setUpSince;  // of the present connection
};

}  // namespace corvane::tools
