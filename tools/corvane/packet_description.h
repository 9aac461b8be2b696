#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

// What DIAG packets are, in a few words and without a line break. Any bytes have a description: a
// packet that is not as its command promises is described by as much as can be told.
namespace corvane::tools {

// What a DIAG command is about, as the middle of "... request" and "... reply": "log mask". Nothing
// for a command that is not known here.
[[nodiscard]] std::optional<std::string_view> CommandName(std::uint8_t command);

// Describes a request that the library sent: "log mask request, equipment ID 1, 12 log codes".
[[nodiscard]] std::string DescribeRequest(std::span<const std::uint8_t> packet);

// Describes a packet of the device that is no log, event or message: "log mask reply".
[[nodiscard]] std::string DescribeReply(std::span<const std::uint8_t> packet);

// Describes a debug message packet (commands 0x1F, 0x79, 0x92).
[[nodiscard]] std::string DescribeMessage(std::span<const std::uint8_t> packet);

}  // namespace corvane::tools
