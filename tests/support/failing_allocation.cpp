#include "support/failing_allocation.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "support/failing_new.h"

// The names that the linker's --wrap makes: a call of malloc ends up in __wrap_malloc, and
// __real_malloc is the C library's (or the sanitizer's).
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void __real_free(void* block);
void* __wrap_malloc(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
void __wrap_free(void* block);
}

namespace corvane {
namespace {

// Counts the allocations of one heap down to the one that fails. All of this is built before the
// first allocation of the program, at compile time.
struct sCountdown {
  std::atomic<std::int64_t> left{0};  // the failing allocation takes it from 1 to 0
  std::atomic<bool> armed{false};
  std::atomic<bool> failAllSince{false};
  std::atomic<bool> failed{false};

  [[nodiscard]] bool FailsNow() {
    if (!armed) {
      return false;
    }
    const std::int64_t before = left.fetch_sub(1);
    const bool fails = failAllSince ? before <= 1 : before == 1;
    if (fails) {
      failed = true;
    }
    return fails;
  }
};

constinit sCountdown mallocCountdown;
constinit sCountdown newCountdown;
constinit std::atomic<std::int64_t> liveNewAllocations{0};
constinit std::atomic<cFreeObserver::Observer> freeObserver{nullptr};

[[nodiscard]] sCountdown& CountdownOf(eHeap heap) {
  return heap == eHeap::Malloc ? mallocCountdown : newCountdown;
}

}  // namespace

void* AllocateNew(std::size_t size) {
  if (newCountdown.FailsNow()) {
    return nullptr;
  }
  void* const block = __real_malloc(size == 0 ? 1 : size);
  if (block != nullptr) {
    ++liveNewAllocations;
  }
  return block;
}

void* AllocateNewOrThrow(std::size_t size) {
  void* const block = AllocateNew(size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

void FreeNew(void* block) {
  if (block == nullptr) {
    return;
  }
  --liveNewAllocations;
  __real_free(block);
}

// An over-aligned block lies within a larger one, whose start is kept right before it.
void* AllocateAligned(std::size_t size, std::align_val_t alignment) {
  const auto step = static_cast<std::size_t>(alignment);
  void* const whole = AllocateNew(size + step + sizeof(void*));
  if (whole == nullptr) {
    return nullptr;
  }
  const auto earliest = reinterpret_cast<std::uintptr_t>(whole) + sizeof(void*);
  auto* const block = reinterpret_cast<void**>((earliest + step - 1) / step * step);
  block[-1] = whole;
  return block;
}

void* AllocateAlignedOrThrow(std::size_t size, std::align_val_t alignment) {
  void* const block = AllocateAligned(size, alignment);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

void FreeAligned(void* block) {
  if (block != nullptr) {
    FreeNew(static_cast<void**>(block)[-1]);
  }
}

cAllocationFailure::cAllocationFailure(eHeap from, std::uint32_t nth, eFailures failures)
    : heap(from) {
  sCountdown& countdown = CountdownOf(heap);
  countdown.left = nth;
  countdown.failAllSince = failures == eFailures::AllSince;
  countdown.failed = false;
  countdown.armed = true;
}

cAllocationFailure::~cAllocationFailure() { Disarm(); }

bool cAllocationFailure::Disarm() {
  sCountdown& countdown = CountdownOf(heap);
  countdown.armed = false;
  return countdown.failed;
}

std::int64_t LiveNewAllocations() { return liveNewAllocations; }

cFreeObserver::cFreeObserver(Observer observer) { freeObserver = observer; }

cFreeObserver::~cFreeObserver() { freeObserver = nullptr; }

}  // namespace corvane

void* __wrap_malloc(std::size_t size) {
  return corvane::mallocCountdown.FailsNow() ? nullptr : __real_malloc(size);
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
  return corvane::mallocCountdown.FailsNow() ? nullptr : __real_calloc(count, size);
}

void __wrap_free(void* block) {
  const corvane::cFreeObserver::Observer observer = corvane::freeObserver;
  if (observer != nullptr && block != nullptr) {
    observer(block);
  }
  __real_free(block);
}
