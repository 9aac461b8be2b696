#pragma once

#include <array>
#include <memory>
#include <optional>
#include <vector>

#include "modem_sim/diag_packets.h"
#include "modem_sim/masks.h"
#include "modem_sim/random.h"
#include "modem_sim/sib_broadcast.h"
#include "modem_sim/signalling/story.h"

namespace corvane::modem_sim {

// What a segmented system-information message carried (sib_message.h).
struct sSibNote {
  std::uint8_t channel = 0;
  std::uint8_t bearer = 0;
  unsigned choice = 0;
};

// The packet in a wrapper, and the subscription that it is of, counted from 1.
struct sWrapped {
  std::uint32_t subscription = 1;
  Bytes packet;
};

// One packet of the stream, with what a recorder is expected to make of it.
struct sStreamPacket {
  std::string kind;  // "log", "event" or "message"
  Bytes packet;
  std::vector<Bytes> events;  // of an event report: each event as a packet of its own
  std::vector<Bytes> blocks;  // the blocks that this packet completes, their time stamps zero
  std::optional<sSibNote> sib;
  // Of the signalling scenario: the message that this packet holds, and what it completes.
  std::optional<sShownMessage> message = std::nullopt;
  std::optional<sShownMessage> completes = std::nullopt;
  // What is in `packet`, where that is the wrapper of a modem with several SIMs. All that the
  // others tell is of the packet inside.
  std::optional<sWrapped> wrapped = std::nullopt;
};

// How the stream is composed.
struct sStreamOptions {
  std::uint64_t seed = 1;
  // The modem's clock at packet 0 (diag_packets.h).
  std::uint64_t clockStart = kClockStart;
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
  // How many SIMs the modem has. With more than one, each log packet comes in a wrapper that tells
  // its subscription.
  std::uint32_t subscriptions = 1;
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

  // An event report with one or several of `ids`, and a message of one of `sources`.
  [[nodiscard]] sStreamPacket MakeEvents(std::uint64_t number, cRandom& random,
                                         const std::vector<std::uint16_t>& ids) const;
  [[nodiscard]] sStreamPacket MakeMessage(std::uint64_t number, cRandom& random,
                                          const std::vector<sMessageSource>& sources) const;

 private:
  [[nodiscard]] sStreamPacket MakeLog(std::uint64_t number, cRandom& random,
                                      const std::vector<std::uint16_t>& codes) const;
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
  sStreamOptions options;
  cMixedScenario others;
  cSibBroadcast broadcast;
};

// A story of signalling on GSM, WCDMA, LTE and NR, told over and over (signalling/story.h): of its
// log packets those that the masks and the options allow, in between the events and messages that
// do. Log codes that the story has no packet of are not sent.
//
// Each packet tells which message it holds or completes. A new host hears the story from the start.
class cSignallingScenario final : public cScenario {
 public:
  explicit cSignallingScenario(const sStreamOptions& options);

  [[nodiscard]] bool CanSend(const cMasks& masks) const override;
  [[nodiscard]] sStreamPacket Make(std::uint64_t number, bool delivered,
                                   const cMasks& masks) override;
  void HostGone() override;

 private:
  [[nodiscard]] bool IsLogAllowed(std::uint16_t code, const cMasks& masks) const;
  [[nodiscard]] bool IsEventAllowed(std::uint16_t id, const cMasks& masks) const;
  // Whether any step of the story is allowed.
  [[nodiscard]] bool CanTell(const cMasks& masks) const;
  // The events that are on and happen by chance: those of the story have a time and a payload.
  [[nodiscard]] std::vector<std::uint16_t> OtherEvents(const cMasks& masks) const;
  // The next step that is allowed, which there must be.
  [[nodiscard]] const sStoryStep& NextStep(const cMasks& masks);
  [[nodiscard]] sStreamPacket Tell(const sStoryStep& step, std::uint64_t time, bool delivered);
  void BeginCycle(unsigned next);

  sStreamOptions options;
  cMixedScenario others;
  std::vector<std::uint16_t> toldLogs;    // the log codes of the story
  std::vector<std::uint16_t> toldEvents;  // the IDs of its events
  unsigned cycle = 0;
  Story story;
  std::size_t place = 0;   // of the next step
  unsigned lostParts = 0;  // sStoryStep::parts of the last part that was lost
};

// A modem with several SIMs: a scenario of its own for each, which take turns at random. Log
// packets come in wrappers (0x98), everything else as it is. Subscription 1 is sometimes told as 0
// or as all ones, which mean the same.
class cSubscriptionsScenario final : public cScenario {
 public:
  // One for each SIM.
  explicit cSubscriptionsScenario(std::uint64_t seed,
                                  std::vector<std::unique_ptr<cScenario>> scenariosOfSims);

  [[nodiscard]] bool CanSend(const cMasks& masks) const override;
  [[nodiscard]] sStreamPacket Make(std::uint64_t number, bool delivered,
                                   const cMasks& masks) override;
  void HostGone() override;

 private:
  const std::uint64_t seed;
  std::vector<std::unique_ptr<cScenario>> sims;
};

// `name` is "mixed", "sib" or "signalling"; null for any other.
[[nodiscard]] std::unique_ptr<cScenario> MakeScenario(const std::string& name,
                                                      const sStreamOptions& options);

// The modem's virtual clock at a packet, with a random fraction of a unit.
[[nodiscard]] std::uint64_t PacketTime(const sStreamOptions& options, std::uint64_t number,
                                       cRandom& random);

}  // namespace corvane::modem_sim
