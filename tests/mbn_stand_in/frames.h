#pragma once

#include <string>

#include "support/bytes.h"

namespace mbn_stand_in {

using corvane::ByteVector;

// The modem's end of the DIAG framing: 0x7D stuffing, CRC-16/X.25 low byte first, closing 0x7E.
[[nodiscard]] ByteVector Frame(const ByteVector& packet);

// The packet in a frame that the client sent. Empty when it is no good frame.
[[nodiscard]] ByteVector Unframe(const ByteVector& frame);

// "7d01FF" as bytes. Throws std::invalid_argument for any other text.
[[nodiscard]] ByteVector BytesFromHex(const std::string& text);
[[nodiscard]] std::string HexFromBytes(const ByteVector& bytes);

}  // namespace mbn_stand_in
