#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace mbn_stand_in {

using tBytes = std::vector<std::uint8_t>;

// The modem's end of the DIAG framing: 0x7D stuffing, CRC-16/X.25 low byte first, closing 0x7E.
[[nodiscard]] tBytes Frame(const tBytes& packet);

// The packet in a frame that the client sent. Empty when it is no good frame.
[[nodiscard]] tBytes Unframe(const tBytes& frame);

// "7d01FF" as bytes. Throws std::invalid_argument for any other text.
[[nodiscard]] tBytes BytesFromHex(const std::string& text);
[[nodiscard]] std::string HexFromBytes(const tBytes& bytes);

}  // namespace mbn_stand_in
