#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "diag/shared_buffer.h"

namespace corvane {

// Cuts received bytes into packets, one at a time. The bytes stay the caller's and must outlive the
// splitter. Among more than kMaxBufferSize of them no packet is found.
class cFrameSplitter {
 public:
  explicit cFrameSplitter(std::span<const std::uint8_t> receivedBytes) : received(receivedBytes) {}

  // The next good packet, with one counted reference to it; none when no complete frame is left or
  // memory ran out. "bad CRC\n" is printed for each frame that fails its check on the way, and the
  // frame is passed over. A frame of nothing but a good CRC is a packet too, an empty one.
  [[nodiscard]] cBufferReference Next();

  // How many bytes the frames so far have used up. What stands behind them is an incomplete frame,
  // or the closing flag of the last frame and then an incomplete one.
  [[nodiscard]] std::size_t Offset() const { return offset; }

  // True when bytes are left only because there was no memory to look at them.
  [[nodiscard]] bool RanOutOfMemory() const { return ranOutOfMemory; }

 private:
  std::span<const std::uint8_t> received;
  std::size_t offset = 0;
  bool ranOutOfMemory = false;
};

// The mobile-broadband transport's data handler: stores the packets of one received block, counts
// the replies among them and, when no request is left unanswered, sends the next one of the queue.
//
// `session` is a cCaptureSession with a transport; null is ignored. `data` is borrowed for the
// call; null (or an empty buffer) only sends. Bytes of an incomplete frame at the end of a block
// are dropped. Runs on threads of the transport's: a reply can be
// delivered while the call that sent its request has not returned.
void OnDeviceData(void* session, sSharedBuffer* data);

}  // namespace corvane
