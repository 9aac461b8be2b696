#include "capture/reader_loop.h"

#include <cstring>
#include <mutex>
#include <tuple>

#include "capture/connection.h"
#include "capture/receive_path.h"
#include "capture/session.h"
#include "diag/packets.h"
#include "diag/shared_buffer.h"

namespace corvane {

void cReaderLoop::Pump() {
  while (credit > 0 && IsConnected() && session.requestQueue.Size() != 0) {
    const sRequestQueue::sFound request = session.requestQueue.Find(sent);
    // A connection that ended before the look-up: what was found may be the next one's.
    if (!IsConnected()) {
      return;
    }
    // The request keeps its number and the credit stays: the next pump tries again, which comes
    // after the next read.
    if (request.outOfMemory) {
      return;
    }
    // Both are spent even when the queue has no such request (any more).
    --credit;
    ++sent;
    if (!request.copy) {
      return;
    }
    Send(request.copy.Get());
  }
}

// A failed write counts as sent.
void cReaderLoop::Send(sSharedBuffer* request) {
  if (port == nullptr) {
    std::ignore = SendRequest(session, request);
    return;
  }
  if (const OwnedBuffer frame = RecordAndFrame(session, request)) {
    std::ignore = port->Write(frame->data, frame->size);
  }
}

std::span<std::uint8_t> cReaderLoop::Room() { return std::span(buffer).subspan(kept); }

void cReaderLoop::Received(std::size_t count) {
  const std::span<const std::uint8_t> received(buffer.data(), kept + count);
  cFrameSplitter splitter(received);
  while (const cBufferReference packet = splitter.Next()) {
    // A failing file does not keep the modem from being served.
    std::ignore = RecordReceived(session, *packet);
    if (ReplyIn(session, *packet) != eReply::None) {
      ++credit;
    }
  }
  const std::span<const std::uint8_t> rest = received.subspan(splitter.Offset());
  std::memmove(buffer.data(), rest.data(), rest.size());
  kept = rest.size();
}

}  // namespace corvane
