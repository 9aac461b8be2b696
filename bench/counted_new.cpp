// In a file of its own: where the compiler sees both sides of a replaced operator, it warns of
// them.
#include "bench/counted_new.h"

#include <cstdlib>
#include <new>

namespace corvane::bench {
namespace {

std::uint64_t allocations = 0;

}  // namespace

std::uint64_t Allocations() { return allocations; }

void* CountedAllocate(std::size_t size) {
  ++allocations;
  return std::malloc(size);
}

}  // namespace corvane::bench

void* operator new(std::size_t size) {
  void* const block = corvane::bench::CountedAllocate(size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return corvane::bench::CountedAllocate(size);
}

void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
