#pragma once

#include <cstdint>

namespace corvane {

// The Win32 error codes by which the library reports results, on every platform.
inline constexpr std::uint32_t kErrorSuccess = 0;
inline constexpr std::uint32_t kErrorNotEnoughMemory = 8;
inline constexpr std::uint32_t kErrorInvalidBlock = 9;
inline constexpr std::uint32_t kErrorInvalidParameter = 87;
inline constexpr std::uint32_t kErrorBadArguments = 160;

}  // namespace corvane
