#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>

#include "diag/shared_buffer.h"
#include "platform/synchronization.h"

namespace corvane {

// The requests of the current connection, addressed by their sequence number: the n-th one pushed
// since the last clear has number n - 1. Sending does not remove a request; only a clear does.
//
// Every operation checks `magic` first and does nothing without it. `lock` guards the entries and
// `pushedCount`; no other lock is taken while it is held.
struct sRequestQueue {
  static constexpr std::uint32_t kMagic = 0x1799A2BC;
  static constexpr std::uint32_t kCapacity = 1000;

  sRequestQueue() = default;
  sRequestQueue(const sRequestQueue&) = delete;
  sRequestQueue& operator=(const sRequestQueue&) = delete;
  // Releases no entry, as Discard does not: ClearRequests comes first.
  ~sRequestQueue();

  // How many entries are held now; 0 without `magic`.
  [[nodiscard]] std::size_t Size();

  // How many requests were pushed since the last clear; 0 without `magic`.
  [[nodiscard]] std::uint32_t PushedCount();

  // What Find found.
  struct sFound {
    cBufferReference copy;     // of the entry, with the one reference to it; none without an entry
    bool outOfMemory = false;  // the entry is there, and there was no memory for a copy
  };

  // Looks the entry with this sequence number up. One without usable bytes counts as none.
  //
  // A copy, not the entry: a disconnection may release the entry on another thread at any time, and
  // a second reference to it could not be taken under `lock`, since counting takes a lock of its
  // own.
  [[nodiscard]] sFound Find(std::uint32_t sequenceNumber);

  // Takes the entry with this sequence number out of its place, which stays behind empty. None when
  // there is no such entry.
  [[nodiscard]] cBufferReference Take(std::uint32_t sequenceNumber);

  // Removes every entry, without releasing any, and starts the numbers from 0 again.
  void Discard();

  std::uint32_t magic = kMagic;
  cLock lock{cLock::eCreation::SpinCount, 5000};
  std::unique_ptr<cEvent> event;  // none in a capture session
  std::uint8_t signalOnPush = 0;  // 1: each push sets `event`
  std::uint32_t capacity = kCapacity;
  std::uint32_t pushedCount = 0;
  std::deque<cBufferReference> entries;  // none once taken

 private:
  // Lets go of every entry without releasing it. The caller holds `lock`.
  void ForgetEntries();
  // The place of an entry, or null. The caller holds `lock`.
  [[nodiscard]] cBufferReference* Place(std::uint32_t sequenceNumber);
};

// Appends `request`. At `capacity` entries the oldest one is dropped first, and its reference is
// not given back. Returns false without `magic` or when memory runs out; `request` is then
// released.
[[nodiscard]] bool PushRequest(sRequestQueue& queue, cBufferReference request);

}  // namespace corvane
