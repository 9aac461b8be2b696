#include "modem_sim/pseudo_terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <system_error>

namespace corvane::modem_sim {
namespace {

[[noreturn]] void Fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

bool IsLink(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

std::string LinkTarget(const std::string& path) {
  std::array<char, PATH_MAX> target{};
  const ssize_t size = ::readlink(path.c_str(), target.data(), target.size());
  return size < 0 ? std::string() : std::string(target.data(), static_cast<std::size_t>(size));
}

bool SetUpLine(int slave) {
  termios line{};
  if (::tcgetattr(slave, &line) != 0) {
    return false;
  }
  ::cfmakeraw(&line);
  line.c_iflag |= IXON | IXOFF;
  line.c_cflag |= CLOCAL | CREAD;
  return ::tcsetattr(slave, TCSANOW, &line) == 0;
}

}  // namespace

cPseudoTerminal::cPseudoTerminal(std::string linkPath) : link(std::move(linkPath)) {
  master = cUniqueFd(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (!master.IsOpen() || ::grantpt(master.Get()) != 0 || ::unlockpt(master.Get()) != 0) {
    Fail("cannot open a pseudo-terminal");
  }
  std::array<char, PATH_MAX> name{};
  if (::ptsname_r(master.Get(), name.data(), name.size()) != 0) {
    Fail("cannot name the pseudo-terminal");
  }
  path = name.data();
  OpenSlave();
  if (!slave.IsOpen()) {
    Fail("cannot open " + path);
  }
  if (!SetUpLine(slave.Get())) {
    Fail("cannot set up " + path);
  }
  watch = cUniqueFd(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  StartWatch();
  if (!link.empty()) {
    MakeLink();
  }
}

cPseudoTerminal::~cPseudoTerminal() {
  // The link may by now be another's.
  if (!link.empty() && LinkTarget(link) == path) {
    ::unlink(link.c_str());
  }
}

void cPseudoTerminal::OpenSlave() {
  slave = cUniqueFd(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
}

void cPseudoTerminal::MakeLink() {
  struct stat status {};
  if (::lstat(link.c_str(), &status) == 0 && !IsLink(link)) {
    errno = EEXIST;
    Fail("not a symbolic link: " + link);
  }
  // Renamed into place, so that there is always either the old link or the new one.
  const std::string fresh = link + ".new";
  ::unlink(fresh.c_str());
  if (::symlink(path.c_str(), fresh.c_str()) != 0) {
    Fail("cannot make the link " + fresh);
  }
  if (::rename(fresh.c_str(), link.c_str()) != 0) {
    const int error = errno;
    ::unlink(fresh.c_str());
    errno = error;
    Fail("cannot make the link " + link);
  }
}

void cPseudoTerminal::StartWatch() {
  if (!watch.IsOpen()) {
    return;
  }
  watchId = ::inotify_add_watch(watch.Get(), path.c_str(), IN_OPEN | IN_CLOSE);
  if (watchId < 0) {
    watch.Reset();
  }
}

bool cPseudoTerminal::Read(Bytes& bytes) {
  std::array<std::uint8_t, 4096> piece{};
  while (true) {
    const ssize_t count = ::read(master.Get(), piece.data(), piece.size());
    if (count > 0) {
      hostIsThere = true;
      AppendBytes(bytes, ByteView(piece).first(static_cast<std::size_t>(count)));
      continue;
    }
    // EIO: nobody has the slave open, which is for LookAtHost to find out.
    return count == 0 || errno == EAGAIN || errno == EIO || errno == EINTR;
  }
}

std::optional<std::size_t> cPseudoTerminal::Write(ByteView bytes) {
  const ssize_t count = ::write(master.Get(), bytes.data(), bytes.size());
  if (count >= 0) {
    return static_cast<std::size_t>(count);
  }
  if (errno == EAGAIN || errno == EIO || errno == EINTR) {
    return 0;
  }
  return std::nullopt;
}

std::size_t cPseudoTerminal::Unread() const {
  int count = 0;
  if (!slave.IsOpen() || ::ioctl(slave.Get(), FIONREAD, &count) != 0) {
    return 0;
  }
  return static_cast<std::size_t>(count);
}

cPseudoTerminal::eHostChange cPseudoTerminal::LookAtHost() {
  std::array<char, 4096> buffer{};
  bool opened = false;
  bool closed = !slave.IsOpen();
  ssize_t size = 0;
  while (watch.IsOpen() && (size = ::read(watch.Get(), buffer.data(), buffer.size())) > 0) {
    for (std::size_t at = 0; at < static_cast<std::size_t>(size);) {
      inotify_event event{};
      std::memcpy(&event, buffer.data() + at, sizeof(event));
      opened |= (event.mask & IN_OPEN) != 0;
      closed |= (event.mask & IN_CLOSE) != 0;
      at += sizeof(event) + event.len;
    }
  }
  const bool before = hostIsThere;
  // Notices of the same kind are run together, so they cannot be counted: after a close it is found
  // out by closing the slave here as well.
  hostIsThere = closed ? SomebodyElseHasItOpen() : before || opened;
  if (hostIsThere == before) {
    return eHostChange::None;
  }
  return hostIsThere ? eHostChange::Opened : eHostChange::Closed;
}

void cPseudoTerminal::DiscardUnread() {
  constexpr int kQuietMilliseconds = 5;
  std::array<char, 65536> rest{};
  pollfd line{slave.Get(), POLLIN, 0};
  // What the terminal holds behind its first buffer moves up only while that is being read, which
  // is why flushing it once is not enough.
  while (::poll(&line, 1, kQuietMilliseconds) > 0 &&
         ::read(slave.Get(), rest.data(), rest.size()) > 0) {
  }
}

bool cPseudoTerminal::SomebodyElseHasItOpen() {
  if (watch.IsOpen()) {
    ::inotify_rm_watch(watch.Get(), watchId);
  }
  slave.Reset();
  pollfd line{master.Get(), 0, 0};
  const bool hungUp = ::poll(&line, 1, 0) == 1 && (line.revents & POLLHUP) != 0;
  OpenSlave();
  StartWatch();
  if (hungUp && slave.IsOpen()) {
    DiscardUnread();
    SetUpLine(slave.Get());
  }
  return !hungUp;
}

}  // namespace corvane::modem_sim
