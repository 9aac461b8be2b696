#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "diag/packets.h"
#include "diag/shared_buffer.h"

namespace corvane {

class cCaptureSession;

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

// Records one received packet, with the automatic item type, under the store's lock. Returns what
// the store says.
//
// Where the session takes packets out of the wrappers of multi-SIM modems, the packet inside counts
// as what was received: it is recorded as if it had come bare, and so is every one in a wrapper
// inside. Whenever their subscription changes, beginning from 1, a text item in front of the packet
// says so, without which it is not recorded itself, and each subscription reassembles system
// information on its own. A bare packet tells no subscription and changes none. A wrapper with
// nothing in it stays what it is, which the store refuses. `packet` is held by a counted reference.
[[nodiscard]] std::uint32_t RecordReceived(cCaptureSession& session, sSharedBuffer& packet);

// How a received packet bears on the request in flight; the packet inside a wrapper, where the
// session takes them out.
[[nodiscard]] eReply ReplyIn(const cCaptureSession& session, const sSharedBuffer& packet);

// The mobile-broadband transport's data handler: stores the packets of one received block, counts
// the replies among them and, when no request is left unanswered, sends the next one of the queue.
//
// `session` is a cCaptureSession with a transport; null is ignored. `data` is borrowed for the
// call; null (or an empty buffer) only sends. Bytes of an incomplete frame at the end of a block
// are dropped.
//
// Runs on the transport's threads, on several at once too. One of them at a time sends: a call that
// finds another one sending leaves that to it and returns, and the sender looks once more when it
// has counted its request. So no request is sent twice or passed over.
//
// A reply can come before the call that sends its request has returned, and so before the request
// is counted. It then takes the counter of unanswered requests from 0 to 4294967295, and counting
// the request takes it back to 0: the next request follows at once. That holds for the short event
// reply too, which otherwise leaves a counter of 0 alone: while a request is on its way it counts
// as the reply to it, once.
void OnDeviceData(void* session, sSharedBuffer* data);

}  // namespace corvane
