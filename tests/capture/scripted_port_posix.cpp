#include "capture/scripted_port_posix.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "capture/reader_loop.h"
#include "capture/session.h"
#include "capture/session_fixture.h"

namespace corvane {
namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;

}  // namespace

struct cScriptedPort::sConnection {
  std::atomic<bool> hasEnded = false;
};

// The modem of one connection, which only its reader uses.
class cScriptedPort::cLine final : public cReaderPort {
 public:
  cLine(cScriptedPort& ofTransport, sConnection& ofConnection, std::uint8_t sourceNumber,
        HandedOver& told)
      : transport(ofTransport),
        connection(ofConnection),
        dice(transport.schedule.seed * 64 + sourceNumber),
        source(sourceNumber),
        packetsLeft(dice.Below(6)),
        // The last connection stays where the stop waits for it to be quiet.
        readsLeft(!transport.schedule.stopsWhenQuiet && dice.OneIn(3) ? dice.Below(20) : 10'000),
        requests(told) {}

  [[nodiscard]] bool HasEnded() const override { return connection.hasEnded; }

  [[nodiscard]] bool Write(const void* data, std::uint32_t length) override {
    requests.push_back(PacketIn({static_cast<const std::uint8_t*>(data), length}));
    transport.turns.Seam();
    if (HasEnded()) {
      return Fail();
    }
    due.push_back(requests.back()[0] == 0x60 ? kEventReply : ReplyPacket(source, number++));
    return true;
  }

  // -> how many bytes were read; 0 when the read fails
  [[nodiscard]] std::size_t Read(std::span<std::uint8_t> room, HandedOver& packets) {
    transport.turns.Seam();
    if (readsLeft-- == 0) {
      std::ignore = Fail();
      return 0;
    }
    Fill(packets);
    if (bytes.empty()) {
      TellQuiet();
      transport.turns.Await("the port is closed",
                            [&] { return connection.hasEnded.load(kRelaxed); });
    }
    if (HasEnded()) {
      std::ignore = Fail();
      return 0;
    }
    const std::size_t most =
        std::min({room.size(), bytes.size(), std::size_t{1} + dice.Below(300)});
    std::copy_n(bytes.begin(), most, room.begin());
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(most));
    // The connection may end while they are on their way.
    transport.turns.Seam();
    return most;
  }

 private:
  // A failed read or write closes the port, if it is still this connection's.
  [[nodiscard]] bool Fail() {
    transport.ClosePort(&connection);
    return false;
  }

  void Fill(HandedOver& packets) {
    while (bytes.size() < 300 && (!due.empty() || packetsLeft > 0)) {
      ByteVector packet;
      if (!due.empty() && (packetsLeft == 0 || dice.OneIn(2))) {
        packet = due.front();
        due.erase(due.begin());
      } else {
        packet = TrafficPacket(dice, source, number++);
        --packetsLeft;
      }
      const ByteVector frame = Framed(packet);
      bytes.insert(bytes.end(), frame.begin(), frame.end());
      packets.push_back(packet);
    }
  }

  void TellQuiet() {
    if (source == transport.schedule.connections && requests.size() == kStartUpPackets.size()) {
      transport.isQuiet.store(true, kRelaxed);
    }
  }

  cScriptedPort& transport;
  sConnection& connection;
  cDice dice;
  const std::uint8_t source;
  std::uint16_t number = 0;
  std::uint32_t packetsLeft;
  std::uint32_t readsLeft;
  std::vector<ByteVector> due;
  ByteVector bytes;
  HandedOver& requests;
};

class cScriptedPort::cReader final : public cReaderThread {
 public:
  cReader(cScriptedPort& ofTransport, cCaptureSession& ofSession,
          std::shared_ptr<sConnection> ofConnection, std::uint8_t source, HandedOver& handedOver,
          HandedOver& requests)
      : turns(ofTransport.turns), connection(std::move(ofConnection)) {
    const std::uint32_t number = turns.Add();
    thread = std::thread([this, number, source, &ofTransport, &ofSession, &handedOver, &requests] {
      turns.Begin(number);
      cLine line(ofTransport, *connection, source, requests);
      Run(ofSession, line, handedOver);
      hasEnded.store(true, kRelaxed);
      turns.End();
    });
  }
  ~cReader() override { thread.join(); }

  [[nodiscard]] bool HasEnded() const override { return hasEnded.load(kRelaxed); }
  void WaitForEnd() override {
    turns.Await("a reader ends", [&] { return HasEnded(); });
  }

 private:
  static void Run(cCaptureSession& session, cLine& line, HandedOver& handedOver) {
    cReaderLoop loop(session, &line);
    HandedOver packets;  // that the modem has put on the line
    loop.Pump();
    std::size_t complete = 0;
    for (;;) {
      const std::span<std::uint8_t> room = loop.Room();
      const std::size_t received = line.Read(room, packets);
      if (received == 0) {
        break;
      }
      // Each packet ends in the one flag of its frame.
      complete += static_cast<std::size_t>(
          std::count(room.begin(), room.begin() + static_cast<std::ptrdiff_t>(received), 0x7E));
      loop.Received(received);
      loop.Pump();
    }
    packets.resize(complete);
    handedOver = std::move(packets);
  }

  cTurns& turns;
  const std::shared_ptr<sConnection> connection;
  std::atomic<bool> hasEnded = false;
  std::thread thread;
};

cScriptedPort::cScriptedPort(const sSchedule& chosen, cTurns& allTurns)
    : cScriptedTransport(chosen, allTurns, kSerialPort) {}

bool cScriptedPort::Open(const char*, ConnectionHandler whenConnected, void* contextOfBoth,
                         ConnectionHandler whenDisconnected, void*) {
  onConnected = whenConnected;
  onDisconnected = whenDisconnected;
  context = contextOfBoth;
  const std::uint32_t number = turns.Add();
  watcher = std::thread([this, number] {
    turns.Begin(number);
    Watch();
    watcherEnded.store(true, kRelaxed);
    turns.End();
  });
  return true;
}

void cScriptedPort::Close() {
  stopping.store(true, kRelaxed);
  turns.Await("the watcher ends", [&] { return watcherEnded.load(kRelaxed); });
  watcher.join();
  const std::lock_guard guard(lock);
  ClosePort(nullptr);
  onConnected = nullptr;
  onDisconnected = nullptr;
}

void cScriptedPort::Watch() {
  cDice dice(schedule.seed + 1'000'000);
  const auto pause = [&](std::uint32_t most) {
    for (std::uint32_t left = dice.Below(most); left > 0 && !IsStopping(); --left) {
      turns.Seam();
    }
    return !IsStopping();
  };
  for (std::uint32_t left = schedule.connections; left > 0 && pause(6); --left) {
    Look(true);
    if (left == 1 && schedule.stopsWhenQuiet) {
      break;
    }
    if (pause(dice.OneIn(2) ? 15 : 100)) {
      Look(false);
    }
  }
  turns.Await("the stop", [&] { return IsStopping(); });
}

void cScriptedPort::Look(bool isPresent) {
  const std::lock_guard guard(lock);
  if (connection != nullptr && !isPresent) {
    ClosePort(nullptr);
  } else if (connection == nullptr && isPresent) {
    auto made = std::make_shared<sConnection>();
    {
      const std::lock_guard pointer(connectionLock);
      connection = std::move(made);
    }
    ++opened;
    CallConnected();
  }
}

void cScriptedPort::ClosePort(const sConnection* ended) {
  const std::lock_guard guard(lock);
  if (connection == nullptr || (ended != nullptr && connection.get() != ended)) {
    return;
  }
  connection->hasEnded = true;
  {
    const std::lock_guard pointer(connectionLock);
    connection.reset();
  }
  CallDisconnected();
}

// The caller, a connection handler, holds `lock`.
std::unique_ptr<cReaderThread> cScriptedPort::StartReader(cCaptureSession& session) {
  return std::make_unique<cReader>(*this, session, connection, static_cast<std::uint8_t>(opened),
                                   handedOver.emplace_back(), requests.emplace_back());
}

bool cScriptedPort::IsQuiet() const { return isQuiet.load(kRelaxed); }

}  // namespace corvane
