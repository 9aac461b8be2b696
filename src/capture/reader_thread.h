#pragma once

#include "capture/session.h"

namespace corvane {

// Starts the thread that reads the session's serial port until a read fails or the port is closed
// (io/serial/reader_thread.cpp).
//
// Stores the thread's handle in the session's `readerThread` and in the transport's, null when the
// thread could not be made, and returns whether it could. The handle of an earlier connection is
// overwritten, not closed: one handle stays open for each reconnection, and the end of a capture
// waits for the newest reader only.
[[nodiscard]] bool StartReaderThread(cCaptureSession& session);

}  // namespace corvane
