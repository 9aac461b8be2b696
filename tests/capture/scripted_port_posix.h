#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

#include "capture/scripted_transport_posix.h"

namespace corvane {

// As cComIO: a watcher opens and closes the port and calls the handlers with `lock` held, a reader
// of each connection's own sends and records, and closes the port when a read or write fails.
class cScriptedPort final : public cScriptedTransport {
 public:
  cScriptedPort(const sSchedule& chosen, cTurns& allTurns);

  [[nodiscard]] bool Open(const char* name, ConnectionHandler whenConnected, void* contextOfBoth,
                          ConnectionHandler whenDisconnected, void*) override;
  void Close() override;
  [[nodiscard]] std::unique_ptr<cReaderThread> StartReader(cCaptureSession& session) override;
  void StartDataDelivery(cCaptureSession&) override {}
  [[nodiscard]] bool IsQuiet() const override;

 private:
  struct sConnection;
  class cLine;
  class cReader;

  void Watch();
  void Look(bool isPresent);
  // Of the open port, if `ended` is that or null.
  void ClosePort(const sConnection* ended);
  [[nodiscard]] bool IsStopping() const { return stopping.load(std::memory_order_relaxed); }

  std::shared_ptr<sConnection> connection;  // written under `lock` and `connectionLock`
  std::mutex connectionLock;
  std::uint32_t opened = 0;
  std::thread watcher;
  std::atomic<bool> stopping = false;
  std::atomic<bool> watcherEnded = false;
  std::atomic<bool> isQuiet = false;
};

}  // namespace corvane
