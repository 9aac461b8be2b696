#include <cstddef>
#include <new>

#include "support/failing_new.h"

// The operators of the whole program, replaced as the language allows it.

void* operator new(std::size_t size) { return corvane::AllocateNewOrThrow(size); }
void* operator new[](std::size_t size) { return corvane::AllocateNewOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return corvane::AllocateNew(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return corvane::AllocateNew(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return corvane::AllocateAlignedOrThrow(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return corvane::AllocateAlignedOrThrow(size, alignment);
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return corvane::AllocateAligned(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return corvane::AllocateAligned(size, alignment);
}
void operator delete(void* block) noexcept { corvane::FreeNew(block); }
void operator delete[](void* block) noexcept { corvane::FreeNew(block); }
void operator delete(void* block, std::size_t) noexcept { corvane::FreeNew(block); }
void operator delete[](void* block, std::size_t) noexcept { corvane::FreeNew(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { corvane::FreeNew(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { corvane::FreeNew(block); }
void operator delete(void* block, std::align_val_t) noexcept { corvane::FreeAligned(block); }
void operator delete[](void* block, std::align_val_t) noexcept { corvane::FreeAligned(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
  corvane::FreeAligned(block);
}
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept {
  corvane::FreeAligned(block);
}
void operator delete(void* block, std::align_val_t, const std::nothrow_t&) noexcept {
  corvane::FreeAligned(block);
}
void operator delete[](void* block, std::align_val_t, const std::nothrow_t&) noexcept {
  corvane::FreeAligned(block);
}
