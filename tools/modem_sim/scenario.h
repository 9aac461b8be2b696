#pragma once

#include <array>
#include <memory>
#include <optional>

#include "modem_sim/masks.h"
#include "modem_sim/random.h"

namespace corvane::modem_sim {

// What a segmented system-information message carried; see scenario_sib.h.
struct sSibNote {
  std::uint8_t channel = 0;
  std::uint8_t bearer = 0;
  unsigned choice = 0;
};

// One packet of the stream, with what a recorder is expected to make of it.
struct sStreamPacket {
  std::string kind;  // "log", "event" or "message"
  Bytes packet;
  std::vector<Bytes> events;  // of an event report: each event as a packet of its own
  std::vector<Bytes> blocks;  // the blocks that this packet completes, their time stamps zero
  std::optional<sSibNote> sib;
};

// How the stream is composed.
struct sStreamOptions {
  std::uint64_t seed = 1;
  // How often each kind is sent where several are switched on.
  unsigned logWeight = 70;
  unsigned eventWeight = 15;
  unsigned messageWeight = 15;
  // How often a log packet is small (to 64 bytes of payload), medium (to 1024), or large.
  std::array<unsigned, 3> sizeWeights = {70, 25, 5};
  // Only these log codes are sent, as far as they are switched on; all that are when it is empty.
  std::vector<std::uint16_t> logCodes;
  // No frame is longer. A recorder reads a serial port into 8192 bytes, which also hold the flag
  // that ended the frame before.
  std::size_t maxFrame = 8191;
  // How many of the system-information messages are lost on the air, and never reach the log.
  double sibLoss = 5;
};

// Makes the packets of the stream. What comes out depends on the options, the number and the masks,
// and in a scenario that tells a story on the packets before it: never on the clock.
class cScenario {
 public:
  cScenario() = default;
  virtual ~cScenario() = default;
  cScenario(const cScenario&) = delete;
  cScenario& operator=(const cScenario&) = delete;

  // Whether these masks allow any packet of this scenario.
  [[nodiscard]] virtual bool CanSend(const cMasks& masks) const = 0;

  // The packet with this number, which counts up over the whole run. CanSend(masks) holds.
  // `delivered` is false when the packet will reach the host damaged: what it carries is then lost,
  // and the story has to go on accordingly.
  [[nodiscard]] virtual sStreamPacket Make(std::uint64_t number, bool delivered,
                                           const cMasks& masks) = 0;

  // The host has gone: packets that were made may not have reached it, and a new one knows nothing
  // of what was told before.
  virtual void HostGone() {}
};

// `name` is "mixed" or "sib"; null for any other.
[[nodiscard]] std::unique_ptr<cScenario> MakeScenario(const std::string& name,
                                                      const sStreamOptions& options);

}  // namespace corvane::modem_sim
