#include <unistd.h>

#include <csignal>
#include <tuple>

#include "corvane/making/unfinished_file.h"

namespace corvane::tools {
namespace {

constexpr int kEnds[] = {SIGINT, SIGTERM, SIGHUP};

thread_local sigset_t signalsBefore;

// The signal has its first effect again, and comes a second time when this returns.
void OnEnd(int signal) {
  RemoveUnfinishedFiles();
  std::ignore = raise(signal);
}

}  // namespace

void RemoveOpenFile(const char* path) { unlink(path); }

void HandleEnds() {
  for (const int signal : kEnds) {
    struct sigaction present {};
    if (sigaction(signal, nullptr, &present) == 0 && present.sa_handler == SIG_DFL) {
      struct sigaction action {};
      action.sa_handler = OnEnd;
      action.sa_flags = static_cast<int>(SA_RESETHAND);
      sigaction(signal, &action, nullptr);
    }
  }
}

cHeldBackEnd::cHeldBackEnd() {
  sigset_t ends{};
  sigemptyset(&ends);
  for (const int signal : kEnds) {
    sigaddset(&ends, signal);
  }
  pthread_sigmask(SIG_BLOCK, &ends, &signalsBefore);
}

cHeldBackEnd::~cHeldBackEnd() { pthread_sigmask(SIG_SETMASK, &signalsBefore, nullptr); }

}  // namespace corvane::tools
