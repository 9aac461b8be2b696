#include "capture/receive_path.h"

#include <mutex>
#include <utility>

#include "capture/connection.h"
#include "capture/session.h"
#include "diag/buffer_copy.h"
#include "diag/hdlc.h"
#include "diag/reply.h"
#include "platform/debug_print.h"
#include "platform/error_codes.h"

namespace corvane {
namespace {

void StorePacket(cCaptureSession& session, sSharedBuffer* packet) {
  std::uint32_t error = kErrorSuccess;
  {
    const std::lock_guard guard(session.storeLock);
    error = session.AddItem(packet, kAutomaticType);
  }
  if (error != kErrorSuccess) {
    DebugPrint("error %lu writing item\n", static_cast<unsigned long>(error));
  }
}

void CountReply(cCaptureSession& session, eReply reply) {
  switch (reply) {
    case eReply::None:
      break;
    case eReply::Response:
      // No floor at 0: a reply that nobody asked for wraps the counter, and nothing more is sent
      // until the queue is cleared.
      --session.outstanding;
      break;
    case eReply::EventReport:
      if (session.outstanding != 0) {
        --session.outstanding;
      }
      break;
  }
}

void SendNextRequest(cCaptureSession& session) {
  if (session.requestQueue.Size() <= session.nextRequest) {
    return;
  }
  const sRequestQueue::sFound request = session.requestQueue.Find(session.nextRequest);
  // The request keeps its number, and the next packet of any kind tries again; from a modem that
  // sends nothing on its own none may come before the next connection.
  if (request.outOfMemory) {
    return;
  }
  ++session.nextRequest;
  SendRequest(session, request.copy.Get());
  // Also after a failed write: the next request waits for a reply, or for the next connection. It
  // is raised only now. So a response that another thread counts before this wraps the counter,
  // which comes back to 0 here, and the next packet of any kind sends on; and a short event reply
  // that comes before this lets the next request go out early and leaves the counter one too high,
  // which stops the sending until the next connection.
  ++session.outstanding;
}

}  // namespace

cBufferReference cFrameSplitter::Next() {
  for (;;) {
    const std::span<const std::uint8_t> rest = received.subspan(offset);
    const OwnedBuffer copy = CopyToBuffer(rest, kOriginDevice);
    // More than a buffer can hold counts as no bytes: nothing is found in them.
    ranOutOfMemory = copy == nullptr && !rest.empty() && rest.size() <= kMaxBufferSize;
    std::uint32_t consumed = 0;
    OwnedBuffer packet = UnframePacket(copy.get(), &consumed);
    offset += consumed;
    if (packet != nullptr) {
      return cBufferReference(std::move(packet));
    }
    if (consumed == 0) {
      return {};
    }
    DebugPrint("bad CRC\n");
  }
}

void OnDeviceData(void* context, sSharedBuffer* data) {
  if (context == nullptr) {
    return;
  }
  auto& session = *static_cast<cCaptureSession*>(context);
  if (!session.capturing) {
    return;
  }
  if (data != nullptr) {
    cFrameSplitter splitter(data->Bytes());
    while (const cBufferReference packet = splitter.Next()) {
      StorePacket(session, packet.Get());
      CountReply(session, ClassifyReply(*packet));
    }
    // A reply may be among the bytes not looked at, so nothing is sent on this occasion.
    if (splitter.RanOutOfMemory()) {
      return;
    }
  }
  if (session.outstanding == 0) {
    SendNextRequest(session);
  }
}

}  // namespace corvane
