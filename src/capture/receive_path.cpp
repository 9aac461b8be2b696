#include "capture/receive_path.h"

#include <array>
#include <cstdio>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>

#include "capture/connection.h"
#include "capture/isf/layout.h"
#include "capture/session.h"
#include "capture/text_item.h"
#include "diag/hdlc.h"
#include "diag/packets.h"
#include "platform/error_codes.h"
#include "platform/text.h"

namespace corvane {
namespace {

// Records that the items behind are of another subscription. Returns what the store says; the next
// packet tries again.
[[nodiscard]] std::uint32_t TellSubscription(cCaptureSession& session, std::uint32_t subscription) {
  // No std::string: a thread of the transport has nobody to catch its failed allocation.
  std::array<char, sizeof("Subscription 4294967295")> text{};
  const int length = std::snprintf(text.data(), text.size(), "Subscription %lu",
                                   static_cast<unsigned long>(subscription));
  const OwnedBuffer item =
      MakeTextItem(std::string_view(text.data(), static_cast<std::size_t>(length)));
  if (item == nullptr) {
    return kErrorNotEnoughMemory;
  }
  const std::uint32_t error = session.AddItem(item.get(), isf::kInformationItem);
  if (error == kErrorSuccess) {
    session.subscription = subscription;
  }
  return error;
}

void StorePacket(cCaptureSession& session, sSharedBuffer& packet) {
  const std::uint32_t error = RecordReceived(session, packet);
  if (error != kErrorSuccess) {
    DebugPrint("error %lu writing item\n", static_cast<unsigned long>(error));
  }
}

void CountReply(cCaptureSession& session, eReply reply) {
  const std::lock_guard guard(session.sendTurn.lock);
  switch (reply) {
    case eReply::None:
      break;
    case eReply::Response:
      // No floor at 0: a reply that nobody asked for wraps the counter, and nothing more is sent
      // until the queue is cleared.
      --session.outstanding;
      break;
    case eReply::EventReport: {
      // A request that is on its way counts for the floor: its reply may be faster than the raise.
      const std::uint32_t onItsWay = session.sendTurn.isOnItsWay ? 1 : 0;
      if (session.outstanding + onItsWay != 0) {
        --session.outstanding;
      }
      break;
    }
  }
}

// Makes the calling thread the sender. False: another thread is that, and looks again before it
// stops being it.
[[nodiscard]] bool TakeTurn(sSendTurn& turn) {
  const std::lock_guard guard(turn.lock);
  turn.lookAgain = turn.isTaken;
  return !std::exchange(turn.isTaken, true);
}

// The calling thread stops being the sender. False: it has to look again first.
[[nodiscard]] bool GiveTurnBack(sSendTurn& turn) {
  const std::lock_guard guard(turn.lock);
  turn.isTaken = std::exchange(turn.lookAgain, false);
  return !turn.isTaken;
}

// The number of the request to send now; none while one is unanswered.
[[nodiscard]] std::optional<std::uint32_t> NumberToSend(cCaptureSession& session) {
  const std::lock_guard guard(session.sendTurn.lock);
  session.sendTurn.wasCleared = false;
  if (session.outstanding != 0) {
    return std::nullopt;
  }
  return session.nextRequest;
}

// False: the queue was cleared meanwhile, and the request that was looked up is not to be sent.
[[nodiscard]] bool TakeNumber(cCaptureSession& session) {
  const std::lock_guard guard(session.sendTurn.lock);
  if (session.sendTurn.wasCleared) {
    return false;
  }
  ++session.nextRequest;
  session.sendTurn.isOnItsWay = true;
  return true;
}

void CountRequest(cCaptureSession& session) {
  const std::lock_guard guard(session.sendTurn.lock);
  session.sendTurn.isOnItsWay = false;
  if (session.sendTurn.wasCleared) {
    // The request was the lost connection's. Nothing of the new one has been sent yet, so what has
    // been counted since can only be a reply to that request.
    session.outstanding = 0;
  } else {
    ++session.outstanding;
  }
}

void SendNextRequest(cCaptureSession& session) {
  const std::optional<std::uint32_t> number = NumberToSend(session);
  if (!number || session.requestQueue.Size() <= *number) {
    return;
  }
  const sRequestQueue::sFound request = session.requestQueue.Find(*number);
  // The request keeps its number, and the next packet of any kind tries again; from a modem that
  // sends nothing on its own none may come before the next connection.
  if (request.outOfMemory) {
    return;
  }
  if (!TakeNumber(session)) {
    return;
  }
  SendRequest(session, request.copy.Get());
  // Also after a failed write: the next request waits for a reply, or for the next connection.
  CountRequest(session);
}

void SendRequests(cCaptureSession& session) {
  if (!TakeTurn(session.sendTurn)) {
    return;
  }
  do {
    SendNextRequest(session);
  } while (!GiveTurnBack(session.sendTurn));
}

// What has to be copied for a look at the first frame: of a read that holds many, each look would
// else copy all that is left of it.
[[nodiscard]] std::span<const std::uint8_t> FrontOf(std::span<const std::uint8_t> rest) {
  if (rest.size() > kMaxBufferSize) {
    return rest;
  }
  const std::size_t size = FrontFrameSize(rest);
  return size == 0 ? rest : rest.first(size);
}

}  // namespace

cBufferReference cFrameSplitter::Next() {
  for (;;) {
    const std::span<const std::uint8_t> rest = received.subspan(offset);
    const OwnedBuffer copy = MakeBuffer(FrontOf(rest), kOriginDevice);
    // More than a buffer can hold counts as no bytes: nothing is found in them.
    ranOutOfMemory = !IsUsable(copy.get()) && !rest.empty() && rest.size() <= kMaxBufferSize;
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

std::uint32_t RecordReceived(cCaptureSession& session, sSharedBuffer& packet) {
  const sUnwrapped inner = session.unwrapsSubscriptions ? Unwrap(packet.Bytes()) : sUnwrapped{};
  const std::lock_guard guard(session.storeLock);
  if (!inner.subscription) {
    return session.AddItem(&packet, kAutomaticType);
  }
  const cBufferReference unwrapped(MakeBuffer(inner.packet, kOriginDevice));
  if (!IsUsable(unwrapped.Get())) {
    return kErrorNotEnoughMemory;
  }
  if (*inner.subscription != session.subscription) {
    // Behind the text of another subscription the packet would be taken for one of that.
    const std::uint32_t error = TellSubscription(session, *inner.subscription);
    if (error != kErrorSuccess) {
      return error;
    }
  }
  session.SelectSubscription(*inner.subscription);
  return session.AddItem(unwrapped.Get(), kAutomaticType);
}

eReply ReplyIn(const cCaptureSession& session, const sSharedBuffer& packet) {
  return ClassifyReply(session.unwrapsSubscriptions ? Unwrap(packet.Bytes()).packet
                                                    : packet.Bytes());
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
      StorePacket(session, *packet);
      CountReply(session, ReplyIn(session, *packet));
    }
    // A reply may be among the bytes not looked at, so nothing is sent on this occasion.
    if (splitter.RanOutOfMemory()) {
      return;
    }
  }
  SendRequests(session);
}

}  // namespace corvane
