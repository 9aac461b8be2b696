#pragma once

#include <memory>

namespace corvane {

class cCaptureSession;

// The thread that reads a serial port for one connection of a session, and the owner of its handle.
// To be destroyed when the thread has ended.
class cReaderThread {
 public:
  cReaderThread() = default;
  cReaderThread(const cReaderThread&) = delete;
  cReaderThread& operator=(const cReaderThread&) = delete;
  virtual ~cReaderThread() = default;

  [[nodiscard]] virtual bool HasEnded() const = 0;

  // Returns when the thread has ended, however long that takes, and goes on ending its read until
  // then. The thread's port has been closed before. No lock may be held that the thread takes.
  virtual void WaitForEnd() = 0;
};

// Starts the thread that reads the session's serial port until a read fails or the port is closed,
// and makes it known to the transport, whose ClosePort ends its read (io/serial/reader_thread.cpp).
//
// Null, which the transport then knows too, when the thread could not be made.
[[nodiscard]] std::unique_ptr<cReaderThread> StartReaderThread(cCaptureSession& session);

}  // namespace corvane
