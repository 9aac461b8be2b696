#include <unistd.h>

#include <csignal>
#include <tuple>

#include "corvane/making/unfinished_file.h"

namespace corvane::tools {
namespace {

// The signal has its first effect again, and comes a second time when this returns.
void OnEnd(int signal) {
  RemoveUnfinishedFiles();
  std::ignore = raise(signal);
}

}  // namespace

void RemoveOpenFile(const char* path) { unlink(path); }

void HandleEnds() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction present {};
    if (sigaction(signal, nullptr, &present) == 0 && present.sa_handler == SIG_DFL) {
      struct sigaction action {};
      action.sa_handler = OnEnd;
      action.sa_flags = static_cast<int>(SA_RESETHAND);
      sigaction(signal, &action, nullptr);
    }
  }
}

}  // namespace corvane::tools
