#pragma once

#include "modem_sim/scenario.h"

namespace corvane::modem_sim {

// Log packets, event reports and debug messages in turn, as the masks allow, of all sizes. Packets
// of the over-the-air log (0x412F) are well-formed and carry signalling other than broadcast system
// information, so that a recorder has no block to put together.
class cMixedScenario final : public cScenario {
 public:
  explicit cMixedScenario(const sStreamOptions& options);

  [[nodiscard]] bool CanSend(const cMasks& masks) const override;
  [[nodiscard]] sStreamPacket Make(std::uint64_t number, bool delivered,
                                   const cMasks& masks) override;

 private:
  [[nodiscard]] sStreamPacket MakeLog(std::uint64_t number, cRandom& random,
                                      const std::vector<std::uint16_t>& codes) const;
  [[nodiscard]] sStreamPacket MakeEvents(std::uint64_t number, cRandom& random,
                                         const std::vector<std::uint16_t>& ids) const;
  [[nodiscard]] sStreamPacket MakeMessage(std::uint64_t number, cRandom& random,
                                          const std::vector<sMessageSource>& sources) const;
  // The log codes that are switched on and chosen by the options.
  [[nodiscard]] std::vector<std::uint16_t> SendableCodes(const cMasks& masks) const;
  [[nodiscard]] std::size_t PayloadSize(cRandom& random) const;

  sStreamOptions options;
};

// The modem's virtual clock at a packet, with a random fraction of a unit.
[[nodiscard]] std::uint64_t PacketTime(std::uint64_t number, cRandom& random);

}  // namespace corvane::modem_sim
