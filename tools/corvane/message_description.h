#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace corvane::tools {

// Describes a debug message packet (commands 0x1F, 0x79, 0x92).
[[nodiscard]] std::string DescribeMessage(std::span<const std::uint8_t> packet);

}  // namespace corvane::tools
