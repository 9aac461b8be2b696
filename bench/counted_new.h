#pragma once

#include <cstddef>
#include <cstdint>

namespace corvane::bench {

// How often operator new, which is replaced, and CountedAllocate were called.
[[nodiscard]] std::uint64_t Allocations();

// malloc, counted. For the heap that the library's blocks come from.
[[nodiscard]] void* CountedAllocate(std::size_t size);

}  // namespace corvane::bench
