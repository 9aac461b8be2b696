#pragma once

#include <windows.h>

#include <memory>

#include "capture/traffic.h"
#include "io/serial/com_connection.h"

namespace corvane {

// What a reader reads and writes: the port of one connection, never that of a later one.
struct sReaderTask {
  cCaptureSession& session;                    // outlives the thread, as its transport does
  std::shared_ptr<cComConnection> connection;  // null: the transport is no serial port, or closed
};

// The reader's thread procedure; `task` is an sReaderTask that outlives the thread. Sends the
// queued requests and stores what it reads, until a read fails or gives nothing. Without a
// connection it reads nothing and ends after the first request. Always 0.
DWORD WINAPI ReaderThread(void* task);

// Starts the reader of the session's serial port (cTraffic::StartReader).
[[nodiscard]] std::unique_ptr<cReaderThread> StartReaderThread(cCaptureSession& session);

}  // namespace corvane
