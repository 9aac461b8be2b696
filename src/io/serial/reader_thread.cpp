#include "io/serial/reader_thread.h"

#include <cstdint>
#include <new>
#include <span>
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
        task.connection->Cancel(thread.Get());
      }
    }
  }

 private:
  sReaderTask task;
  KernelHandle thread;
};

// A connection of the serial port, as its reader uses it: a read or write that fails closes the
// port, if that is still the open one, and reports a disconnection.
class cConnectionPort final : public cReaderPort {
 public:
  cConnectionPort(cComIO& portsTransport, cComConnection& portsConnection)
      : transport(portsTransport), connection(portsConnection) {}

  [[nodiscard]] bool HasEnded() const override { return connection.HasEnded(); }

  [[nodiscard]] bool Write(const void* data, std::uint32_t length) override {
    return OrClose(connection.WriteAsReader(data, length));
  }

  [[nodiscard]] bool Read(std::span<std::uint8_t> room, DWORD& received) {
    return OrClose(connection.Read(room, received));
  }

 private:
  [[nodiscard]] bool OrClose(bool isDone) {
    if (!isDone) {
      transport.ClosePort(connection);
    }
    return isDone;
  }

  cComIO& transport;
  cComConnection& connection;
};

// A read that fails ends the reading, as it does when the port is closed meanwhile. So does one
// that gives nothing: the buffer is full of a frame that never ends.
void ReadUntilTheEnd(cCaptureSession& session, cConnectionPort& port) {
  cReaderLoop loop(session, &port);
  loop.Pump();
  DWORD received = 0;
  while (port.Read(loop.Room(), received) && received != 0) {
    loop.Received(received);
    loop.Pump();
  }
}

}  // namespace

// A transport of another kind delivers its data on its own: for it the thread only sends.
DWORD WINAPI ReaderThread(void* context) {
  const auto& task = *static_cast<sReaderTask*>(context);
  if (task.connection == nullptr) {
    cReaderLoop(task.session).Pump();
    return 0;
  }
  cConnectionPort port(static_cast<cComIO&>(*task.session.transport), *task.connection);
  ReadUntilTheEnd(task.session, port);
  return 0;
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
