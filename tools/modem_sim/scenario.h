#pragma once

#include <array>
#include <memory>
#include <optional>

#include "modem_sim/masks.h"
#include "modem_sim/random.h"
#include "modem_sim/sib_broadcast.h"

namespace corvane::modem_sim {

// What a segmented system-information message carried (sib_message.h).
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

// Log packets, event reports and debug messages in turn, as the masks allow, of all sizes. Packets
// of the over-the-air log (0x412F) are well-formed and carry signalling other than broadcast system
// information, so that a recorder has no block to put together.
class cMixedScenario final : public cScenario {
 public:
  explicit cMixedScenario(sStreamOptions options);

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

// `name` is "mixed" or "sib"; null for any other.
[[nodiscard]] std::unique_ptr<cScenario> MakeScenario(const std::string& name,
                                                      const sStreamOptions& options);

// The modem's virtual clock at a packet, with a random fraction of a unit.
[[nodiscard]] std::uint64_t PacketTime(std::uint64_t number, cRandom& random);

}  // namespace corvane::modem_sim
