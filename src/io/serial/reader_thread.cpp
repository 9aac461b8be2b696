#include "io/serial/reader_thread.h"

#include "capture/reader_loop.h"
#include "capture/reader_thread.h"
#include "io/serial/com_io.h"
#include "io/serial/serial_calls.h"
#include "platform/windows_calls.h"

namespace corvane {

// A port that is closed meanwhile ends the read with an error; one whose buffer is full of a frame
// that never ends gives nothing. A transport of another kind delivers its data on its own: for it
// the thread only sends.
//
// The port that a failed read closes is the transport's current one, whichever the read was from. A
// reader that learns of the loss of its port only after the watcher has opened it anew closes the
// new connection too; the watcher opens it again a second later.
DWORD WINAPI ReaderThread(void* context) {
  auto& session = *static_cast<cCaptureSession*>(context);
  cReaderLoop loop(session);
  for (;;) {
    loop.Pump();
    DWORD received = 0;
    if (session.transport->kind == kSerialPort) {
      auto& serial = static_cast<cComIO&>(*session.transport);
      const std::span<std::uint8_t> room = loop.Room();
      if (!SerialCalls().ReadFile(serial.Port(), room.data(), static_cast<DWORD>(room.size()),
                                  &received, nullptr)) {
        serial.ClosePort();
        return 0;
      }
    }
    if (received == 0) {
      return 0;
    }
    loop.Received(received);
  }
}

bool StartReaderThread(cCaptureSession& session) {
  session.readerThread = KernelCalls().CreateThread(nullptr, 0, ReaderThread, &session, 0, nullptr);
  static_cast<cComIO&>(*session.transport).SetReaderThread(session.readerThread);
  return session.readerThread != nullptr;
}

}  // namespace corvane
