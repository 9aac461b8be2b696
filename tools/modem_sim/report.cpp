#include "modem_sim/report.h"

#include <poll.h>

#include <cerrno>

namespace corvane::modem_sim {
namespace {

bool WriteAll(int fd, std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t count = ::write(fd, text.data() + done, text.size() - done);
    if (count >= 0) {
      done += static_cast<std::size_t>(count);
    } else if (errno == EAGAIN) {
      pollfd ready{fd, POLLOUT, 0};
      ::poll(&ready, 1, -1);
    } else if (errno != EINTR) {
      return false;
    }
  }
  text.clear();
  return true;
}

Json WithFirst(const char* name, Json value, const Json& fields) {
  Json line = {{name, std::move(value)}};
  line.update(fields);
  return line;
}

}  // namespace

cReport::cReport(int outputFd, cUniqueFd reportFile, bool withPackets)
    : output(outputFd), file(std::move(reportFile)), packets(withPackets) {}

void cReport::Packet(const Json& fields) {
  const std::uint64_t number = sequence++;
  if (!packets) {
    return;
  }
  (file.IsOpen() ? forFile : forOutput) += WithFirst("seq", number, fields).dump() + "\n";
}

void cReport::Event(const std::string& name, const Json& fields) {
  const std::string line = WithFirst("event", name, fields).dump() + "\n";
  forOutput += line;
  if (file.IsOpen()) {
    forFile += line;
  }
}

bool cReport::Flush() {
  if (!file.IsOpen()) {
    return WriteAll(output, forOutput);
  }
  // The file first: whoever sees an event on standard output finds there all that came before it.
  if (!WriteAll(file.Get(), forFile)) {
    return false;
  }
  // Nobody need listen to standard output once there is a file.
  if (!WriteAll(output, forOutput)) {
    forOutput.clear();
  }
  return true;
}

}  // namespace corvane::modem_sim
