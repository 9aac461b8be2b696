#include "io/serial/com_io.h"

#include <cstdio>
#include <mutex>

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
  DWORD written = 0;
  if (SerialCalls().WriteFile(port, data, length, &written, nullptr) && written == length) {
    return true;
  }
  ClosePort();
  return false;
}

bool cComIO::IsOpen() const { return port != INVALID_HANDLE_VALUE; }

// A reader that has loaded the handle but is not inside ReadFile yet is missed by the cancel. If
// its read then still starts before the handle is closed, it ends only at the next byte or when the
// device hangs up, and the end of the capture waits for it as long.
void cComIO::ClosePort() {
  const std::lock_guard guard(lock);
  if (!IsOpen()) {
    return;
  }
  if (readerThread != nullptr) {
    SerialCalls().CancelSynchronousIo(readerThread);
    readerThread = nullptr;
  }
  KernelCalls().CloseHandle(port.exchange(INVALID_HANDLE_VALUE));
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
  port = opened.Detach();
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
