#pragma once

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

}  // namespace corvane::modem_sim
