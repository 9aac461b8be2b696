#include "diag/shared_buffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <utility>

namespace corvane {

constinit std::optional<cLock> gBufferLock;
std::uint32_t gBufferLockReady = 0;

namespace {

constinit sBlockHeap blockHeap{[](std::size_t size) { return std::malloc(size); },
                               [](void* block) { std::free(block); }};

// Stands behind the lock in this file, so that it is destroyed before it.
const struct sBufferLockLife {
  sBufferLockLife() { CreateBufferLock(); }
  ~sBufferLockLife() { DestroyBufferLock(); }
} bufferLockLife;

// The lock where it is ready, and nothing during start-up and shut-down.
[[nodiscard]] std::unique_lock<cLock> LockBuffers() {
  if (gBufferLockReady != 1) {
    return {};
  }
  return std::unique_lock(*gBufferLock);
}

[[nodiscard]] bool IsLengthAllowed(std::int32_t length) {
  // One comparison: as unsigned numbers, 0 and negative lengths lie far above the bound.
  return static_cast<std::uint32_t>(length) - 1 < kMaxBufferSize;
}

}  // namespace

sBlockHeap& BlockHeap() { return blockHeap; }

HeapBlock AllocateBlock(std::size_t size) {
  return HeapBlock(static_cast<std::uint8_t*>(blockHeap.allocate(size)));
}

HeapBlock AllocateZeroedBlock(std::size_t size) {
  HeapBlock block = AllocateBlock(size);
  if (block != nullptr) {
    std::fill_n(block.get(), size, std::uint8_t{0});
  }
  return block;
}

void CreateBufferLock() {
  // An exception here would end the process that loads the library. Without the lock, buffers are
  // counted unsafely, as during start-up and shut-down.
  try {
    gBufferLock.emplace(cLock::eCreation::Extended, 5000);
    gBufferLockReady = 1;
  } catch (const std::bad_alloc&) {
  }
}

void DestroyBufferLock() {
  gBufferLockReady = 0;
  gBufferLock.reset();
}

sSharedBuffer::sSharedBuffer(const void* source, std::int32_t length, std::uint32_t from)
    : origin(from) {
  if (source == nullptr || !IsLengthAllowed(length)) {
    return;
  }
  const auto count = static_cast<std::uint32_t>(length);
  data = AllocateBlock(count).release();
  if (data == nullptr) {
    return;
  }
  std::memcpy(data, source, count);
  size = count;
}

sSharedBuffer::sSharedBuffer(std::int32_t length, HeapBlock block, std::uint32_t from)
    : origin(from) {
  if (block == nullptr || !IsLengthAllowed(length)) {
    return;
  }
  data = block.release();
  size = static_cast<std::uint32_t>(length);
}

sSharedBuffer::~sSharedBuffer() {
  if (data == nullptr) {
    return;
  }
  // Volatile, or the compiler drops a store to memory that is about to be freed.
  *static_cast<volatile std::uint8_t*>(data) = 0;
  blockHeap.free(data);
  data = nullptr;
}

OwnedBuffer MakeBuffer(std::span<const std::uint8_t> bytes, std::uint32_t origin) {
  const std::size_t length = bytes.size() <= kMaxBufferSize ? bytes.size() : 0;
  return OwnedBuffer(new (std::nothrow)
                         sSharedBuffer(bytes.data(), static_cast<std::int32_t>(length), origin));
}

OwnedBuffer AdoptBlock(std::int32_t length, HeapBlock block, std::uint32_t origin) {
  return OwnedBuffer(new (std::nothrow) sSharedBuffer(length, std::move(block), origin));
}

void AddRef(sSharedBuffer* buffer) {
  const auto guard = LockBuffers();
  ++buffer->refCount;
}

void Release(sSharedBuffer* buffer) {
  const auto guard = LockBuffers();
  if (buffer->refCount != 0 && --buffer->refCount != 0) {
    return;
  }
  delete buffer;
}

}  // namespace corvane
