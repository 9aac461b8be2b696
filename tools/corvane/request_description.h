#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace corvane::tools {

// Describes a request that the library sent: "log mask request, equipment ID 1, 12 log codes".
[[nodiscard]] std::string DescribeRequest(std::span<const std::uint8_t> packet);

// Describes a packet of the device that is no log, event or message: "log mask reply".
[[nodiscard]] std::string DescribeReply(std::span<const std::uint8_t> packet);

}  // namespace corvane::tools
