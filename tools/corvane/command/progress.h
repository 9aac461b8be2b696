#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>

namespace corvane::tools {

// A bar for work that takes longer than a second: "drive.isf  [#####     ]  48 %". It is drawn on
// standard error, and only where that is a terminal; it is wiped out when the work ends, before
// anything else is written there. Showing it costs next to nothing: call Show as often as is handy.
class cProgress {
 public:
  // `work` names it, of which the end is shown when it is long. `total` is the amount of work, in
  // any unit; 0 where it is not known, and no bar is drawn.
  cProgress(const std::string& work, std::uint64_t total);
  cProgress(const cProgress&) = delete;
  cProgress& operator=(const cProgress&) = delete;
  // Wipes the bar out.
  ~cProgress();

  // So much is done.
  void Show(std::uint64_t done);
  // The same, of work that tells it so rarely that the clock can be looked at each time.
  void ShowNow(std::uint64_t done);
  // Wipes the bar out, so that a line can be written; the next Show draws it again.
  void Wipe();

 private:
  void Draw(std::uint64_t done);

  const std::string name;
  const std::uint64_t all;
  const bool isShown;                          // standard error is a terminal
  std::chrono::steady_clock::time_point next;  // it is drawn
  std::uint32_t calls = 0;                     // since the clock was last looked at
  std::size_t length = 0;                      // of the bar that stands in the terminal
};

// For tests. As long as it lives, bars are drawn wherever standard error goes, at the times that
// `clock` tells.
class cProgressByClock {
 public:
  using Clock = std::chrono::steady_clock::time_point (*)();

  explicit cProgressByClock(Clock clock);
  cProgressByClock(const cProgressByClock&) = delete;
  cProgressByClock& operator=(const cProgressByClock&) = delete;
  ~cProgressByClock();
};

}  // namespace corvane::tools
