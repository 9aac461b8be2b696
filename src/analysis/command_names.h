#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "describe/description.h"

namespace corvane {

// What a request, a reply or another packet of the modem is about, in the field's words: "version",
// "log mask", "subsystem 0x0F command 0x0000", "bad length" of a refusal, "request 0x29" and
// "packet 0x29" where the code is all that there is. `packet` is not empty.
[[nodiscard]] std::string CommandWords(std::span<const std::uint8_t> packet, eSender sender);

// The same for a request, as far as it tells two requests apart: "version", "log mask, equipment ID
// 1", "message level, SSID 5", "event report, on".
[[nodiscard]] std::string RequestName(std::span<const std::uint8_t> packet);

}  // namespace corvane
