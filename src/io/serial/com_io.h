#pragma once

#include <windows.h>

#include <memory>

#include "capture/transport.h"
#include "io/serial/com_connection.h"
#include "platform/synchronization.h"
#include "platform/windows_handle.h"

namespace corvane {

// The transport for a modem whose DIAG port is a COM port. The port may not be there yet, and may
// vanish when the modem resets: a watcher thread looks once a second at the ports that are present,
// opens the wanted one when it shows up and closes it when it is gone, and tells the session each
// time.
//
// `lock` serialises the watcher's looks against Open, Close and ClosePort. The handlers run with
// `lock` held, so they must not call Close. Write, IsOpen and Connection do without it: a write or
// read on a port that is being closed fails.
//
// A reader may be waiting for `lock`, so nobody waits for a reader's end while holding it.
// ClosePort waits only until the reader has left its read or write of the port, and for at most
// cComConnection::kCancelTimeMs.
class cComIO final : public cIO {
 public:
  cComIO();
  // Does what Close does.
  ~cComIO() override;

  // Starts the watcher, whose first look comes a second later. `portName` ("COM7") is matched
  // exactly. False, with the reason printed and nothing changed, when the watcher runs already or
  // cannot be started.
  [[nodiscard]] bool Open(const char* portName, ConnectionHandler onConnected,
                          void* connectedContext, ConnectionHandler onDisconnected,
                          void* disconnectedContext) override;

  // Ends the watcher, closes the port (an open one is reported as disconnected) and forgets name
  // and handlers. Without a watcher nothing happens.
  void Close() override;

  // One synchronous write to what is open at that moment, by any thread but a reader: that one
  // writes to its own connection (reader_thread.h). A failed or short one closes the port that it
  // went to, if that is still the open one, and reports a disconnection; the watcher opens it again
  // if it is still present.
  [[nodiscard]] bool Write(const void* data, std::uint32_t length) override;

  [[nodiscard]] bool IsOpen() const override;

  // Closes the port, if it is open, ends the reader's blocked read or write of it and reports the
  // disconnection. The watcher goes on watching.
  void ClosePort();

  // The same, if `ended` is the open port; a later one is left alone.
  void ClosePort(const cComConnection& ended);

  // The open port; null while closed.
  [[nodiscard]] std::shared_ptr<cComConnection> Connection() const;

  // The thread whose blocked read or write ClosePort has to end, or null. The handle stays the
  // caller's and must stay open until the port is closed.
  void SetReaderThread(HANDLE reader);

 private:
  friend DWORD WINAPI WatchPortThread(void* transport);
  void LookForPort();
  void OpenPort();
  void CloseConnection();

  const char* portName = nullptr;  // the session's; non-null once the watcher has been started
  // What is open, or null. Written under `lock` as well, so that whoever holds that sees no change.
  std::shared_ptr<cComConnection> connection;
  mutable cLock connectionLock;  // guards that pointer, for no longer than a copy takes
  KernelHandle watcherThread;
  KernelHandle stopEvent;
  ConnectionHandler onConnected = nullptr;
  ConnectionHandler onDisconnected = nullptr;
  void* connectedContext = nullptr;
  void* disconnectedContext = nullptr;
  HANDLE readerThread = nullptr;
};

// The watcher's thread procedure. `transport` is a cIO; null, or one that is no serial port, ends
// it at once. Always 0.
DWORD WINAPI WatchPortThread(void* transport);

}  // namespace corvane
