#pragma once

#include <cstdint>

// Makes memory run out on purpose, and looks at what is given back.
//
// A test program that links corvane_failing_allocation has its blocks of BlockHeap() come and go
// through here, and every operator new and delete (they are replaced). What the C++ run-time
// library allocates counts too, so a test does not rely on the number of an allocation: it tries
// one after the other until a run no longer meets the failure.
//
//   for (std::uint32_t nth = 1;; ++nth) {
//     cAllocationFailure failure(eHeap::Blocks, nth);
//     const OwnedBuffer made = FramePacket(&packet);
//     if (!failure.Disarm()) break;   // everything was tried: this run met no failure
//     EXPECT_EQ(made, nullptr) << "allocation " << nth;
//   }
//
// All threads count, so arm a failure only while no other thread runs that has no part in it, and
// disarm it before the first assertion: GoogleTest allocates too.
namespace corvane {

enum class eHeap {
  Blocks,  // BlockHeap(): the bytes of buffers and the like
  New,     // operator new in all its forms; the throwing ones throw std::bad_alloc
};

enum class eFailures {
  One,      // the chosen allocation only
  AllSince  // that one and all that follow, until the failure is disarmed
};

// While it lives, the `nth` allocation (from 1) from `heap` since it was made fails. There is at
// most one for each heap at a time.
class cAllocationFailure {
 public:
  explicit cAllocationFailure(eHeap heap, std::uint32_t nth, eFailures failures = eFailures::One);
  ~cAllocationFailure();
  cAllocationFailure(const cAllocationFailure&) = delete;
  cAllocationFailure& operator=(const cAllocationFailure&) = delete;

  // Lets allocations succeed again. Returns whether one was made to fail.
  bool Disarm();

 private:
  eHeap heap;
};

// How many blocks of operator new are not deleted yet, in the whole program. Compare two readings.
[[nodiscard]] std::int64_t LiveNewAllocations();

// The same for the blocks of BlockHeap().
[[nodiscard]] std::int64_t LiveBlocks();

// While it lives, `observer` sees every block that is about to go back to BlockHeap(), with its
// content still intact. It runs on the thread that frees, allocates and frees nothing itself, and
// never sees what operator delete gives back. There is at most one at a time.
class cFreeObserver {
 public:
  using Observer = void (*)(const void* block);

  explicit cFreeObserver(Observer observer);
  ~cFreeObserver();
  cFreeObserver(const cFreeObserver&) = delete;
  cFreeObserver& operator=(const cFreeObserver&) = delete;
};

}  // namespace corvane
