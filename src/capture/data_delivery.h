#pragma once

#include "capture/session.h"

namespace corvane {

// Has the session's mobile-broadband transport hand its data to OnDeviceData, with the session as
// the context, and then calls OnDeviceData once without data, which sends the first queued request.
//
// The session's transport is of kind kMobileBroadband (io/mbn/data_delivery.cpp).
void StartDataDelivery(cCaptureSession& session);

}  // namespace corvane
