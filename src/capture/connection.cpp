#include "capture/connection.h"

#include <bitset>
#include <mutex>
#include <new>
#include <span>
#include <tuple>
#include <utility>

#include "capture/isf/layout.h"
#include "capture/session.h"
#include "capture/text_item.h"
#include "capture/transport.h"
#include "diag/hdlc.h"
#include "diag/packets.h"
#include "diag/requests.h"
#include "platform/error_codes.h"
#include "platform/text.h"

namespace corvane {
namespace {

[[nodiscard]] bool StoreTextItem(cCaptureSession& session, const OwnedBuffer& item) {
  if (item == nullptr) {
    return false;
  }
  const std::lock_guard guard(session.storeLock);
  return session.AddItem(item.get(), isf::kInformationItem) == kErrorSuccess;
}

[[nodiscard]] cPortMessage PrintPortMessage(const cCaptureSession& session,
                                            const char* whatHappened) {
  const char* const deviceName = session.deviceName != nullptr ? session.deviceName.get() : "";
  const cPortMessage message(deviceName, whatHappened);
  DebugPrint("%s\n", message.CString());
  return message;
}

void RecordPortMessage(cCaptureSession& session, const cPortMessage& message) {
  if (!StoreTextItem(session, MakeTextItem(message.Text()))) {
    DebugPrint("bad string write response\n");
  }
}

// Hands `request` to the queue. False when there is no usable request or the queue did not take it.
[[nodiscard]] bool QueueRequest(cCaptureSession& session, OwnedBuffer request) {
  if (!IsUsable(request.get())) {
    return false;
  }
  return PushRequest(session.requestQueue, cBufferReference(std::move(request)));
}

void QueueStartUpRequests(cCaptureSession& session) {
  for (const std::span<const std::uint8_t> bytes : StartUpRequests()) {
    std::ignore = QueueRequest(session, MakeBuffer(bytes, kOriginLibrary));
  }
  if (session.sendAllLevelsMask == 1) {
    std::ignore = QueueRequest(session, BuildAllLevelsRequest({}));
  }
}

void QueueEventMask(cCaptureSession& session) {
  if (session.eventIds.empty()) {
    return;
  }
  if (!QueueRequest(session, BuildEventMaskRequest(session.eventIds))) {
    DebugPrint("failed to create event mask\n");
  }
}

void QueueMessageLevels(cCaptureSession& session) {
  for (const auto& [ssid, levels] : session.messageLevels) {
    if (!QueueRequest(session, BuildMessageLevelsRequest(ssid, ssid, {&levels, 1}))) {
      DebugPrint("failed to create msg levels req\n");
    }
  }
}

void QueueLogMasks(cCaptureSession& session) {
  // A set of its own, since codes above 0xFFFF can name an equipment ID again.
  std::bitset<log_packet::kEquipmentIds> equipmentIds;
  for (const std::uint32_t code : session.logCodes) {
    equipmentIds.set((code >> log_packet::kEquipmentIdShift) % log_packet::kEquipmentIds);
  }
  for (std::uint32_t id = 0; id < log_packet::kEquipmentIds; ++id) {
    if (!equipmentIds.test(id)) {
      continue;
    }
    if (!QueueRequest(session, BuildLogMaskRequest(id, session.logCodes))) {
      DebugPrint("failed to create log mask\n");
    }
  }
}

// Starts the connection's reader. The readers of earlier connections that have ended are forgotten
// here, which closes their handles; one that is still in its read stays known.
[[nodiscard]] bool StartReader(cCaptureSession& session) {
  session.readerThread = nullptr;
  std::erase_if(session.readers, [](const auto& reader) { return reader->HasEnded(); });
  try {
    // Before there is a thread: one that runs has to be known.
    session.readers.emplace_back();
  } catch (const std::bad_alloc&) {
    return false;
  }
  session.readers.back() = session.traffic.StartReader(session);
  session.readerThread = session.readers.back().get();
  if (session.readerThread == nullptr) {
    session.readers.pop_back();
  }
  return session.readerThread != nullptr;
}

void StartTraffic(cCaptureSession& session) {
  switch (session.transport->kind) {
    case kSerialPort:
      if (!StartReader(session)) {
        DebugPrint("Failed to create io thread\n");
      }
      break;
    case kMobileBroadband:
      session.traffic.StartDataDelivery(session);
      break;
    default:
      break;
  }
}

}  // namespace

bool StartCapture(cCaptureSession& session, std::unique_ptr<std::ofstream> outputFile,
                  const EventIdSet& eventIds, const LogCodeSet& logCodes,
                  const MessageLevelMap& messageLevels) {
  session.eventIds = eventIds;
  session.logCodes = logCodes;
  session.messageLevels = messageLevels;

  // Finishes a file of an earlier start first, also when there is none to follow it.
  session.Attach(std::move(outputFile));
  const OwnedBuffer information = MakeTextItem(kInformationText);
  if (information == nullptr) {
    return false;
  }
  if (!StoreTextItem(session, information)) {
    DebugPrint("Unable to write info string\n");
    return false;
  }
  if (session.capturing.exchange(true)) {
    return true;
  }
  // OnConnected does nothing while there is no capture file. It is called again here for a
  // transport that found its device before the file was there.
  if (session.transport != nullptr && session.transport->IsOpen()) {
    OnConnected(&session);
  }
  return true;
}

void OnConnected(void* context) {
  if (context == nullptr) {
    return;
  }
  auto& session = *static_cast<cCaptureSession*>(context);
  const cPortMessage message = PrintPortMessage(session, "connected");
  if (!session.capturing) {
    return;
  }
  RecordPortMessage(session, message);
  SetupSession(session);
}

void OnDisconnected(void* context) {
  if (context == nullptr) {
    return;
  }
  auto& session = *static_cast<cCaptureSession*>(context);
  ClearRequests(session);
  // Recorded whether or not the capture has started: without a file this prints that it failed.
  RecordPortMessage(session, PrintPortMessage(session, "disconnected"));
}

void SetupSession(cCaptureSession& session) {
  if (session.transport == nullptr) {
    return;
  }
  ClearRequests(session);
  QueueStartUpRequests(session);
  QueueEventMask(session);
  QueueMessageLevels(session);
  QueueLogMasks(session);
  StartTraffic(session);
}

void ClearRequests(cCaptureSession& session) {
  sRequestQueue& queue = session.requestQueue;
  // Each request leaves its place before it is released, with the queue's lock given back: a sender
  // on another thread can then never look up a buffer that is gone.
  for (std::uint32_t number = 0; number < queue.PushedCount(); ++number) {
    std::ignore = queue.Take(number);
  }
  queue.Discard();
  const std::lock_guard guard(session.sendTurn.lock);
  session.sendTurn.wasCleared = true;
  session.nextRequest = 0;
  session.outstanding = 0;
}

void WaitForReaders(cCaptureSession& session) {
  session.readerThread = nullptr;
  for (const auto& reader : session.readers) {
    reader->WaitForEnd();
  }
  session.readers.clear();
}

OwnedBuffer RecordAndFrame(cCaptureSession& session, sSharedBuffer* request) {
  if (request == nullptr) {
    return nullptr;
  }
  {
    const std::lock_guard guard(session.storeLock);
    // A request that could not be recorded is sent all the same.
    std::ignore = session.AddItem(request, kAutomaticType);
  }
  return FramePacket(request);
}

bool SendRequest(cCaptureSession& session, sSharedBuffer* request) {
  const OwnedBuffer frame = RecordAndFrame(session, request);
  return frame != nullptr && session.transport->Write(frame->data, frame->size);
}

}  // namespace corvane
