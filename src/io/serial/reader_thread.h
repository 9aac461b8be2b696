#pragma once

#include <windows.h>

namespace corvane {

// The reader's thread procedure. `session` is a cCaptureSession whose transport outlives the
// thread. Sends the queued requests and, from a serial port, stores what it reads, until a read
// fails or gives nothing; for any other transport it reads nothing and ends after the first
// request. Always 0.
DWORD WINAPI ReaderThread(void* session);

}  // namespace corvane
