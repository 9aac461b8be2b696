#include <fcntl.h>
#include <sys/signalfd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <iostream>
#include <system_error>

#include "modem_sim/simulator.h"

namespace {

using corvane::modem_sim::cReport;
using corvane::modem_sim::cSimulator;
using corvane::modem_sim::cUniqueFd;
using corvane::modem_sim::sOptions;

// The signals that end or steer the simulator come through a descriptor, in step with all else.
cUniqueFd CatchSignals() {
  std::signal(SIGPIPE, SIG_IGN);
  // In the background of a shell, reading the terminal's commands is refused, not the end.
  std::signal(SIGTTIN, SIG_IGN);
  sigset_t caught;
  sigemptyset(&caught);
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGUSR2}) {
    sigaddset(&caught, number);
  }
  if (::sigprocmask(SIG_BLOCK, &caught, nullptr) != 0) {
    return cUniqueFd();
  }
  return cUniqueFd(::signalfd(-1, &caught, SFD_NONBLOCK | SFD_CLOEXEC));
}

int Fail(const std::string& what) {
  std::cerr << "corvane-modem-sim: " << what << '\n';
  return 1;
}

int Simulate(const sOptions& options) {
  const cUniqueFd signals = CatchSignals();
  if (!signals.IsOpen()) {
    return Fail(std::string("cannot catch signals: ") + std::strerror(errno));
  }
  cUniqueFd file;
  if (!options.report.empty()) {
    file =
        cUniqueFd(::open(options.report.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!file.IsOpen()) {
      return Fail("cannot write " + options.report + ": " + std::strerror(errno));
    }
  }
  cReport report(STDOUT_FILENO, std::move(file), options.packetsInReport);
  if (!cSimulator(options, report).Run(STDIN_FILENO, signals.Get())) {
    return Fail("cannot write the report");
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  int exitCode = 0;
  const auto options = corvane::modem_sim::ParseOptions(argc, argv, exitCode);
  if (!options) {
    return exitCode;
  }
  try {
    return Simulate(*options);
  } catch (const std::system_error& error) {
    return Fail(error.what());
  }
}
