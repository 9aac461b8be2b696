#pragma once

#include <optional>
#include <string>

#include "modem_sim/bytes.h"
#include "modem_sim/unique_fd.h"

namespace corvane::modem_sim {

// A pseudo-terminal with the modem at its master end. The host opens the slave end, which looks
// like a serial port: raw, 8 bits, and with XON/XOFF flow control switched on, as a port may be
// found that nobody has set up. A host that moves binary data has to switch that off.
//
// The slave is held open here too, so that the line stays as it is while no host has it open.
class cPseudoTerminal {
 public:
  // Throws std::system_error when there is no pseudo-terminal to be had, or the link cannot be
  // made. `link` becomes a symbolic link to the slave, unless it is empty; one that is there is
  // replaced, anything else is not.
  explicit cPseudoTerminal(std::string link);
  // Hangs up: a host that has the slave open loses it, with what it has not read. Removes the link.
  ~cPseudoTerminal();
  cPseudoTerminal(const cPseudoTerminal&) = delete;
  cPseudoTerminal& operator=(const cPseudoTerminal&) = delete;

  [[nodiscard]] const std::string& Path() const { return path; }
  // Readable when the host has sent something, writable when the line takes something.
  [[nodiscard]] int MasterFd() const { return master.Get(); }
  // Readable when LookAtHost has something to find out. -1 where the system does not tell.
  [[nodiscard]] int WatchFd() const { return watch.Get(); }

  // Appends what the host has sent to `bytes`. False when the line has failed.
  [[nodiscard]] bool Read(Bytes& bytes);

  // Writes as much as the line takes now and returns how much that was: 0 when it takes nothing.
  // Nothing is returned when the line has failed.
  [[nodiscard]] std::optional<std::size_t> Write(ByteView bytes);

  // How many bytes wait for the host in the slave's buffer.
  [[nodiscard]] std::size_t Unread() const;

  enum class eHostChange { None, Opened, Closed };
  // Finds out whether a host has opened the slave, or the last one has closed it. When it was
  // closed the line is set up afresh, without the bytes that nobody has read.
  [[nodiscard]] eHostChange LookAtHost();

  // Whether a host has the slave open, as far as is known. A host that has sent something has.
  [[nodiscard]] bool HostIsThere() const { return hostIsThere; }

 private:
  void OpenSlave();
  void MakeLink();
  void StartWatch();
  [[nodiscard]] bool SomebodyElseHasItOpen();
  void DiscardUnread();

  cUniqueFd master;
  cUniqueFd slave;
  cUniqueFd watch;
  std::string path;
  std::string link;
  int watchId = -1;
  bool hostIsThere = false;
};

}  // namespace corvane::modem_sim
