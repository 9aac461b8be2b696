#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <stdexcept>
#include <system_error>
#include <tuple>
#include <utility>

#include "corvane/command/standard_streams.h"
#include "corvane/live/live_output.h"

namespace corvane::tools {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kReaderPatience(10'000);
constexpr milliseconds kReaderInterval(20);
// How long a full pipe may block the rest of the export once a stop was requested.
constexpr milliseconds kStopPatience(500);

// An open file.
class cDescriptor {
 public:
  explicit cDescriptor(int opened) : number(opened) {}
  cDescriptor(const cDescriptor&) = delete;
  cDescriptor& operator=(const cDescriptor&) = delete;
  cDescriptor& operator=(cDescriptor&& other) noexcept {
    std::swap(number, other.number);
    return *this;
  }
  ~cDescriptor() {
    if (number >= 0) {
      close(number);
    }
  }

  [[nodiscard]] int Get() const { return number; }

 private:
  int number;
};

constexpr int kOpenFlags = O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_CLOEXEC;
constexpr mode_t kFileMode = 0666;  // less what the user's mask takes away

// The write end of the pipe that OnStop wakes the program with; -1 while no handler is installed.
volatile std::sig_atomic_t wakingEnd = -1;

void OnStop(int) {
  const int before = errno;
  // A pipe that is full already wakes the program as well.
  std::ignore = write(wakingEnd, "", 1);
  errno = before;
}

// SIGINT and SIGTERM as something that can be waited for.
class cStopSignals {
 public:
  cStopSignals() {
    if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
      throw std::runtime_error("no pipe for signals");
    }
    wakingEnd = ends[1];
    struct sigaction action {};
    action.sa_handler = OnStop;
    sigaction(SIGINT, &action, &interrupt);
    sigaction(SIGTERM, &action, &terminate);
  }
  cStopSignals(const cStopSignals&) = delete;
  cStopSignals& operator=(const cStopSignals&) = delete;
  ~cStopSignals() {
    sigaction(SIGINT, &interrupt, nullptr);
    sigaction(SIGTERM, &terminate, nullptr);
    wakingEnd = -1;
    close(ends[0]);
    close(ends[1]);
  }

  // Becomes readable, and stays so, when one of them has come.
  [[nodiscard]] int Descriptor() const { return ends[0]; }

 private:
  std::array<int, 2> ends{};
  struct sigaction interrupt {};
  struct sigaction terminate {};
};

class cPosixLiveOutput final : public cLiveOutput {
 public:
  // `file` stays open, and the caller's.
  explicit cPosixLiveOutput(int file = -1) : output(file) {}

  // Opens the file or pipe. Returns a value of errno: ECANCELED when a stop was requested, ENXIO
  // when no reader has come.
  [[nodiscard]] int Open(const std::string& path) {
    const auto end = steady_clock::now() + kReaderPatience;
    int problem = ENXIO;
    while (problem == ENXIO && steady_clock::now() < end) {
      // Opened in the way that waits for a reader, it could not be stopped.
      opened = cDescriptor(open(path.c_str(), kOpenFlags, kFileMode));
      problem = opened.Get() >= 0 ? 0 : errno;
      output = opened.Get();
      if (problem == ENXIO && Wait(kReaderInterval) == eWake::StopRequested) {
        return ECANCELED;
      }
    }
    return problem;
  }

  [[nodiscard]] eWake Wait(milliseconds time) override {
    const auto end = steady_clock::now() + time;
    for (;;) {
      const auto left = std::chrono::ceil<milliseconds>(end - steady_clock::now());
      std::array<pollfd, 2> files = Watched(0);
      // A signal may break it off.
      if (poll(files.data(), files.size(), static_cast<int>(std::max(left.count(), 0L))) > 0) {
        return files[0].revents != 0 ? eWake::StopRequested : eWake::ReaderIsGone;
      }
      if (left <= milliseconds(0)) {
        return eWake::TimeIsOver;
      }
    }
  }

 private:
  // poll passes over a descriptor of -1.
  [[nodiscard]] std::array<pollfd, 2> Watched(short outputEvents) const {
    return {{{signals.Descriptor(), POLLIN, 0}, {output, outputEvents, 0}}};
  }

  // Waits until a write does not block: there is room, or an error to tell. False when there is
  // none although a stop was requested.
  [[nodiscard]] bool WaitForRoom() const {
    std::array<pollfd, 2> files = Watched(POLLOUT);
    while (poll(files.data(), files.size(), -1) <= 0) {
      // broken off by a signal, which the next call sees
    }
    return files[1].revents != 0 || poll(&files[1], 1, static_cast<int>(kStopPatience.count())) > 0;
  }

  [[nodiscard]] int Deliver(std::span<const std::uint8_t> bytes) override {
    while (!bytes.empty()) {
      if (!WaitForRoom()) {
        return ECANCELED;
      }
      // A pipe that has room takes so many bytes without blocking. Standard output belongs to
      // others too: it is not made non-blocking for this.
      const ssize_t count =
          write(output, bytes.data(), std::min<std::size_t>(bytes.size(), PIPE_BUF));
      if (count >= 0) {
        bytes = bytes.subspan(static_cast<std::size_t>(count));
      } else if (errno != EINTR && errno != EAGAIN) {
        return errno;
      }
    }
    return 0;
  }

  cStopSignals signals;
  cDescriptor opened{-1};
  int output;
};

}  // namespace

std::unique_ptr<cLiveOutput> MakeLiveStandardOutput() {
  SurviveClosedPipes();
  return std::make_unique<cPosixLiveOutput>(STDOUT_FILENO);
}

// A FIFO has a name like any file, and is told from one by looking.
bool IsPipeName(const std::string&) { return false; }

std::unique_ptr<cLiveOutput> OpenLiveOutput(const std::string& path, std::string& problem) {
  SurviveClosedPipes();
  auto output = std::make_unique<cPosixLiveOutput>();
  const int error = output->Open(path);
  if (error == 0) {
    return output;
  }
  if (error == ECANCELED) {
    problem.clear();
    return nullptr;
  }
  problem =
      fmt::format("{} cannot be written: {}", path,
                  error == ENXIO ? "nobody reads it" : std::generic_category().message(error));
  return nullptr;
}

}  // namespace corvane::tools
