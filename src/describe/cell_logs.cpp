#include "describe/log_packets.h"

namespace corvane {

bool DescribeCellLog(std::uint16_t, std::span<const std::uint8_t>, sDescription&) { return false; }

}  // namespace corvane
