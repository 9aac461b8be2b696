#include "capture/request_queue.h"

#include <mutex>
#include <new>
#include <tuple>
#include <utility>

namespace corvane {

sRequestQueue::~sRequestQueue() {
  ForgetEntries();
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
    const cBufferReference* const place = Place(sequenceNumber);
    if (place == nullptr || !IsUsable(place->Get())) {
      return {};
    }
    copy = MakeBuffer((*place)->Bytes(), (*place)->origin);
  }
  if (!IsUsable(copy.get())) {
    return {.copy = {}, .outOfMemory = true};
  }
  return {.copy = cBufferReference(std::move(copy))};
}

cBufferReference sRequestQueue::Take(std::uint32_t sequenceNumber) {
  if (magic != kMagic) {
    return {};
  }
  const std::lock_guard guard(lock);
  cBufferReference* const place = Place(sequenceNumber);
  return place != nullptr ? std::move(*place) : cBufferReference();
}

void sRequestQueue::Discard() {
  if (magic != kMagic) {
    return;
  }
  const std::lock_guard guard(lock);
  ForgetEntries();
  pushedCount = 0;
}

void sRequestQueue::ForgetEntries() {
  // The buffer of an entry that is still there is never freed: to release it would be to take the
  // lock of all buffers while this one is held.
  for (cBufferReference& entry : entries) {
    std::ignore = entry.Detach();
  }
  entries.clear();
}

cBufferReference* sRequestQueue::Place(std::uint32_t sequenceNumber) {
  const auto size = static_cast<std::uint32_t>(entries.size());
  const std::uint32_t oldest = pushedCount - size;
  if (sequenceNumber < oldest || sequenceNumber - oldest >= size) {
    return nullptr;
  }
  return &entries[sequenceNumber - oldest];
}

bool PushRequest(sRequestQueue& queue, cBufferReference request) {
  if (queue.magic != sRequestQueue::kMagic) {
    return false;
  }
  const std::lock_guard guard(queue.lock);
  // The dropped request keeps its reference, so that its buffer is never freed. A connection queues
  // far fewer requests than fit, unless its filters name a thousand SSIDs.
  if (queue.entries.size() >= queue.capacity) {
    std::ignore = queue.entries.front().Detach();
    queue.entries.pop_front();
  }
  try {
    queue.entries.push_back(std::move(request));
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
