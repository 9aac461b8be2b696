#pragma once

#include <cstddef>
#include <new>

namespace corvane {

// What stands behind operator new and delete in a program that links corvane_failing_allocation.
// The two forms of allocation differ in how they fail: with null, or with std::bad_alloc.
[[nodiscard]] void* AllocateNew(std::size_t size);
[[nodiscard]] void* AllocateNewOrThrow(std::size_t size);
void FreeNew(void* block);

// The same for alignments beyond that of malloc.
[[nodiscard]] void* AllocateAligned(std::size_t size, std::align_val_t alignment);
[[nodiscard]] void* AllocateAlignedOrThrow(std::size_t size, std::align_val_t alignment);
void FreeAligned(void* block);

}  // namespace corvane
