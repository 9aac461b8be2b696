#pragma once

#include <cstdint>
#include <vector>

namespace corvane {

// The bytes of a packet, a file or a frame, as tests write them down and compare them.
using ByteVector = std::vector<std::uint8_t>;

}  // namespace corvane
