#include "io/serial/com_io.h"

#include <cstdio>
#include <mutex>
#include <new>
#include <utility>

#include "io/serial/com_ports.h"
#include "io/serial/serial_calls.h"
#include "platform/text.h"
#include "platform/windows_calls.h"

namespace corvane {
namespace {

constexpr DWORD kLookIntervalMs = 1000;
constexpr std::size_t kDevicePathSize = 64;

// Eight data bits, no software flow control, no replacement of bad bytes. Speed, parity, stop bits
// and modem lines stay as the driver has them.
bool SetLineState(HANDLE port) {
  static_assert(sizeof(DCB) == 28);
  DCB state{};
  state.DCBlength = sizeof state;
  if (!SerialCalls().GetCommState(port, &state)) {
    return false;
  }
  state.fOutX = FALSE;
  state.fInX = FALSE;
  state.fErrorChar = FALSE;
  state.fAbortOnError = FALSE;
  state.ByteSize = 8;
  return SerialCalls().SetCommState(port, &state) != FALSE;
}

bool SetTimeouts(HANDLE port) {
  COMMTIMEOUTS timeouts{};
  // A read returns as soon as nothing has followed the last byte for 2 ms.
  timeouts.ReadIntervalTimeout = 2;
  timeouts.ReadTotalTimeoutMultiplier = 0;
  timeouts.ReadTotalTimeoutConstant = 0;
  // A second a byte and a millisecond on top. They look swapped, but are meant: a write waits out a
  // modem that stalls.
  timeouts.WriteTotalTimeoutMultiplier = 1000;
  timeouts.WriteTotalTimeoutConstant = 1;
  return SerialCalls().SetCommTimeouts(port, &timeouts) != FALSE;
}

}  // namespace

cComIO::cComIO() : cIO(kSerialPort) {}

cComIO::~cComIO() {
  Close();
  ClosePort();
}

bool cComIO::Open(const char* wantedPort, ConnectionHandler connected, void* contextOfConnected,
                  ConnectionHandler disconnected, void* contextOfDisconnected) {
  const std::lock_guard guard(lock);
  if (portName != nullptr) {
    DebugPrint("WatchPortThread already started\n");
    return false;
  }
  stopEvent.Reset(KernelCalls().CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (!stopEvent) {
    DebugPrint("Failed to create watch thread stopping event\n");
    return false;
  }
  watcherThread.Reset(
      KernelCalls().CreateThread(nullptr, 0, WatchPortThread, static_cast<cIO*>(this), 0, nullptr));
  if (!watcherThread) {
    DebugPrint("Failed to create watch thread\n");
    stopEvent.Reset();
    return false;
  }
  // The watcher waits a second and then takes the lock, so it never sees these half set.
  onConnected = connected;
  onDisconnected = disconnected;
  connectedContext = contextOfConnected;
  disconnectedContext = contextOfDisconnected;
  portName = wantedPort;
  return true;
}

void cComIO::Close() {
  if (!watcherThread) {
    return;
  }
  KernelCalls().SetEvent(stopEvent.Get());
  KernelCalls().WaitForSingleObject(watcherThread.Get(), INFINITE);
  watcherThread.Reset();
  stopEvent.Reset();

  const std::lock_guard guard(lock);
  ClosePort();
  portName = nullptr;
  onConnected = nullptr;
  onDisconnected = nullptr;
}

bool cComIO::Write(const void* data, std::uint32_t length) {
  const std::shared_ptr<cComConnection> written = Connection();
  if (written == nullptr) {
    return false;
  }
  if (written->Write(data, length)) {
    return true;
  }
  ClosePort(*written);
  return false;
}

bool cComIO::IsOpen() const { return Connection() != nullptr; }

std::shared_ptr<cComConnection> cComIO::Connection() const {
  const std::lock_guard guard(connectionLock);
  return connection;
}

void cComIO::ClosePort() {
  const std::lock_guard guard(lock);
  if (IsOpen()) {
    CloseConnection();
  }
}

void cComIO::ClosePort(const cComConnection& ended) {
  const std::lock_guard guard(lock);
  if (Connection().get() == &ended) {
    CloseConnection();
  }
}

// The caller holds `lock`, and the port is open.
void cComIO::CloseConnection() {
  connection->End(std::exchange(readerThread, nullptr));
  std::shared_ptr<cComConnection> closing;
  {
    const std::lock_guard guard(connectionLock);
    closing.swap(connection);
  }
  closing->Close();
  if (onDisconnected != nullptr) {
    onDisconnected(disconnectedContext);
  }
}

void cComIO::SetReaderThread(HANDLE reader) {
  const std::lock_guard guard(lock);
  readerThread = reader;
}

void cComIO::LookForPort() {
  const std::lock_guard guard(lock);
  const bool present = ComPortIsPresent(portName);
  if (IsOpen() && !present) {
    ClosePort();
  } else if (!IsOpen() && present) {
    OpenPort();
  }
}

// Every failure is silent: the next look tries again.
void cComIO::OpenPort() {
  // The path has room for 63 characters: of a name of 60 and more the first 59 are what is opened.
  char path[kDevicePathSize];
  std::snprintf(path, sizeof path, R"(\\.\%s)", portName);
  FileHandle opened(SerialCalls().CreateFileA(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                              OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!opened || !SetLineState(opened.Get()) || !SetTimeouts(opened.Get())) {
    return;
  }
  std::shared_ptr<cComConnection> made;
  try {
    made = std::make_shared<cComConnection>(std::move(opened));
  } catch (const std::bad_alloc&) {
    return;
  }
  {
    const std::lock_guard guard(connectionLock);
    connection = std::move(made);
  }
  if (onConnected != nullptr) {
    onConnected(connectedContext);
  }
}

DWORD WINAPI WatchPortThread(void* transport) {
  auto* const io = static_cast<cIO*>(transport);
  if (io == nullptr || io->kind != kSerialPort) {
    return 0;
  }
  auto* const watched = static_cast<cComIO*>(io);
  // A wait that fails ends the watching like a stop does: nobody sees the device go or come back
  // any more, and an open port stays open until a read or write fails or until Close.
  while (KernelCalls().WaitForSingleObject(watched->stopEvent.Get(), kLookIntervalMs) ==
         WAIT_TIMEOUT) {
    watched->LookForPort();
  }
  return 0;
}

}  // namespace corvane
