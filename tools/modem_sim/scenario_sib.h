#pragma once

#include "modem_sim/scenario_mixed.h"
#include "modem_sim/sib_broadcast.h"

namespace corvane::modem_sim {

// Broadcast system information of a WCDMA cell as the over-the-air log shows it: blocks cut into
// segments, interleaved over SIB types, bearers and both channels, with losses, repetitions and
// segments out of order, in all ten combinations of a message. In between comes what else the masks
// allow, as in the mixed scenario. While the masks leave 0x412F off it is the mixed scenario.
//
// Each packet tells which blocks it completes at the host, taken from the blocks that were cut up.
class cSibScenario final : public cScenario {
 public:
  explicit cSibScenario(const sStreamOptions& options);

  [[nodiscard]] bool CanSend(const cMasks& masks) const override;
  [[nodiscard]] sStreamPacket Make(std::uint64_t number, bool delivered,
                                   const cMasks& masks) override;
  void HostGone() override { broadcast.HostGone(); }

 private:
  std::uint64_t seed;
  cMixedScenario others;
  cSibBroadcast broadcast;
};

}  // namespace corvane::modem_sim
