#include "capture/request_queue.h"

#include <mutex>
#include <new>
#include <utility>

#include "diag/buffer_copy.h"

namespace corvane {

sRequestQueue::~sRequestQueue() {
  Discard();
  magic = 0;
}

std::size_t sRequestQueue::Size() {
  if (magic != kMagic) {
    return 0;
  }
  const std::lock_guard guard(lock);
  return entries.size();
}

std::uint32_t sRequestQueue::PushedCount() {
  if (magic != kMagic) {
    return 0;
  }
  const std::lock_guard guard(lock);
  return pushedCount;
}

sRequestQueue::sFound sRequestQueue::Find(std::uint32_t sequenceNumber) {
  if (magic != kMagic) {
    return {};
  }
  OwnedBuffer copy;
  {
    const std::lock_guard guard(lock);
    sSharedBuffer* const* const place = Place(sequenceNumber);
    if (place == nullptr || *place == nullptr || !(*place)->IsUsable()) {
      return {};
    }
    copy = CopyToBuffer((*place)->Bytes(), (*place)->origin);
  }
  if (copy == nullptr) {
    return {.copy = {}, .outOfMemory = true};
  }
  return {.copy = cBufferReference(std::move(copy))};
}

sSharedBuffer* sRequestQueue::Take(std::uint32_t sequenceNumber) {
  if (magic != kMagic) {
    return nullptr;
  }
  const std::lock_guard guard(lock);
  sSharedBuffer** const place = Place(sequenceNumber);
  return place != nullptr ? std::exchange(*place, nullptr) : nullptr;
}

void sRequestQueue::Discard() {
  if (magic != kMagic) {
    return;
  }
  const std::lock_guard guard(lock);
  entries.clear();
  pushedCount = 0;
}

sSharedBuffer** sRequestQueue::Place(std::uint32_t sequenceNumber) {
  const auto size = static_cast<std::uint32_t>(entries.size());
  const std::uint32_t oldest = pushedCount - size;
  if (sequenceNumber < oldest || sequenceNumber - oldest >= size) {
    return nullptr;
  }
  return &entries[sequenceNumber - oldest];
}

bool PushRequest(sRequestQueue& queue, sSharedBuffer* request) {
  if (queue.magic != sRequestQueue::kMagic) {
    return false;
  }
  const std::lock_guard guard(queue.lock);
  // The dropped request keeps its reference, so that its buffer is never freed. A connection queues
  // far fewer requests than fit, unless its filters name a thousand SSIDs.
  if (queue.entries.size() >= queue.capacity) {
    queue.entries.pop_front();
  }
  try {
    queue.entries.push_back(request);
  } catch (const std::bad_alloc&) {
    return false;
  }
  ++queue.pushedCount;
  if (queue.signalOnPush == 1 && queue.event != nullptr) {
    queue.event->Set();
  }
  return true;
}

}  // namespace corvane
