#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace corvane {

class cCaptureSession;
struct sSharedBuffer;

// The port of one connection, which its reader writes to: never that of a later connection.
class cReaderPort {
 public:
  cReaderPort() = default;
  cReaderPort(const cReaderPort&) = delete;
  cReaderPort& operator=(const cReaderPort&) = delete;

  // True for good once the connection is over, which another thread may bring about at any time. It
  // is true before the queue has a request of the next connection.
  [[nodiscard]] virtual bool HasEnded() const = 0;

  // True only when all `length` bytes were written. Once the connection has ended nothing is.
  [[nodiscard]] virtual bool Write(const void* data, std::uint32_t length) = 0;

 protected:
  ~cReaderPort() = default;
};

// What the reader thread of a serial port does between its reads: it sends the session's requests,
// one for each reply, and stores the packets that were read. A new one starts with each connection.
//
//   cReaderLoop loop(session, &port);
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

  // `connectionsPort` outlives the loop. Without one the loop writes to the session's transport, as
  // for one that is no serial port.
  explicit cReaderLoop(cCaptureSession& captureSession, cReaderPort* connectionsPort = nullptr)
      : session(captureSession), port(connectionsPort) {}
  cReaderLoop(const cReaderLoop&) = delete;
  cReaderLoop& operator=(const cReaderLoop&) = delete;

  // Sends queued requests for as long as there is credit: one at the start, then one for each
  // reply. Nothing times a request out: one that is never answered keeps back all that follow it
  // until the next connection. Once the connection has ended no request is taken from the queue,
  // which is a later connection's; one that was taken before is recorded, and its write fails.
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
  [[nodiscard]] bool IsConnected() const { return port == nullptr || !port->HasEnded(); }
  void Send(sSharedBuffer* request);

  cCaptureSession& session;
  cReaderPort* port;
  std::uint32_t credit = 1;
  std::uint32_t sent = 0;  // sequence number of the next request
  std::size_t kept = 0;
  std::array<std::uint8_t, kBufferSize> buffer;
};

}  // namespace corvane
