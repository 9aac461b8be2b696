#pragma once

#include <map>
#include <memory>
#include <optional>
#include <tuple>

#include "modem_sim/random.h"
#include "modem_sim/sib_message.h"

namespace corvane::modem_sim {

// Blocks of one type, bearer and channel follow each other; blocks of different ones interleave.
using SibKey = std::tuple<eSibChannel, std::uint8_t, unsigned>;

// A block as the cell has it, and how it is cut up.
struct sSourceBlock {
  eSibChannel channel = kBch;
  std::uint8_t bearer = 0;
  unsigned sibType = 0;
  cBitString data;
  std::vector<std::size_t> ends;  // for each segment, the bit of `data` behind its last one

  [[nodiscard]] SibKey Key() const { return {channel, bearer, sibType}; }
  [[nodiscard]] std::size_t Begin(std::size_t segment) const {
    return segment == 0 ? 0 : ends[segment - 1];
  }
};

// A message on the air: which segments of which blocks.
struct sSibMessage {
  struct sPart {
    std::shared_ptr<const sSourceBlock> block;
    std::size_t segment = 0;
    eSibRole role = eSibRole::Complete;
  };

  eSibChannel channel = kBch;
  std::uint8_t bearer = 0;
  eSibChoice choice = kCompleteSib;
  std::vector<sPart> parts;

  [[nodiscard]] Bytes Encode(unsigned frame) const;
};

// What has arrived at the host. A block is complete there when its segments came in order, each of
// them once and none missing, from its first one on; a first segment that comes again begins again.
// It looks at the blocks that were sent and not at the messages' bits.
class cSibListener {
 public:
  // The blocks that this message completes, in its order, each as WholeBlockPacket makes it.
  [[nodiscard]] std::vector<Bytes> Hear(const sSibMessage& message);

  // Whether the host may hold segments of an earlier block under this key, so that a new block's
  // first segment has to arrive: without it, old and new segments could make up a whole.
  [[nodiscard]] bool MayHoldSegments(const SibKey& key) const;

  // Whatever host there is now may hold segments of anything.
  void Forget();

 private:
  struct sProgress {
    std::shared_ptr<const sSourceBlock> block;
    std::size_t next = 0;
  };
  [[nodiscard]] bool HearPart(const sSibMessage::sPart& part);

  std::map<SibKey, sProgress> progress;
  std::map<SibKey, bool> ended;  // true: the last thing heard was a block's last segment
  bool nothingIsCertain = false;
};

// The cell: makes up blocks and sends their segments.
class cSibBroadcast {
 public:
  explicit cSibBroadcast(double lossPercent) : loss(lossPercent) {}

  struct sHeard {
    sSibMessage message;
    std::vector<Bytes> blocks;
  };
  // The next message that reaches the modem's log. `delivered` says whether it reaches the host
  // from there.
  [[nodiscard]] sHeard Next(cRandom& random, bool delivered);

  // The host has gone: blocks under way are given up.
  void HostGone();

 private:
  // A block under way. Its segments go out in `order`.
  struct sUnderWay {
    std::shared_ptr<const sSourceBlock> block;
    std::vector<std::size_t> order;
    std::size_t sent = 0;
    eSibRole lastRole = eSibRole::Last;
    bool lastIsShort = false;

    [[nodiscard]] std::size_t NextSegment() const { return order[sent]; }
    // The role that it goes out in, and whether it tells its own size.
    [[nodiscard]] eSibRole NextRole() const;
    [[nodiscard]] bool NextIsShort() const;
  };
  [[nodiscard]] static sUnderWay MakeBlock(cRandom& random, const SibKey& key,
                                           std::size_t firstBits);

  // A message of a choice that is possible at present. Unless `startsAnything`, it begins no block
  // whose first segment would have to arrive.
  [[nodiscard]] sSibMessage Compose(cRandom& random, bool startsAnything);
  // Fills in the parts of the message's choice. False when it is not possible at present.
  [[nodiscard]] bool AddParts(cRandom& random, sSibMessage& message, bool startsAnything);
  [[nodiscard]] bool AddContinuation(cRandom& random, sSibMessage& message) const;
  // `room` is what the message has left in bits.
  [[nodiscard]] bool AddFirst(cRandom& random, sSibMessage& message, std::size_t room,
                              bool startsAnything);
  // The message is on the air: moves its blocks on.
  void Commit(const sSibMessage& message);

  double loss;
  std::map<SibKey, sUnderWay> underWay;
  std::optional<sUnderWay> starting;  // the block that Compose begins; Commit takes it over
  std::optional<sSibMessage> previous;
  cSibListener listener;
};

}  // namespace corvane::modem_sim
