#pragma once

#include <memory>

namespace corvane {

class cCaptureSession;

// The thread that reads a serial port for one connection of a session, and the owner of its handle.
// It is destroyed only after the thread has ended.
class cReaderThread {
 public:
  cReaderThread() = default;
  cReaderThread(const cReaderThread&) = delete;
  cReaderThread& operator=(const cReaderThread&) = delete;
  virtual ~cReaderThread() = default;

  [[nodiscard]] virtual bool HasEnded() const = 0;

  // Returns when the thread has ended, however long that takes, and goes on ending its read or
  // write of the port until then. The thread's port has been closed before. No lock may be held
  // that the thread takes.
  virtual void WaitForEnd() = 0;
};

// Starts the traffic of a connection. How depends on the transport, and a session knows only the
// kind of its transport: whoever makes the session gives it one of these, which outlives it.
class cTraffic {
 public:
  cTraffic() = default;
  cTraffic(const cTraffic&) = delete;
  cTraffic& operator=(const cTraffic&) = delete;
  virtual ~cTraffic() = default;

  // For a serial port: starts the thread that reads it until a read fails or the port is closed,
  // and makes it known to the transport, whose ClosePort ends its read. Null, which the transport
  // then knows too, when the thread could not be made.
  [[nodiscard]] virtual std::unique_ptr<cReaderThread> StartReader(cCaptureSession& session) = 0;

  // For mobile broadband: has the transport hand its data to OnDeviceData, with the session as the
  // context, and then calls OnDeviceData once without data, which sends the first queued request.
  virtual void StartDataDelivery(cCaptureSession& session) = 0;
};

}  // namespace corvane
