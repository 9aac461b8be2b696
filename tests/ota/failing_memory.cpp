#include "ota/failing_memory.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>

extern "C" void* __real_malloc(std::size_t size);
extern "C" void* __wrap_malloc(std::size_t size);

namespace corvane {
namespace {

struct sPlan {
  bool isActive = false;
  int asked = 0;
  int failing = 0;
  bool later = false;
};
sPlan plan;

bool Fails() {
  if (!plan.isActive) return false;
  const int number = plan.asked++;
  return number == plan.failing || (plan.later && number > plan.failing);
}

// The block's own address stands right in front of the aligned one.
void* AlignedNew(std::size_t size, std::size_t alignment) {
  if (Fails()) throw std::bad_alloc();
  void* block = __real_malloc(size + alignment + sizeof(void*));
  if (block == nullptr) throw std::bad_alloc();
  const auto start = reinterpret_cast<std::uintptr_t>(block) + sizeof(void*);
  const std::uintptr_t aligned = (start + alignment - 1) / alignment * alignment;
  reinterpret_cast<void**>(aligned)[-1] = block;
  return reinterpret_cast<void*>(aligned);
}

void AlignedDelete(void* aligned) {
  if (aligned != nullptr) std::free(static_cast<void**>(aligned)[-1]);
}

void* PlainNew(std::size_t size) { return Fails() ? nullptr : __real_malloc(size); }

}  // namespace

cFailingMemory::cFailingMemory(int failing, eWhich which) {
  plan = {
      .isActive = true, .asked = 0, .failing = failing, .later = which == eWhich::ThatAndAllLater};
}

cFailingMemory::~cFailingMemory() { plan = {}; }

int cFailingMemory::Asked() const { return plan.asked; }

}  // namespace corvane

void* __wrap_malloc(std::size_t size) { return corvane::Fails() ? nullptr : __real_malloc(size); }

void* operator new(std::size_t size) {
  void* block = corvane::PlainNew(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return corvane::PlainNew(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return corvane::AlignedNew(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete(void* block, std::align_val_t) noexcept { corvane::AlignedDelete(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
  corvane::AlignedDelete(block);
}
