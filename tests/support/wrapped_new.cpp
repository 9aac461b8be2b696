#include <cstddef>
#include <new>

#include "support/failing_new.h"

// ThreadSanitizer's run-time library brings operators that cannot be replaced. Here the linker's
// --wrap leads the calls away from them, by their mangled names.

extern "C" {
void* __wrap__Znwm(std::size_t size);
void* __wrap__Znam(std::size_t size);
void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t&);
void* __wrap__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t&);
void* __wrap__ZnwmSt11align_val_t(std::size_t size, std::align_val_t alignment);
void* __wrap__ZnamSt11align_val_t(std::size_t size, std::align_val_t alignment);
void* __wrap__ZnwmSt11align_val_tRKSt9nothrow_t(std::size_t size, std::align_val_t alignment,
                                                const std::nothrow_t&);
void* __wrap__ZnamSt11align_val_tRKSt9nothrow_t(std::size_t size, std::align_val_t alignment,
                                                const std::nothrow_t&);
void __wrap__ZdlPv(void* block);
void __wrap__ZdaPv(void* block);
void __wrap__ZdlPvm(void* block, std::size_t);
void __wrap__ZdaPvm(void* block, std::size_t);
void __wrap__ZdlPvRKSt9nothrow_t(void* block, const std::nothrow_t&);
void __wrap__ZdaPvRKSt9nothrow_t(void* block, const std::nothrow_t&);
void __wrap__ZdlPvSt11align_val_t(void* block, std::align_val_t);
void __wrap__ZdaPvSt11align_val_t(void* block, std::align_val_t);
void __wrap__ZdlPvmSt11align_val_t(void* block, std::size_t, std::align_val_t);
void __wrap__ZdaPvmSt11align_val_t(void* block, std::size_t, std::align_val_t);
void __wrap__ZdlPvSt11align_val_tRKSt9nothrow_t(void* block, std::align_val_t,
                                                const std::nothrow_t&);
void __wrap__ZdaPvSt11align_val_tRKSt9nothrow_t(void* block, std::align_val_t,
                                                const std::nothrow_t&);

void* __wrap__Znwm(std::size_t size) { return corvane::AllocateNewOrThrow(size); }
void* __wrap__Znam(std::size_t size) { return corvane::AllocateNewOrThrow(size); }
void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t&) {
  return corvane::AllocateNew(size);
}
void* __wrap__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t&) {
  return corvane::AllocateNew(size);
}
void* __wrap__ZnwmSt11align_val_t(std::size_t size, std::align_val_t alignment) {
  return corvane::AllocateAlignedOrThrow(size, alignment);
}
void* __wrap__ZnamSt11align_val_t(std::size_t size, std::align_val_t alignment) {
  return corvane::AllocateAlignedOrThrow(size, alignment);
}
void* __wrap__ZnwmSt11align_val_tRKSt9nothrow_t(std::size_t size, std::align_val_t alignment,
                                                const std::nothrow_t&) {
  return corvane::AllocateAligned(size, alignment);
}
void* __wrap__ZnamSt11align_val_tRKSt9nothrow_t(std::size_t size, std::align_val_t alignment,
                                                const std::nothrow_t&) {
  return corvane::AllocateAligned(size, alignment);
}
void __wrap__ZdlPv(void* block) { corvane::FreeNew(block); }
void __wrap__ZdaPv(void* block) { corvane::FreeNew(block); }
void __wrap__ZdlPvm(void* block, std::size_t) { corvane::FreeNew(block); }
void __wrap__ZdaPvm(void* block, std::size_t) { corvane::FreeNew(block); }
void __wrap__ZdlPvRKSt9nothrow_t(void* block, const std::nothrow_t&) { corvane::FreeNew(block); }
void __wrap__ZdaPvRKSt9nothrow_t(void* block, const std::nothrow_t&) { corvane::FreeNew(block); }
void __wrap__ZdlPvSt11align_val_t(void* block, std::align_val_t) { corvane::FreeAligned(block); }
void __wrap__ZdaPvSt11align_val_t(void* block, std::align_val_t) { corvane::FreeAligned(block); }
void __wrap__ZdlPvmSt11align_val_t(void* block, std::size_t, std::align_val_t) {
  corvane::FreeAligned(block);
}
void __wrap__ZdaPvmSt11align_val_t(void* block, std::size_t, std::align_val_t) {
  corvane::FreeAligned(block);
}
void __wrap__ZdlPvSt11align_val_tRKSt9nothrow_t(void* block, std::align_val_t,
                                                const std::nothrow_t&) {
  corvane::FreeAligned(block);
}
void __wrap__ZdaPvSt11align_val_tRKSt9nothrow_t(void* block, std::align_val_t,
                                                const std::nothrow_t&) {
  corvane::FreeAligned(block);
}
}
