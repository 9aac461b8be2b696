#pragma once

#include <optional>

#include "modem_sim/diag_packets.h"
#include "modem_sim/masks.h"

namespace corvane::modem_sim {

// The side of the modem that answers. It keeps the masks that the host sets.
//
// Understood are the version, status and state requests, the subsystem requests that a host starts
// with, event reporting (0x60), and setting and reading back log masks (0x73), event masks (0x81,
// 0x82) and message levels (0x7D). An answer repeats the command and what it set.
class cModem {
 public:
  // The answer to one request, which holds at least one byte. Every request has exactly one:
  // 0x13 with the request behind it for an unknown command, 0x14 for a known one with values that
  // make no sense, 0x15 for a wrong length.
  //
  // `time` is the DIAG time of the modem's clock.
  [[nodiscard]] Bytes Answer(ByteView request, std::uint64_t time);

  [[nodiscard]] const cMasks& Masks() const { return masks; }

  // Forgets the masks: the host has gone.
  void Forget() { masks.Clear(); }

 private:
  [[nodiscard]] Bytes AnswerLogMask(ByteView request);
  [[nodiscard]] Bytes AnswerSetLogMask(ByteView request);
  [[nodiscard]] Bytes AnswerGetLogMask(ByteView request) const;
  [[nodiscard]] Bytes AnswerSetEventMask(ByteView request);
  [[nodiscard]] Bytes AnswerMessageLevels(ByteView request);
  [[nodiscard]] Bytes AnswerSetLevels(ByteView request);
  [[nodiscard]] Bytes AnswerGetLevels(ByteView request) const;
  [[nodiscard]] Bytes AnswerSetAllLevels(ByteView request);

  cMasks masks;
};

// What the modem says of itself: its answers that depend on no mask.

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
