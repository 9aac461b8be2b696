#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "capture/scripted_transport_posix.h"
#include "io/mbn/call_gate.h"

namespace corvane {

// As cQMBEIO: the platform's threads open and end sessions and deliver what the modem sends,
// several at once. The gate, the turns of the reports and the flags are those of the real one.
class cScriptedBroadband final : public cScriptedTransport {
 public:
  cScriptedBroadband(const sSchedule& chosen, cTurns& allTurns);

  [[nodiscard]] bool Open(const char* name, ConnectionHandler whenConnected, void* contextOfBoth,
                          ConnectionHandler whenDisconnected, void*) override;
  void Close() override;
  [[nodiscard]] bool IsOpen() const override { return sessionOpen; }
  [[nodiscard]] bool Write(const void* data, std::uint32_t length) override;
  [[nodiscard]] std::unique_ptr<cReaderThread> StartReader(cCaptureSession&) override {
    return nullptr;
  }
  void StartDataDelivery(cCaptureSession& session) override;
  [[nodiscard]] bool IsQuiet() const override;
  void EndPlatform() override;

 private:
  class cCall;

  void RunSessions();
  void Deliver(std::uint8_t number);
  void Notify(std::uint8_t number, std::uint16_t& packets, HandedOver& handed);
  void BeginSession();
  void EndSession();
  void Report();
  [[nodiscard]] bool HasEnded() const { return ended.load(std::memory_order_relaxed); }

  cCallGate gate;
  cReportTurn reports;
  std::atomic<std::uint32_t> callsInside = 0;
  std::atomic<bool> sessionOpen = false;
  std::atomic<cCaptureSession*> receiver = nullptr;
  bool isClosing = false;  // guarded by `lock`
  std::atomic<bool> closeAsked = false;
  std::atomic<bool> ended = false;
  std::atomic<std::uint32_t> repliesDue = 0;
  std::atomic<std::uint32_t> eventRepliesDue = 0;
  std::atomic<std::uint32_t> sessions = 0;  // that were opened
  std::atomic<std::uint32_t> answered = 0;  // of the latest one's requests
  std::vector<std::thread> threads;
};

}  // namespace corvane
