#pragma once

#include <map>
#include <utility>

#include "modem_sim/hdlc_peer.h"
#include "modem_sim/modem.h"
#include "modem_sim/options.h"
#include "modem_sim/outgoing.h"
#include "modem_sim/pseudo_terminal.h"

namespace corvane::modem_sim {

// What was sent and received in the whole run.
struct sTotals {
  std::uint64_t requests = 0;
  std::uint64_t replies = 0;
  std::uint64_t streamed = 0;
  std::uint64_t spoiled = 0;
  std::uint64_t heartbeats = 0;
  std::uint64_t bytesSent = 0;
};

// One plugging-in of the modem: a pseudo-terminal of its own, the modem's memory of the masks, and
// what is on its way to the host. The destructor hangs up.
class cConnection {
 public:
  // `number` counts from 1. The other arguments outlive the connection. Throws std::system_error
  // when there is no pseudo-terminal to be had.
  cConnection(unsigned number, const sOptions& options, const cFaults& faults, cReport& report,
              sTotals& totals);

  // Does what poll found possible, and what is due at `now`. False when the line has failed.
  [[nodiscard]] bool Serve(Clock::time_point now);
  // When Serve has something to do without any descriptor becoming ready.
  [[nodiscard]] std::optional<Clock::time_point> NextDue(Clock::time_point now) const;

  // Queues a packet of the stream with its faults, and what they add around it.
  void SendStreamed(std::uint64_t packetNumber, const sStreamPacket& packet,
                    const sPacketFaults& packetFaults);
  // Queues a packet, or bytes as they are, that a command asked for.
  void SendCommanded(ByteView bytes, bool asPacket);

  // While replies are held back, they are kept for when they no longer are.
  void HoldReplies(bool hold) { hold ? desk.Hold() : desk.Release(); }
  // Lets a packet go that waits to be written together with its next: there will be none.
  void LetGo() { queue.Release(); }

  // Since when no request has come and no reply has gone out. Nothing before the first request, or
  // while a reply is late or held back; a withheld one is not waited for.
  [[nodiscard]] std::optional<Clock::time_point> QuietSince() const;

  // Whether everything that was queued has been read by the host. Asked again and again; there is
  // a moment in which the terminal has bytes that it does not count, so it takes a few answers.
  // Without a host nothing is waited for.
  [[nodiscard]] bool Drained();

  // True once after the host has closed the terminal.
  [[nodiscard]] bool TakeHostGone() { return std::exchange(hostGone, false); }

  [[nodiscard]] unsigned Number() const { return number; }
  [[nodiscard]] const cMasks& Masks() const { return modem.Masks(); }
  [[nodiscard]] std::size_t Queued() const { return queue.Size(); }
  [[nodiscard]] bool HasHost() const { return terminal.HostIsThere(); }
  [[nodiscard]] int MasterFd() const { return terminal.MasterFd(); }
  [[nodiscard]] int WatchFd() const { return terminal.WatchFd(); }
  [[nodiscard]] bool WantsToWrite(Clock::time_point now) const { return !queue.Ready(now).empty(); }

 private:
  void LookAtHost();
  void ForgetHost();
  [[nodiscard]] bool Receive(Clock::time_point now);
  void Answer(ByteView request, Clock::time_point now);
  void SendDueReplies(Clock::time_point now);
  [[nodiscard]] bool Transmit(Clock::time_point now);
  void Beat(Clock::time_point now);
  // Queues bytes; `line` is reported once they are written.
  void Queue(ByteView bytes, Json line, const std::vector<std::size_t>& cuts = {},
             bool withNext = false);
  void ReportWritten(std::uint64_t ticket);

  unsigned number;
  const sOptions& options;
  const cFaults& faults;
  cReport& report;
  sTotals& totals;
  cPseudoTerminal terminal;
  cDeframer deframer;
  cModem modem;
  cReplyDesk desk;
  cOutputQueue queue;

  std::map<std::uint64_t, Json> lines;  // of what is queued, by ticket
  std::uint64_t nextTicket = 0;
  std::uint64_t nextRequest = 0;
  std::optional<Clock::time_point> lastExchange;
  Clock::time_point lastBeat;  // or the last write of anything else
  unsigned emptyLooks = 0;
  bool hostGone = false;
};

}  // namespace corvane::modem_sim
