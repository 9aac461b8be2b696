#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

namespace corvane {

class cCaptureSession;

// What the reader thread of a serial port does between its reads: it sends the session's requests,
// one for each reply, and stores the packets that were read. A new one starts with each connection.
//
//   cReaderLoop loop(session);
//   for (;;) {
//     loop.Pump();
//     <read up to loop.Room().size() bytes into loop.Room(); end when that fails or gives none>
//     loop.Received(<number of bytes read>);
//   }
//
// An object is used by one thread and holds no lock between calls. The session and its transport
// must outlive it.
class cReaderLoop {
 public:
  static constexpr std::size_t kBufferSize = 8192;

  // `connectionHasEnded`, if there is one, is set by another thread when the connection is over,
  // and outlives the loop.
  explicit cReaderLoop(cCaptureSession& captureSession,
                       const std::atomic<bool>* connectionHasEnded = nullptr)
      : session(captureSession), hasEnded(connectionHasEnded) {}
  cReaderLoop(const cReaderLoop&) = delete;
  cReaderLoop& operator=(const cReaderLoop&) = delete;

  // Sends queued requests for as long as there is credit: one at the start, then one for each
  // reply. Nothing times a request out: one that is never answered keeps back all that follow it
  // until the next connection. Once the connection has ended nothing is sent: the queue is a later
  // connection's.
  void Pump();

  // Where the next bytes go: what the kept bytes leave free of the buffer. Empty when a whole
  // buffer of bytes holds no complete frame; the read then asks for nothing, gets nothing, and the
  // thread ends. The port stays open then, and nothing more is read from it until it has gone and
  // come back. Valid until Received.
  [[nodiscard]] std::span<std::uint8_t> Room();

  // Stores the packets among the kept bytes and the first `count` bytes of Room, gains a credit for
  // each reply and keeps the rest for the next read. `count` is at most Room().size().
  void Received(std::size_t count);

 private:
  [[nodiscard]] bool IsConnected() const { return hasEnded == nullptr || !*hasEnded; }

  cCaptureSession& session;
  const std::atomic<bool>* hasEnded;
  std::uint32_t credit = 1;
  std::uint32_t sent = 0;  // sequence number of the next request
  std::size_t kept = 0;
  std::array<std::uint8_t, kBufferSize> buffer;
};

}  // namespace corvane
