#include "capture/data_delivery.h"
#include "capture/receive_path.h"
#include "io/mbn/qmbe_io.h"

namespace corvane {

void StartDataDelivery(cCaptureSession& session) {
  static_cast<cQMBEIO*>(session.transport)->SetDataHandler(OnDeviceData, &session);
  OnDeviceData(&session, nullptr);
}

}  // namespace corvane
