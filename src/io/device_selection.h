#pragma once

#include <memory>

#include "capture/traffic.h"

namespace corvane {

// With a name: chooses the transport from it ("QMBE:" anywhere in the name: mobile broadband, whose
// own name is what follows the first five characters; else a serial port), makes it the session's
// and opens it with the session's connection handlers. False when the session has a transport
// already (which stays as it is), when the name has 256 characters or more, when memory runs out,
// or when the transport's Open failed.
//
// With null: closes the transport, waits for every reader thread, and frees all of them. Always
// true.
//
// Runs on the session thread. Nothing is printed.
[[nodiscard]] bool SetDevice(cCaptureSession& session, const char* deviceName);

// The traffic of the transports that SetDevice makes.
class cDeviceTraffic final : public cTraffic {
 public:
  [[nodiscard]] std::unique_ptr<cReaderThread> StartReader(cCaptureSession& session) override;
  void StartDataDelivery(cCaptureSession& session) override;
};

}  // namespace corvane
