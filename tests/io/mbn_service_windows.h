#pragma once

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "support/temp_directory.h"

// The stand-in for the Mobile Broadband service (tests/mbn_stand_in) from a test program: it is
// registered for as long as the program runs, under the two classes that the library creates.
namespace corvane::test {

// One run of the stand-in by a scenario of its own (mbn_stand_in/scenario.h has the statements and
// steps, mbn_stand_in/journal.h the lines of the log). One at a time.
class cMbnService {
 public:
  explicit cMbnService(const std::string& scenario);
  ~cMbnService();
  cMbnService(const cMbnService&) = delete;
  cMbnService& operator=(const cMbnService&) = delete;

  // Has a step done; returns when the sink's calls have been made.
  void Do(const std::string& step);
  // Has a step done some time.
  void Post(const std::string& step);

  // The log so far.
  [[nodiscard]] std::vector<std::string> Log() const;
  // The log's lines that begin with `start`, without it.
  [[nodiscard]] std::vector<std::string> Log(const std::string& start) const;
  // The frames of the commands that the service took, as hexadecimal digits.
  [[nodiscard]] std::vector<std::string> Commands() const;

  // Waits until so many lines begin with `start`; false after `limit`.
  [[nodiscard]] bool WaitForLog(const std::string& start, std::size_t count = 1,
                                std::chrono::milliseconds limit = std::chrono::seconds(20)) const;

  // True when every object of the service has been given back and every sink let go of, and no call
  // had to wait in vain for a callback's return.
  [[nodiscard]] bool HasNothingLeft() const;

 private:
  cTempDirectory folder;
};

// Takes the stand-in's classes out of the registry while it lives.
class cUnregisteredMbnService {
 public:
  cUnregisteredMbnService();
  ~cUnregisteredMbnService();
  cUnregisteredMbnService(const cUnregisteredMbnService&) = delete;
  cUnregisteredMbnService& operator=(const cUnregisteredMbnService&) = delete;
};

// How many blocks of COM's allocator are in use in this process: every string and array of OLE
// Automation is one or more. Counts from the first call on.
[[nodiscard]] std::int64_t LiveAutomationBlocks();

}  // namespace corvane::test
