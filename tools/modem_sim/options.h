#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "modem_sim/faults.h"
#include "modem_sim/outgoing.h"
#include "modem_sim/scenario.h"

namespace corvane::modem_sim {

// What happens when the stream has reached its end.
enum class eAfterStream { Idle, HangUp, Quit };

struct sOptions {
  std::string link;
  std::string report;
  bool packetsInReport = true;

  std::string scenario = "mixed";
  sStreamOptions stream;
  double rate = 100;                      // packets in a second; 0: as fast as the host takes them
  std::uint64_t count = 0;                // packets in the stream; 0: no end
  std::chrono::milliseconds duration{0};  // from the first packet on; 0: no end
  eAfterStream then = eAfterStream::Idle;
  std::chrono::milliseconds settle{250};
  bool paused = false;
  std::chrono::milliseconds heartbeat{250};  // 0: none

  sFaultOptions faults;
  sWriteOptions writes;
  std::optional<std::chrono::milliseconds> returnAfter = std::chrono::milliseconds{2000};
};

// Reads the command line. Nothing is returned when the program is to end at once, with `exitCode`:
// help was printed to standard output (0) or an error to standard error (2).
[[nodiscard]] std::optional<sOptions> ParseOptions(int argc, const char* const* argv,
                                                   int& exitCode);

}  // namespace corvane::modem_sim
