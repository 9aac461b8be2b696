#pragma once

#include <cstdint>

#include "platform/synchronization.h"

namespace corvane {

// Which transport a cIO is. SetDevice and the receive path test it directly.
inline constexpr std::uint32_t kSerialPort = 0;
inline constexpr std::uint32_t kMobileBroadband = 1;

// A handler that Open receives. It is called with the context that Open received beside it, on a
// thread of the transport's.
using ConnectionHandler = void (*)(void* context);

// The abstract transport: opens a named device, reports when the device comes and goes, and writes
// to it. One that overrides nothing fails at all of it.
class cIO {
 public:
  explicit cIO(std::uint32_t kindOfTransport) : kind(kindOfTransport) {}
  cIO(const cIO&) = delete;
  cIO& operator=(const cIO&) = delete;
  virtual ~cIO() = default;

  // Starts the transport. `deviceName` stays the caller's and must outlive the transport, which
  // keeps the pointer. The handlers are called whenever the device becomes reachable or is lost,
  // until Close. Returns false when the transport could not start.
  [[nodiscard]] virtual bool Open(const char* /*deviceName*/, ConnectionHandler /*onConnected*/,
                                  void* /*connectedContext*/, ConnectionHandler /*onDisconnected*/,
                                  void* /*disconnectedContext*/) {
    return false;
  }

  // Stops the transport's thread, closes the device and forgets the handlers. A read that is
  // blocked on the device ends.
  virtual void Close() {}

  // True only when all `length` bytes were written.
  [[nodiscard]] virtual bool Write(const void* /*data*/, std::uint32_t /*length*/) { return false; }

  // True while the device is open.
  [[nodiscard]] virtual bool IsOpen() const { return false; }

  const std::uint32_t kind;

  // Guards the transport's handle and handlers against its own watcher or event thread.
  cLock lock;
};

}  // namespace corvane
