#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <utility>

#include "platform/synchronization.h"

namespace corvane {

// The most bytes that one buffer can hold.
inline constexpr std::uint32_t kMaxBufferSize = 16640;

// Where a buffer's bytes came from (`sSharedBuffer::origin`).
inline constexpr std::uint32_t kOriginDevice = 3;   // read from the device
inline constexpr std::uint32_t kOriginLibrary = 4;  // made by the library: requests, text items

// The C heap, which every block of the library comes from and goes back to. The library changes
// neither field; tests put themselves in between (tests/support/failing_allocation.h).
struct sBlockHeap {
  void* (*allocate)(std::size_t size);  // null when memory runs out
  void (*free)(void* block);            // never called with null
};
[[nodiscard]] sBlockHeap& BlockHeap();

// A block from the C heap, on its way into a buffer.
struct sFree {
  void operator()(void* block) const { BlockHeap().free(block); }
};
using HeapBlock = std::unique_ptr<std::uint8_t[], sFree>;

// `size` bytes, at least 1; null when memory runs out.
[[nodiscard]] HeapBlock AllocateBlock(std::size_t size);

// The same, filled with zeros.
[[nodiscard]] HeapBlock AllocateZeroedBlock(std::size_t size);

// A reference-counted block of bytes: every packet, request and text item travels in one.
//
// Who owns a buffer. A new buffer has a count of 0 and belongs to the code that made it (as an
// OwnedBuffer). Code that only uses it for the duration of a call destroys it when done, without
// Release. Whatever keeps it (the request queue, a view, a list) takes a reference with AddRef and
// gives it back with Release; the last Release destroys it. A creator that hands its buffer to a
// keeper therefore takes one reference and forgets its own pointer. cBufferReference does both.
//
// The bytes never change after construction, so reading them needs no lock.
struct sSharedBuffer {
  // Copies `length` bytes of `source`. The buffer stays empty when `source` is null, when `length`
  // lies outside 1..kMaxBufferSize, or when memory runs out: callers test IsUsable.
  sSharedBuffer(const void* source, std::int32_t length, std::uint32_t origin);

  // Takes over `block` without copying. The buffer stays empty when `block` is null;
  // with a `length` outside 1..kMaxBufferSize it frees the block and stays empty.
  sSharedBuffer(std::int32_t length, HeapBlock block, std::uint32_t origin);

  sSharedBuffer(const sSharedBuffer&) = delete;
  sSharedBuffer& operator=(const sSharedBuffer&) = delete;

  // Writes 0 over the first byte before it frees the block, so that a stale reader of a freed
  // packet does not find its command code.
  virtual ~sSharedBuffer();

  // True when there are bytes and not too many: data non-null, size 1..kMaxBufferSize.
  [[nodiscard]] bool IsUsable() const { return data != nullptr && size - 1 < kMaxBufferSize; }

  [[nodiscard]] std::span<const std::uint8_t> Bytes() const { return {data, size}; }

  std::uint8_t* data = nullptr;
  std::uint32_t size = 0;
  std::uint32_t origin;
  std::uint32_t refCount = 0;
};

// A buffer that still belongs to its creator.
using OwnedBuffer = std::unique_ptr<sSharedBuffer>;

// True for a buffer that is there and usable.
[[nodiscard]] inline bool IsUsable(const sSharedBuffer* buffer) {
  return buffer != nullptr && buffer->IsUsable();
}

// A new buffer with a copy of `bytes`. Null when there is no memory for the buffer itself. It is
// empty when there are no bytes, more than kMaxBufferSize, or no memory for them: callers test
// IsUsable.
[[nodiscard]] OwnedBuffer MakeBuffer(std::span<const std::uint8_t> bytes, std::uint32_t origin);

// Makes a buffer with the adopting constructor. Returns null, with `block` freed, when there is no
// memory for the buffer itself; the buffer that it returns may be empty.
[[nodiscard]] OwnedBuffer AdoptBlock(std::int32_t length, HeapBlock block, std::uint32_t origin);

// The one lock of the process that guards every change of a buffer's reference count. It is held
// for an increment, a decrement or the final free, and nothing else is locked while it is held.
//
// It exists from the load of the library to its unload. gBufferLockReady is 1 in between; outside,
// and in a process that had no memory for the lock at the load, buffers are counted without it.
extern std::optional<cLock> gBufferLock;
extern std::uint32_t gBufferLockReady;

// Makes the lock, which must not be there, and raises the flag; without memory for it both stay as
// they are. Run once, at the load.
void CreateBufferLock();

// Clears the flag and then destroys the lock. Run once, at the unload.
void DestroyBufferLock();

// Takes one reference. `buffer` must not be null.
void AddRef(sSharedBuffer* buffer);

// Gives one reference back and destroys the buffer with the last one. A buffer without any
// reference is destroyed at once. The destruction happens while the buffer lock is held.
void Release(sSharedBuffer* buffer);

// One counted reference to a buffer, or none.
class cBufferReference {
 public:
  cBufferReference() = default;
  // Takes a reference of its own; null is none.
  explicit cBufferReference(sSharedBuffer* kept) : buffer(kept) {
    if (buffer != nullptr) {
      AddRef(buffer);
    }
  }
  // Takes the creator's buffer over.
  explicit cBufferReference(OwnedBuffer made) : cBufferReference(made.release()) {}
  cBufferReference(const cBufferReference& other) : cBufferReference(other.buffer) {}
  cBufferReference(cBufferReference&& other) noexcept
      : buffer(std::exchange(other.buffer, nullptr)) {}
  cBufferReference& operator=(cBufferReference other) noexcept {
    std::swap(buffer, other.buffer);
    return *this;
  }
  ~cBufferReference() {
    if (buffer != nullptr) {
      Release(buffer);
    }
  }

  [[nodiscard]] sSharedBuffer* Get() const { return buffer; }
  sSharedBuffer* operator->() const { return buffer; }
  sSharedBuffer& operator*() const { return *buffer; }
  explicit operator bool() const { return buffer != nullptr; }

  // Gives the reference to the caller, who has to Release it.
  [[nodiscard]] sSharedBuffer* Detach() { return std::exchange(buffer, nullptr); }

 private:
  sSharedBuffer* buffer = nullptr;
};

}  // namespace corvane
