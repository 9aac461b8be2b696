#pragma once

#include <cstdint>
#include <span>

#include "describe/description.h"

// What the payloads of log packets hold. Each function takes what is behind the log header, fills
// what the payload tells into `description`, whose log code and names are there already, and leaves
// the rest as it is. A payload of an unknown version or that is too short is described as far as it
// is sure. False when the log code is none of the function's.
namespace corvane {

// Logs that carry signalling messages: `signalling`, `technology`, `version` and `cell`.
[[nodiscard]] bool DescribeSignallingLog(std::uint16_t logCode,
                                         std::span<const std::uint8_t> payload,
                                         sDescription& description);

// Logs that tell of cells and states: `cell`, `technology`, `version` and `details`.
[[nodiscard]] bool DescribeCellLog(std::uint16_t logCode, std::span<const std::uint8_t> payload,
                                   sDescription& description);

}  // namespace corvane
