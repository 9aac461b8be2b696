#include "support/failing_allocation.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "diag/shared_buffer.h"
#include "support/failing_new.h"
#include "support/replaced_call.h"

namespace corvane {
namespace {

// Counts the allocations of one heap down to the one that fails. All of it is there before the
// first allocation of the program, made at compile time.
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

constinit sCountdown blockCountdown;
constinit sCountdown newCountdown;
constinit std::atomic<std::int64_t> liveNewAllocations{0};
constinit std::atomic<std::int64_t> liveBlocks{0};
constinit std::atomic<cFreeObserver::Observer> freeObserver{nullptr};

void* AllocateUnlessFailing(std::size_t size) {
  if (blockCountdown.FailsNow()) {
    return nullptr;
  }
  void* const block = std::malloc(size);
  if (block != nullptr) {
    ++liveBlocks;
  }
  return block;
}

void ShowAndFree(void* block) {
  const cFreeObserver::Observer observer = freeObserver;
  if (observer != nullptr) {
    observer(block);
  }
  if (block != nullptr) {
    --liveBlocks;
  }
  std::free(block);
}

// From here to the end of the program.
const cReplacedCall allocation(BlockHeap().allocate, AllocateUnlessFailing);
const cReplacedCall release(BlockHeap().free, ShowAndFree);

[[nodiscard]] sCountdown& CountdownOf(eHeap heap) {
  return heap == eHeap::Blocks ? blockCountdown : newCountdown;
}

}  // namespace

void* AllocateNew(std::size_t size) {
  if (newCountdown.FailsNow()) {
    return nullptr;
  }
  void* const block = std::malloc(size == 0 ? 1 : size);
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
  std::free(block);
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

std::int64_t LiveBlocks() { return liveBlocks; }

cFreeObserver::cFreeObserver(Observer observer) { freeObserver = observer; }

cFreeObserver::~cFreeObserver() { freeObserver = nullptr; }

}  // namespace corvane
