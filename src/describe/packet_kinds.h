#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "describe/description.h"

// What packets hold that are no logs, kind by kind. Each function takes a whole packet of its kind,
// not empty, and fills what it tells into `description`, its sort included.
namespace corvane {

// A report of any number of events (0x60, 0x74). A short time stands for bits 8 to 23 of the time
// before it; without one before it, an event has no time.
void DescribeEventReport(std::span<const std::uint8_t> packet, sDescription& description);

// A debug message: 0x1F, 0x79, 0x92, 0x99.
void DescribeDebugMessage(std::span<const std::uint8_t> packet, sDescription& description);

// A request to the modem, of any command.
void DescribeRequest(std::span<const std::uint8_t> packet, sDescription& description);

// Any other packet of the modem: a reply, where its command is known.
void DescribeReply(std::span<const std::uint8_t> packet, sDescription& description);

// What a command is about, as the middle of "... request" and "... reply": "log mask". Empty for a
// command that is not known here.
[[nodiscard]] std::string_view CommandName(std::uint8_t command);

}  // namespace corvane
