#include "modem_sim/connection.h"

#include "modem_sim/diag_packets.h"

namespace corvane::modem_sim {
namespace {

// The modem's clock at its first request, and one unit later at each further one: a minute before
// the first streamed packet's.
constexpr std::uint64_t kBeforeStream = std::uint64_t{60} * 800;

Json PacketLine(unsigned connection, const char* direction, const std::string& kind) {
  return {{"connection", connection}, {"dir", direction}, {"kind", kind}};
}

void AddBytes(Json& line, bool good, ByteView packet) {
  line["crc"] = good ? "good" : "bad";
  line["hex"] = ToHex(packet);
}

Json ShownMessage(const sShownMessage& message) {
  return {{"dissector", message.dissector},
          {"shows", message.shows},
          {"uplink", message.uplink},
          {"hex", ToHex(message.message)}};
}

Json HexList(const std::vector<Bytes>& packets) {
  Json list = Json::array();
  for (const Bytes& packet : packets) {
    list.push_back(ToHex(packet));
  }
  return list;
}

}  // namespace

cConnection::cConnection(unsigned connectionNumber, const sOptions& simulatorOptions,
                         const cFaults& injectedFaults, cReport& lineReport, sTotals& runTotals)
    : number(connectionNumber),
      options(simulatorOptions),
      faults(injectedFaults),
      report(lineReport),
      totals(runTotals),
      terminal(simulatorOptions.link),
      queue(simulatorOptions.stream.seed, simulatorOptions.writes),
      lastBeat(Clock::now()) {
  report.Event("plugged",
               {{"connection", number}, {"path", terminal.Path()}, {"link", options.link}});
}

bool cConnection::Serve(Clock::time_point now) {
  LookAtHost();
  if (!Receive(now)) {
    return false;
  }
  SendDueReplies(now);
  Beat(now);
  return Transmit(now);
}

std::optional<Clock::time_point> cConnection::NextDue(Clock::time_point now) const {
  std::optional<Clock::time_point> due = queue.NextDue(now);
  const auto consider = [&due](std::optional<Clock::time_point> time) {
    if (time && (!due || *time < *due)) {
      due = time;
    }
  };
  consider(desk.NextDue());
  if (HasHost() && options.heartbeat.count() > 0 && queue.Size() == 0) {
    consider(lastBeat + options.heartbeat);
  }
  return due;
}

void cConnection::LookAtHost() {
  switch (terminal.LookAtHost()) {
    case cPseudoTerminal::eHostChange::Opened:
      report.Event("host-opened", {{"connection", number}});
      break;
    case cPseudoTerminal::eHostChange::Closed:
      ForgetHost();
      break;
    case cPseudoTerminal::eHostChange::None:
      break;
  }
}

void cConnection::ForgetHost() {
  // Heartbeats on their way have no line.
  const std::size_t dropped = lines.size();
  queue = cOutputQueue(options.stream.seed, options.writes);
  lines.clear();
  const bool holding = desk.IsHolding();
  desk = cReplyDesk();
  HoldReplies(holding);
  deframer.Reset();
  modem.Forget();
  nextRequest = 0;
  lastExchange.reset();
  hostGone = true;
  report.Event("host-closed", {{"connection", number}, {"dropped", dropped}});
}

bool cConnection::Receive(Clock::time_point now) {
  const bool hadHost = HasHost();
  Bytes bytes;
  if (!terminal.Read(bytes)) {
    return false;
  }
  if (!hadHost && HasHost()) {
    report.Event("host-opened", {{"connection", number}});
  }
  std::vector<sReceivedFrame> frames;
  deframer.Push(bytes, frames);
  for (const sReceivedFrame& frame : frames) {
    Json line = PacketLine(number, "rx", frame.good ? "request" : "damaged");
    if (frame.good) {
      line["number"] = nextRequest;
    }
    AddBytes(line, frame.good, frame.packet);
    report.Packet(line);
    if (frame.good) {
      Answer(frame.packet, now);
    }
  }
  return true;
}

void cConnection::Answer(ByteView request, Clock::time_point now) {
  const std::uint64_t requestNumber = nextRequest++;
  ++totals.requests;
  lastExchange = now;
  const std::uint64_t clock = options.stream.clockStart - kBeforeStream + requestNumber;
  const Bytes answer = modem.Answer(request, DiagTime(clock, 0));
  const sReplyFaults replyFaults = faults.ForReply(number, requestNumber, request[0]);
  if (replyFaults.withhold) {
    report.Event("withheld", {{"connection", number}, {"number", requestNumber}});
    return;
  }
  sReply reply;
  reply.frame =
      replyFaults.spoil ? faults.SpoiledReply(number, requestNumber, answer) : Frame(answer);
  reply.line = PacketLine(number, "tx", "reply");
  reply.line["number"] = requestNumber;
  AddBytes(reply.line, !replyFaults.spoil, answer);
  if (replyFaults.delay.count() > 0) {
    reply.line["delay"] = replyFaults.delay.count();
  }
  desk.Submit(std::move(reply), now + replyFaults.delay);
}

void cConnection::SendDueReplies(Clock::time_point now) {
  for (sReply& reply : desk.TakeDue(now)) {
    lastExchange = now;
    Queue(reply.frame, std::move(reply.line));
  }
}

void cConnection::Beat(Clock::time_point now) {
  if (!HasHost() || options.heartbeat.count() == 0 || queue.Size() > 0 ||
      now < lastBeat + options.heartbeat) {
    return;
  }
  lastBeat = now;
  // A host that has something left to read is not waiting to be woken.
  if (terminal.Unread() > 0) {
    return;
  }
  ++totals.heartbeats;
  queue.Push(IdleFrame(), nextTicket++, {}, false);
}

bool cConnection::Transmit(Clock::time_point now) {
  while (true) {
    const ByteView ready = queue.Ready(now);
    if (ready.empty()) {
      return true;
    }
    const std::optional<std::size_t> count = terminal.Write(ready);
    if (!count) {
      return false;
    }
    if (*count == 0) {
      return true;
    }
    lastBeat = now;
    totals.bytesSent += *count;
    for (const std::uint64_t ticket : queue.Written(*count, now)) {
      ReportWritten(ticket);
    }
  }
}

void cConnection::ReportWritten(std::uint64_t ticket) {
  const auto entry = lines.find(ticket);
  if (entry == lines.end()) {
    return;
  }
  const Json& line = entry->second;
  const std::string kind = line["kind"];
  if (kind == "reply") {
    ++totals.replies;
  }
  if (kind == "log" || kind == "event" || kind == "message") {
    ++totals.streamed;
  }
  if (line["crc"] == "bad" && kind != "noise" && kind != "raw") {
    ++totals.spoiled;
  }
  report.Packet(line);
  lines.erase(entry);
}

void cConnection::Queue(ByteView bytes, Json line, const std::vector<std::size_t>& cuts,
                        bool withNext) {
  lines.emplace(nextTicket, std::move(line));
  queue.Push(bytes, nextTicket++, cuts, withNext);
}

void cConnection::SendStreamed(std::uint64_t packetNumber, const sStreamPacket& packet,
                               const sPacketFaults& packetFaults) {
  if (packetFaults.noise) {
    const Bytes noise = faults.Noise(packetNumber);
    Json line = PacketLine(number, "tx", "noise");
    line["number"] = packetNumber;
    AddBytes(line, false, noise);
    Queue(noise, std::move(line));
  }
  const sWire wire = faults.Wire(packetNumber, packet.packet, packetFaults);
  Json line = PacketLine(number, "tx", packet.kind);
  line["number"] = packetNumber;
  AddBytes(line, packetFaults.Delivers(), packet.packet);
  if (packet.wrapped) {
    line["subscription"] = packet.wrapped->subscription;
    line["wrapped"] = ToHex(packet.wrapped->packet);
  }
  if (!wire.noise.empty()) {
    line["noise"] = ToHex(wire.noise);
  }
  if (!packet.events.empty()) {
    line["events"] = HexList(packet.events);
  }
  if (packet.sib) {
    line["sib"] = {{"channel", packet.sib->channel},
                   {"bearer", packet.sib->bearer},
                   {"choice", packet.sib->choice}};
  }
  if (packet.sib || !packet.blocks.empty()) {
    line["blocks"] = HexList(packet.blocks);
  }
  if (packet.message) {
    line["message"] = ShownMessage(*packet.message);
  }
  if (packet.completes) {
    line["completes"] = ShownMessage(*packet.completes);
  }
  Queue(wire.bytes, std::move(line), wire.cuts, packetFaults.merge);
  if (packetFaults.unasked) {
    Bytes embedded;
    const Bytes reply = faults.UnaskedReply(packetNumber, embedded);
    Json unasked = PacketLine(number, "tx", "unasked");
    unasked["number"] = packetNumber;
    AddBytes(unasked, true, reply);
    if (!embedded.empty()) {
      unasked["embedded"] = ToHex(embedded);
    }
    Queue(Frame(reply), std::move(unasked));
  }
}

void cConnection::SendCommanded(ByteView bytes, bool asPacket) {
  Json line = PacketLine(number, "tx", asPacket ? "command" : "raw");
  AddBytes(line, asPacket, bytes);
  Queue(asPacket ? Frame(bytes) : Bytes(bytes.begin(), bytes.end()), std::move(line));
}

std::optional<Clock::time_point> cConnection::QuietSince() const {
  return desk.Empty() ? lastExchange : std::nullopt;
}

bool cConnection::Drained() {
  constexpr unsigned kEnoughLooks = 4;
  if (!HasHost()) {
    return true;
  }
  emptyLooks = queue.Size() == 0 && terminal.Unread() == 0 ? emptyLooks + 1 : 0;
  return emptyLooks >= kEnoughLooks;
}

}  // namespace corvane::modem_sim
