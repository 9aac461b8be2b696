#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <utility>

namespace corvane {

// The most bytes that one buffer can hold.
inline constexpr std::uint32_t kMaxBufferSize = 16640;

// Where a buffer's bytes came from (`sSharedBuffer::origin`).
inline constexpr std::uint32_t kOriginDevice = 3;   // read from the device
inline constexpr std::uint32_t kOriginLibrary = 4;  // made by the library: requests, text items

// A block from the C heap, on its way into a buffer.
struct sFree {
  void operator()(void* block) const { std::free(block); }
};
using HeapBlock = std::unique_ptr<std::uint8_t[], sFree>;

// A reference-counted block of bytes: every packet, request and text item travels in one.
//
// Who owns a buffer. A new buffer has a count of 0 and belongs to the code that made it (as a
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

  // Takes over `block`, from malloc, without copying. The buffer stays empty when `block` is null;
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

// Makes a buffer with the adopting constructor. Returns null, with `block` freed, when there is no
// memory for the buffer itself; the buffer that it returns may be empty.
[[nodiscard]] OwnedBuffer AdoptBlock(std::int32_t length, HeapBlock block, std::uint32_t origin);

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
