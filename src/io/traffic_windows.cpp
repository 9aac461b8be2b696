#include "io/traffic_windows.h"

#include "capture/receive_path.h"
#include "capture/session.h"
#include "io/mbn/qmbe_io.h"
#include "io/serial/reader_thread.h"

namespace corvane {

std::unique_ptr<cReaderThread> cDeviceTraffic::StartReader(cCaptureSession& session) {
  return StartReaderThread(session);
}

void cDeviceTraffic::StartDataDelivery(cCaptureSession& session) {
  static_cast<cQMBEIO&>(*session.transport).SetDataHandler(OnDeviceData, &session);
  OnDeviceData(&session, nullptr);
}

}  // namespace corvane
