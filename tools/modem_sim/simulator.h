#pragma once

#include <poll.h>

#include <functional>
#include <memory>

#include "modem_sim/connection.h"
#include "modem_sim/control.h"
#include "modem_sim/scenario.h"

namespace corvane::modem_sim {

// The simulated modem as it runs: plugs itself in, serves its connection, streams, hangs up and
// returns, and obeys commands. One thread, one poll loop: nothing blocks but the report.
class cSimulator {
 public:
  // What waits until a descriptor is ready: the system's poll, or a test's.
  using Poll = std::function<int(pollfd* descriptors, nfds_t count, int milliseconds)>;

  // The report outlives the simulator.
  cSimulator(sOptions options, cReport& report, Poll poll = ::poll);

  // Runs until a command, a signal or the options end it; then hangs up and removes the link.
  // `commandFd` is read for commands until its end, `signalFd` is a signalfd. Returns false when
  // the report could not be written. Throws std::system_error when there is no pseudo-terminal to
  // be had.
  [[nodiscard]] bool Run(int commandFd, int signalFd);

 private:
  // On the way out: what has been sent is left for the host to read first.
  struct sDeparture {
    Clock::time_point deadline;
    bool quit = false;
    std::optional<std::chrono::milliseconds> returnAfter;
  };

  void Step(Clock::time_point now);
  void Stream(Clock::time_point now);
  [[nodiscard]] bool MayStream(Clock::time_point now) const;
  void SendNext(Clock::time_point now);
  void EndStreamIfDue(Clock::time_point now);

  void Plug();
  void Depart(Clock::time_point now, bool quit,
              std::optional<std::chrono::milliseconds> returnAfter);
  void FinishDeparture(Clock::time_point now, bool drained);

  void Wait(Clock::time_point now);
  [[nodiscard]] int WaitMilliseconds(Clock::time_point now) const;
  void TakeSignals();
  void TakeCommands();
  void Obey(const sCommand& command);
  // Does what the command says; returns what is reported as its result.
  [[nodiscard]] std::string Carry(const sCommand& command, Clock::time_point now);
  [[nodiscard]] std::string CarryOnLine(const sCommand& command, Clock::time_point now);

  const sOptions options;
  cReport& report;
  const Poll poll;
  cFaults faults;
  std::unique_ptr<cScenario> scenario;
  sTotals totals;

  std::unique_ptr<cConnection> connection;  // null while unplugged
  unsigned connections = 0;
  std::optional<sDeparture> departure;
  std::optional<Clock::time_point> returnAt;
  bool holdReplies = false;

  bool paused;
  std::uint64_t nextNumber = 0;
  Clock::time_point nextPacketDue{};
  std::optional<Clock::time_point> streamStart;
  enum class eStream { Running, Ended, Reported } stream = eStream::Running;

  int commands = -1;
  int signals = -1;
  cCommandReader commandReader;
  bool done = false;
};

}  // namespace corvane::modem_sim
