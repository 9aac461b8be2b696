#include "modem_sim/simulator.h"

#include <sys/signalfd.h>

#include <algorithm>
#include <array>
#include <csignal>

namespace corvane::modem_sim {
namespace {

using std::chrono::milliseconds;

// Bytes under way at which no more packets are made: enough to keep the line busy, few enough that
// a reply does not wait behind them for long.
constexpr std::size_t kQueueLimit = 32768;
// A stream that the host has slowed down catches up with its rate, but not with all of a long stop.
constexpr milliseconds kMostCatchingUp{50};
constexpr milliseconds kDepartureDeadline{5000};
constexpr milliseconds kDepartureLooks{10};

}  // namespace

cSimulator::cSimulator(sOptions simulatorOptions, cReport& lineReport, Poll waitForReady)
    : options(std::move(simulatorOptions)),
      report(lineReport),
      poll(std::move(waitForReady)),
      faults(options.stream.seed, options.faults),
      scenario(MakeScenario(options.scenario, options.stream)),
      paused(options.paused) {}

bool cSimulator::Run(int commandFd, int signalFd) {
  commands = commandFd;
  signals = signalFd;
  Plug();
  while (!done) {
    if (!report.Flush()) {
      return false;
    }
    Wait(Clock::now());
    Step(Clock::now());
  }
  connection.reset();
  report.Event("end", {{"requests", totals.requests},
                       {"replies", totals.replies},
                       {"streamed", totals.streamed},
                       {"spoiled", totals.spoiled},
                       {"heartbeats", totals.heartbeats},
                       {"bytesSent", totals.bytesSent}});
  return report.Flush();
}

void cSimulator::Step(Clock::time_point now) {
  if (!connection) {
    if (returnAt && now >= *returnAt) {
      Plug();
    }
    return;
  }
  bool lineIsGood = connection->Serve(now);
  if (connection->TakeHostGone()) {
    scenario->HostGone();
  }
  if (lineIsGood && MayStream(now)) {
    Stream(now);
    lineIsGood = connection->Serve(now);
  }
  EndStreamIfDue(now);
  if (!lineIsGood) {
    Depart(now, false, options.returnAfter);
    FinishDeparture(now, false);
  } else if (departure && (connection->Drained() || now >= departure->deadline)) {
    FinishDeparture(now, now < departure->deadline);
  }
}

bool cSimulator::MayStream(Clock::time_point now) const {
  if (!connection || departure || paused || stream != eStream::Running) {
    return false;
  }
  if (!connection->HasHost() || !scenario->CanSend(connection->Masks())) {
    return false;
  }
  const auto quietSince = connection->QuietSince();
  return options.settle.count() == 0 || (quietSince && now >= *quietSince + options.settle);
}

void cSimulator::Stream(Clock::time_point now) {
  if (!streamStart) {
    streamStart = now;
    report.Event("stream-start", {{"connection", connection->Number()}, {"number", nextNumber}});
  }
  nextPacketDue = std::max(nextPacketDue, now - kMostCatchingUp);
  while (MayStream(now) && connection->Queued() < kQueueLimit &&
         (options.rate == 0 || nextPacketDue <= now)) {
    SendNext(now);
    EndStreamIfDue(now);
  }
}

void cSimulator::SendNext(Clock::time_point now) {
  const std::uint64_t number = nextNumber++;
  const sPacketFaults packetFaults = faults.ForPacket(number);
  const sStreamPacket packet = scenario->Make(number, packetFaults.Delivers(), connection->Masks());
  connection->SendStreamed(number, packet, packetFaults);
  if (options.rate > 0) {
    nextPacketDue += std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double>(1 / options.rate));
  }
  if (packetFaults.hangUp) {
    Depart(now, false, options.returnAfter);
  }
}

void cSimulator::EndStreamIfDue(Clock::time_point now) {
  if (stream == eStream::Running) {
    const bool enough = options.count > 0 && nextNumber >= options.count;
    const bool longEnough =
        options.duration.count() > 0 && streamStart && now >= *streamStart + options.duration;
    if (!enough && !longEnough) {
      return;
    }
    stream = eStream::Ended;
    if (connection) {
      connection->LetGo();
    }
  }
  // It has ended once its last packet is out, which then is in the report.
  if (stream == eStream::Ended && (!connection || connection->Queued() == 0)) {
    stream = eStream::Reported;
    report.Event("stream-end", {{"packets", nextNumber}});
    if (options.then == eAfterStream::Idle) {
      return;
    }
    if (connection) {
      Depart(now, options.then == eAfterStream::Quit, std::nullopt);
    } else {
      done = options.then == eAfterStream::Quit;
    }
  }
}

void cSimulator::Plug() {
  returnAt.reset();
  connection = std::make_unique<cConnection>(++connections, options, faults, report, totals);
  connection->HoldReplies(holdReplies);
}

void cSimulator::Depart(Clock::time_point now, bool quit, std::optional<milliseconds> returnAfter) {
  connection->LetGo();
  // Who is on the way out already goes by the earlier deadline.
  const Clock::time_point deadline = departure ? departure->deadline : now + kDepartureDeadline;
  departure = sDeparture{deadline, quit || (departure && departure->quit), returnAfter};
}

void cSimulator::FinishDeparture(Clock::time_point now, bool drained) {
  const sDeparture finished = *departure;
  departure.reset();
  const unsigned number = connection->Number();
  connection.reset();
  // What was not read is lost, with the parts of a story that it told.
  if (!drained) {
    scenario->HostGone();
  }
  report.Event("unplugged", {{"connection", number}, {"drained", drained}});
  done = done || finished.quit;
  if (finished.returnAfter) {
    returnAt = now + *finished.returnAfter;
  }
}

int cSimulator::WaitMilliseconds(Clock::time_point now) const {
  std::optional<Clock::time_point> due = returnAt;
  const auto consider = [&due](std::optional<Clock::time_point> time) {
    if (time && (!due || *time < *due)) {
      due = time;
    }
  };
  if (connection) {
    consider(connection->NextDue(now));
    if (departure) {
      consider(now + kDepartureLooks);
    }
    const bool hasRoom = connection->Queued() < kQueueLimit;
    if (MayStream(now) && hasRoom) {
      consider(options.rate == 0 ? now : nextPacketDue);
    } else if (const auto quietSince = connection->QuietSince(); quietSince && hasRoom) {
      // The stream may begin, or go on, when things have settled.
      const Clock::time_point settled = *quietSince + options.settle;
      if (settled > now) {
        consider(settled);
      }
    }
    if (stream == eStream::Running && streamStart && options.duration.count() > 0) {
      consider(*streamStart + options.duration);
    }
  }
  if (!due) {
    return -1;
  }
  const auto wait = std::chrono::ceil<milliseconds>(*due - now).count();
  return static_cast<int>(std::clamp<std::int64_t>(wait, 0, 60000));
}

void cSimulator::Wait(Clock::time_point now) {
  std::array<pollfd, 4> ready = {
      {{signals, POLLIN, 0}, {commands, POLLIN, 0}, {-1, POLLIN, 0}, {-1, POLLIN, 0}}};
  if (connection) {
    ready[2].fd = connection->MasterFd();
    if (connection->WantsToWrite(now)) {
      ready[2].events = POLLIN | POLLOUT;
    }
    ready[3].fd = connection->WatchFd();
  }
  if (poll(ready.data(), ready.size(), WaitMilliseconds(now)) < 0) {
    return;
  }
  if (ready[0].revents != 0) {
    TakeSignals();
  }
  if (ready[1].revents != 0) {
    TakeCommands();
  }
}

void cSimulator::TakeSignals() {
  signalfd_siginfo info{};
  while (::read(signals, &info, sizeof(info)) == static_cast<ssize_t>(sizeof(info))) {
    if (info.ssi_signo == SIGUSR1) {
      Obey(ParseCommand("unplug"));
    } else if (info.ssi_signo == SIGUSR2) {
      Obey(ParseCommand("plug"));
    } else {
      done = true;
    }
  }
}

void cSimulator::TakeCommands() {
  std::array<char, 4096> text{};
  const ssize_t count = ::read(commands, text.data(), text.size());
  if (count <= 0) {
    // Nobody commands any more, which is no reason to end.
    commands = -1;
    return;
  }
  std::vector<sCommand> given;
  commandReader.Push(std::string_view(text.data(), static_cast<std::size_t>(count)), given);
  for (const sCommand& command : given) {
    Obey(command);
  }
}

void cSimulator::Obey(const sCommand& command) {
  const std::string result = Carry(command, Clock::now());
  report.Event("command", {{"line", command.line}, {"result", result}});
}

std::string cSimulator::Carry(const sCommand& command, Clock::time_point now) {
  switch (command.verb) {
    case sCommand::Unknown:
      return "unknown command";
    case sCommand::Plug:
      if (connection) {
        return "already plugged in";
      }
      Plug();
      return "ok";
    case sCommand::Pause:
      paused = true;
      return "ok";
    case sCommand::Resume:
      paused = false;
      return "ok";
    case sCommand::ReplyHold:
    case sCommand::ReplyRelease:
      holdReplies = command.verb == sCommand::ReplyHold;
      if (connection) {
        connection->HoldReplies(holdReplies);
      }
      return "ok";
    case sCommand::Quit:
      done = !connection;
      if (connection) {
        Depart(now, true, std::nullopt);
      }
      return "ok";
    default:
      return connection ? CarryOnLine(command, now) : "not plugged in";
  }
}

std::string cSimulator::CarryOnLine(const sCommand& command, Clock::time_point now) {
  if (command.verb == sCommand::Unplug) {
    Depart(now, false, std::nullopt);
  } else {
    connection->SendCommanded(command.bytes, command.verb == sCommand::Send);
  }
  return "ok";
}

}  // namespace corvane::modem_sim
