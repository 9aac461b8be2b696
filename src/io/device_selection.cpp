#include "io/device_selection.h"

#include <windows.h>

#include <cstring>
#include <new>
#include <tuple>

#include "capture/connection.h"
#include "capture/receive_path.h"
#include "capture/session.h"
#include "io/mbn/qmbe_io.h"
#include "io/serial/com_io.h"
#include "io/serial/reader_thread.h"
#include "platform/text.h"

namespace corvane {
namespace {

constexpr std::size_t kNameBound = 256;
constexpr const char* kMobileBroadbandMark = "QMBE:";
constexpr std::size_t kMobileBroadbandMarkLength = 5;

void DeleteTransport(cIO* transport) { delete transport; }

// The platform may have references to it still: it lives until the last of them is given back.
void ReleaseTransport(cIO* transport) { static_cast<cQMBEIO*>(transport)->Release(); }

// None when memory runs out.
TransportOwner MakeTransport(bool isMobileBroadband) {
  try {
    if (!isMobileBroadband) {
      return {new cComIO, {DeleteTransport}};
    }
    auto* const made = new cQMBEIO;
    made->AddRef();
    return {made, {ReleaseTransport}};
  } catch (const std::bad_alloc&) {
    return {};
  }
}

bool OpenDevice(cCaptureSession& session, const char* deviceName) {
  if (session.transport != nullptr) {
    return false;
  }
  const std::size_t length = strnlen(deviceName, kNameBound);
  if (length >= kNameBound) {
    return false;
  }
  session.deviceName.reset(reinterpret_cast<char*>(AllocateBlock(length + 1).release()));
  if (!session.deviceName) {
    return false;
  }

  // The mark is looked for anywhere but skipped by position: it belongs at the very start, and of
  // "xQMBE:ABC" the transport gets ":ABC".
  const bool isMobileBroadband = std::strstr(deviceName, kMobileBroadbandMark) != nullptr;
  session.transport = MakeTransport(isMobileBroadband);
  CopyBounded(session.deviceName.get(), length + 1,
              isMobileBroadband ? deviceName + kMobileBroadbandMarkLength : deviceName);

  if (session.transport != nullptr && session.transport->Open(session.deviceName.get(), OnConnected,
                                                              &session, OnDisconnected, &session)) {
    return true;
  }
  std::ignore = SetDevice(session, nullptr);
  return false;
}

void CloseDevice(cCaptureSession& session) {
  if (session.transport != nullptr) {
    session.transport->Close();
    WaitForReaders(session);
    session.transport.reset();
  }
  session.deviceName.reset();
}

}  // namespace

bool SetDevice(cCaptureSession& session, const char* deviceName) {
  if (deviceName != nullptr) {
    return OpenDevice(session, deviceName);
  }
  CloseDevice(session);
  return true;
}

std::unique_ptr<cReaderThread> cDeviceTraffic::StartReader(cCaptureSession& session) {
  return StartReaderThread(session);
}

void cDeviceTraffic::StartDataDelivery(cCaptureSession& session) {
  static_cast<cQMBEIO&>(*session.transport).SetDataHandler(OnDeviceData, &session);
  OnDeviceData(&session, nullptr);
}

}  // namespace corvane
