#include "io/serial/reader_thread.h"

#include <new>
#include <utility>

#include "capture/reader_loop.h"
#include "capture/session.h"
#include "io/serial/com_io.h"
#include "platform/windows_calls.h"

namespace corvane {
namespace {

constexpr DWORD kCancelIntervalMs = 10;

class cSerialReader final : public cReaderThread {
 public:
  cSerialReader(cCaptureSession& session, std::shared_ptr<cComConnection> connection)
      : task{session, std::move(connection)},
        thread(KernelCalls().CreateThread(nullptr, 0, ReaderThread, &task, 0, nullptr)) {}

  // Null when the thread could not be made.
  [[nodiscard]] HANDLE Thread() const { return thread.Get(); }

  [[nodiscard]] bool HasEnded() const override {
    return KernelCalls().WaitForSingleObject(thread.Get(), 0) == WAIT_OBJECT_0;
  }

  void WaitForEnd() override {
    while (KernelCalls().WaitForSingleObject(thread.Get(), kCancelIntervalMs) == WAIT_TIMEOUT) {
      if (task.connection != nullptr) {
        task.connection->CancelRead(thread.Get());
      }
    }
  }

 private:
  sReaderTask task;
  KernelHandle thread;
};

}  // namespace

// A port that is closed meanwhile ends the read with an error; one whose buffer is full of a frame
// that never ends gives nothing. A transport of another kind delivers its data on its own: for it
// the thread only sends.
DWORD WINAPI ReaderThread(void* context) {
  const auto& task = *static_cast<sReaderTask*>(context);
  cComConnection* const connection = task.connection.get();
  cReaderLoop loop(task.session, connection == nullptr ? nullptr : &connection->HasEnded());
  for (;;) {
    loop.Pump();
    DWORD received = 0;
    if (connection != nullptr && !connection->Read(loop.Room(), received)) {
      static_cast<cComIO&>(*task.session.transport).ClosePort(*connection);
      return 0;
    }
    if (received == 0) {
      return 0;
    }
    loop.Received(received);
  }
}

std::unique_ptr<cReaderThread> StartReaderThread(cCaptureSession& session) {
  auto& serial = static_cast<cComIO&>(*session.transport);
  serial.SetReaderThread(nullptr);
  try {
    auto reader = std::make_unique<cSerialReader>(session, serial.Connection());
    if (reader->Thread() == nullptr) {
      return nullptr;
    }
    serial.SetReaderThread(reader->Thread());
    return reader;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace corvane
