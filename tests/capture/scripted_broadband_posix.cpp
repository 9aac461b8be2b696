#include "capture/scripted_broadband_posix.h"

#include <mutex>
#include <utility>

#include "capture/receive_path.h"
#include "capture/session.h"
#include "capture/session_fixture.h"
#include "diag/shared_buffer.h"

namespace corvane {
namespace {

constexpr auto kRelaxed = std::memory_order_relaxed;

}  // namespace

// A call of the platform's into the transport.
class cScriptedBroadband::cCall {
 public:
  explicit cCall(cScriptedBroadband& called) : transport(called), pass(called.gate.Enter()) {
    if (pass) {
      transport.callsInside.fetch_add(1, kRelaxed);
    }
  }
  cCall(const cCall&) = delete;
  cCall& operator=(const cCall&) = delete;
  ~cCall() {
    if (pass) {
      transport.callsInside.fetch_sub(1, kRelaxed);
    }
  }
  explicit operator bool() const { return static_cast<bool>(pass); }

 private:
  cScriptedBroadband& transport;
  const cCallGate::cPass pass;
};

cScriptedBroadband::cScriptedBroadband(const sSchedule& chosen, cTurns& allTurns)
    : cScriptedTransport(chosen, allTurns, kMobileBroadband) {}

bool cScriptedBroadband::Open(const char*, ConnectionHandler whenConnected, void* contextOfBoth,
                              ConnectionHandler whenDisconnected, void*) {
  onConnected = whenConnected;
  onDisconnected = whenDisconnected;
  context = contextOfBoth;
  requests.emplace_back();
  gate.Open();
  const auto start = [this](auto run) {
    const std::uint32_t number = turns.Add();
    threads.emplace_back([this, number, run] {
      turns.Begin(number);
      run();
      turns.End();
    });
  };
  start([this] { RunSessions(); });
  for (std::uint8_t number = 1; number <= 3; ++number) {
    start([this, number] { Deliver(number); });
  }
  return true;
}

void cScriptedBroadband::Close() {
  {
    const std::lock_guard guard(lock);
    isClosing = true;
  }
  if (IsOpen()) {
    closeAsked.store(true, kRelaxed);
    // One modem in two confirms the end.
    if (schedule.seed % 2 == 0) {
      turns.Await("the session is closed", [&] { return !IsOpen(); });
    }
    EndSession();
  }
  turns.Await("no call is inside", [&] { return callsInside.load(kRelaxed) == 0; });
  gate.Close();
  sessionOpen = false;
  onConnected = nullptr;
  onDisconnected = nullptr;
}

void cScriptedBroadband::EndPlatform() {
  ended.store(true, kRelaxed);
  turns.End();
  for (std::thread& thread : threads) {
    thread.join();
  }
}

void cScriptedBroadband::RunSessions() {
  cDice dice(schedule.seed + 1'000'000);
  const auto pause = [&](std::uint32_t most) {
    for (std::uint32_t left = dice.Below(most); left > 0 && !HasEnded(); --left) {
      turns.Seam();
      if (closeAsked.load(kRelaxed)) {
        return;
      }
    }
  };
  for (std::uint32_t left = schedule.connections; left > 0 && !closeAsked.load(kRelaxed); --left) {
    pause(6);
    BeginSession();
    if (left > 1 || !schedule.stopsWhenQuiet) {
      pause(dice.OneIn(2) ? 15 : 100);
      if (!closeAsked.load(kRelaxed)) {
        const cCall call(*this);
        if (call) {
          EndSession();
        }
      }
    }
  }
  turns.Await("the end", [&] { return HasEnded() || closeAsked.load(kRelaxed); });
  const cCall call(*this);
  if (call) {
    EndSession();  // the completion of the close
  }
}

void cScriptedBroadband::BeginSession() {
  const cCall call(*this);
  if (!call) {
    return;
  }
  {
    const std::lock_guard guard(lock);
    if (isClosing) {
      return;
    }
    repliesDue.store(0, kRelaxed);
    eventRepliesDue.store(0, kRelaxed);
    answered.store(0, kRelaxed);
    sessions.fetch_add(1, kRelaxed);
    sessionOpen = true;
    reports.Add(eReport::Opened);
  }
  Report();
}

void cScriptedBroadband::EndSession() {
  {
    const std::lock_guard guard(lock);
    if (!sessionOpen.exchange(false)) {
      return;
    }
    reports.Add(eReport::Ended);
  }
  Report();
}

void cScriptedBroadband::Report() {
  if (!reports.Take()) {
    return;
  }
  while (const auto report = reports.Next()) {
    if (*report == eReport::Opened) {
      CallConnected();
    } else {
      CallDisconnected();
    }
    turns.Seam();
  }
}

void cScriptedBroadband::StartDataDelivery(cCaptureSession& session) {
  receiver = &session;
  OnDeviceData(&session, nullptr);
}

// One thread at a time sends, which the session promises: nothing else guards `requests`.
bool cScriptedBroadband::Write(const void* data, std::uint32_t length) {
  calls.fetch_add(1, kRelaxed);
  const ByteVector request = PacketIn({static_cast<const std::uint8_t*>(data), length});
  requests.back().push_back(request);
  if (!schedule.stopsWhenQuiet) {
    // The session may end before the request reaches it.
    turns.Seam();
  }
  {
    const std::lock_guard guard(lock);
    if (!IsOpen() || reports.HasEndWaiting()) {
      return false;
    }
  }
  (request[0] == 0x60 ? eventRepliesDue : repliesDue).fetch_add(1, kRelaxed);
  // The reply may be there before this returns.
  turns.Seam();
  return true;
}

void cScriptedBroadband::Deliver(std::uint8_t number) {
  HandedOver handed;
  std::uint16_t packets = 0;
  while (!HasEnded()) {
    turns.Seam();
    Notify(number, packets, handed);
  }
  const std::lock_guard guard(lock);
  handedOver.push_back(std::move(handed));
}

void cScriptedBroadband::Notify(std::uint8_t number, std::uint16_t& packets, HandedOver& handed) {
  const auto take = [](std::atomic<std::uint32_t>& due) {
    std::uint32_t seen = due.load(kRelaxed);
    return seen > 0 && due.compare_exchange_strong(seen, seen - 1, kRelaxed);
  };
  const cCall call(*this);
  if (!call) {
    return;
  }
  cCaptureSession* const to = receiver;
  if (to == nullptr) {
    return;
  }
  cDice dice(schedule.seed * 64 + number * 8192 + packets);
  const bool isEventReply = take(eventRepliesDue);
  const bool isReply = isEventReply || take(repliesDue);
  std::vector<ByteVector> sent;
  if (isReply) {
    sent.push_back(isEventReply ? kEventReply : ReplyPacket(number, packets++));
  }
  if (packets < 20 && dice.OneIn(3)) {
    sent.push_back(TrafficPacket(dice, number, packets++));
  }
  if (sent.empty()) {
    return;
  }
  ByteVector bytes;
  for (const ByteVector& packet : sent) {
    const ByteVector frame = Framed(packet);
    bytes.insert(bytes.end(), frame.begin(), frame.end());
  }
  const cBufferReference data(MakeBuffer(bytes, kOriginDevice));
  calls.fetch_add(1, kRelaxed);
  const std::uint32_t session = sessions.load(kRelaxed);
  OnDeviceData(to, data.Get());
  handed.insert(handed.end(), sent.begin(), sent.end());
  if (isReply && session == sessions.load(kRelaxed)) {
    answered.fetch_add(1, kRelaxed);
  }
}

bool cScriptedBroadband::IsQuiet() const {
  return answered.load(kRelaxed) == kStartUpPackets.size();
}

}  // namespace corvane
