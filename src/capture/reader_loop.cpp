#include "capture/reader_loop.h"

#include <algorithm>
#include <mutex>
#include <tuple>

#include "capture/connection.h"
#include "capture/receive_path.h"
#include "capture/session.h"
#include "diag/reply.h"

namespace corvane {

void cReaderLoop::Pump() {
  while (credit > 0 && session.requestQueue.Size() != 0) {
    --credit;
    // The number and the credit are spent even when the queue has no such request (any more).
    const cBufferReference request = session.requestQueue.Find(sent++);
    if (!request) return;
    SendRequest(session, request.Get());
  }
}

std::span<std::uint8_t> cReaderLoop::Room() { return std::span(buffer).subspan(kept); }

void cReaderLoop::Received(std::size_t count) {
  const std::span<const std::uint8_t> received(buffer.data(), kept + count);
  cFrameSplitter splitter(received);
  while (const cBufferReference packet = splitter.Next()) {
    {
      const std::lock_guard guard(session.storeLock);
      // A failing file does not keep the modem from being served.
      std::ignore = session.AddItem(packet.Get(), kAutomaticType);
    }
    if (ClassifyReply(*packet) != eReply::None) ++credit;
  }
  const std::span<const std::uint8_t> rest = received.subspan(splitter.Offset());
  std::copy(rest.begin(), rest.end(), buffer.begin());
  kept = rest.size();
}

}  // namespace corvane
