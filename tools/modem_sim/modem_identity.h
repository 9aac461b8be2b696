#pragma once

#include <optional>

#include "modem_sim/diag_packets.h"

// What the simulated modem says of itself: the answers that depend on no mask.
namespace corvane::modem_sim {

// The answer to a request that is its command byte alone (0x00, 0x0C, 0x1C, 0x1D, 0x63, 0x7C).
// Nothing for any other command. `time` is the DIAG time that 0x1D tells.
[[nodiscard]] std::optional<Bytes> IdentityAnswer(std::uint8_t command, std::uint64_t time);

// The answer to a subsystem request (0x4B): its four bytes and the subsystem's report. Nothing for
// a subsystem or command that this modem does not have. `request` holds at least 4 bytes.
[[nodiscard]] std::optional<Bytes> SubsystemAnswer(ByteView request);

// The subsystem IDs (first and last) for which this modem has debug messages.
struct sSsidRange {
  std::uint16_t first;
  std::uint16_t last;
};
[[nodiscard]] const std::vector<sSsidRange>& SsidRanges();

}  // namespace corvane::modem_sim
