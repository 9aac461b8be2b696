#pragma once

#include "capture/traffic.h"

namespace corvane {

// The traffic of the transports that SetDevice makes.
class cDeviceTraffic final : public cTraffic {
 public:
  [[nodiscard]] std::unique_ptr<cReaderThread> StartReader(cCaptureSession& session) override;
  void StartDataDelivery(cCaptureSession& session) override;
};

}  // namespace corvane
