#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "corvane/capture/capture_console.h"
#include "corvane/capture/capture_follower.h"
#include "corvane/capture/capture_host.h"
#include "corvane/capture/capture_request.h"
#include "corvane/capture/capture_tally.h"
#include "corvane/capture/capture_watch.h"
#include "corvane/capture/device_presence.h"
#include "corvane/capture/files_in_turn.h"
#include "corvane/capture/missing_logs.h"
#include "corvane/capture/output_file.h"
#include "corvane/capture/printed_lines.h"
#include "corvane/profile/profile_requests.h"

namespace corvane::tools {

// How a capture that has ended left its file.
struct sCaptureResult {
  bool isComplete = false;
  bool isEmpty = false;  // the device was never reached
  std::uint64_t items = 0;
  std::uint64_t bytes = 0;
  std::string text;  // a line for the user, without its end
};
[[nodiscard]] sCaptureResult ReadResult(const std::string& path);

// A prepared capture (capture_start.h) from its first file to its last.
class cCaptureCourse {
 public:
  // None of these is owned, and all must outlive this.
  struct sParts {
    cCaptureHost& host;
    cCaptureLibrary& library;
    cCaptureConsole& console;
    cDevicePresence& presence;
    const cPrintedLines& printed;
  };

  // `prepared` is what PrepareCapture made of the user's request.
  cCaptureCourse(const sCaptureRequest& prepared, const sParts& used);
  cCaptureCourse(const cCaptureCourse&) = delete;
  cCaptureCourse& operator=(const cCaptureCourse&) = delete;
  // Stops the library if it still runs.
  ~cCaptureCourse();

  // Captures until the request or the user ends it, and tells what came of it. Returns the exit
  // code.
  [[nodiscard]] int Run();

  // How often the start of the next file is tried, a second apart each.
  static constexpr int kMostStarts = 10;

 private:
  using milliseconds = std::chrono::milliseconds;

  // What becomes of the capture when one of its files is full.
  enum class eNext { GoesOn, Ends, ShortOfRoom, Failed };

  [[nodiscard]] bool StartFile();
  void Announce();
  [[nodiscard]] bool FinishFile();
  [[nodiscard]] bool IsWorthNothing(const sCaptureResult& result) const;
  [[nodiscard]] eNext ChangeFile();
  [[nodiscard]] static const char* ReasonOf(eNext next);
  [[nodiscard]] eNext StartNext();
  [[nodiscard]] bool IsShortOfRoom();
  void TellChange(const std::string& closed, milliseconds change);
  void AfterLook();
  void LookForLogs();
  void TellFirstReceived();
  void TellSilenceOfChange();
  void RemoveOldFiles();
  void Stop();
  void Fail(const std::string& problem);
  [[nodiscard]] int Finish(bool isGood);
  [[nodiscard]] const char* WhyNothing() const;
  void TellMissingLogs();
  [[nodiscard]] int JudgeCapture(bool isGood);

  const sCaptureRequest request;
  sParts parts;
  cCaptureWatch watch;
  cCaptureTally tally;
  cKeptFiles kept;
  const sProfileRequests asked;  // of each connection
  cMissingLogs missingLogs;
  std::unique_ptr<cOutputFile> output;
  std::unique_ptr<cCaptureFollower> follower;
  std::uint64_t fileNumber = 0;
  bool wasTooLate = false;   // the device was not connected while it was waited for
  bool hasReceived = false;  // the present file has an item of the device
  milliseconds fileBegan{};
  std::uint64_t stopped =
      0;  // when the library was last stopped; milliseconds since 1601-01-01 UTC
  bool isRunning = false;
};

// Stops the library. When that takes long the user is told why, after `patience`: the library waits
// for a read of the port to end.
void StopLibrary(cCaptureLibrary& library, cCaptureReporter& reporter,
                 std::chrono::milliseconds patience);

}  // namespace corvane::tools
