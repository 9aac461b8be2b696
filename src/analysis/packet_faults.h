#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace corvane {

// What contradicts an item's type in its packet, as it goes on behind "item 17": "has type 5, and
// its packet begins with command 16". Nothing where the recorder can have written it. `type` is one
// that items have; `packet` is not empty.
[[nodiscard]] std::optional<std::string> FindPacketFault(std::uint32_t type,
                                                         std::span<const std::uint8_t> packet);

// The same for the extra field of a signalling log, other than 0xFFFFFFFF.
[[nodiscard]] std::optional<std::string> FindExtraFault(std::uint32_t extra,
                                                        std::span<const std::uint8_t> packet);

}  // namespace corvane
