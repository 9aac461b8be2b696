#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

#include "diag/shared_buffer.h"
#include "support/replaced_call.h"

namespace corvane::test {

// While it lives, the `nth` block (from 1) that is taken from BlockHeap() first has `action` run,
// once, by the thread that takes it and with the locks that this one holds. So a test gets between
// two steps of the code under test. There is at most one at a time.
class cAtAllocation {
 public:
  cAtAllocation(std::uint32_t nth, std::function<void()> action)
      : left(nth), run(std::move(action)), allocate(BlockHeap().allocate) {
    present = this;
    replaced.emplace(BlockHeap().allocate, Allocate);
  }
  ~cAtAllocation() {
    replaced.reset();
    present = nullptr;
  }
  cAtAllocation(const cAtAllocation&) = delete;
  cAtAllocation& operator=(const cAtAllocation&) = delete;

  // Whether the action has begun.
  [[nodiscard]] bool HasCome() const { return left <= 0; }

 private:
  static void* Allocate(std::size_t size) {
    if (present->left.fetch_sub(1) == 1) {
      present->run();
    }
    return present->allocate(size);
  }

  static inline cAtAllocation* present = nullptr;
  std::atomic<std::int64_t> left;
  std::function<void()> run;
  void* (*allocate)(std::size_t size);
  std::optional<cReplacedCall<decltype(sBlockHeap::allocate)>> replaced;
};

}  // namespace corvane::test
