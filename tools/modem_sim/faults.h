#pragma once

#include <chrono>

#include "modem_sim/diag_packets.h"
#include "modem_sim/selection.h"

namespace corvane::modem_sim {

// The faults to inject. Those of streamed packets go by the packet's number, which counts up over
// the whole run; those of replies by the request's number, which starts again from 0 with each
// connection, or by its command.
struct sFaultOptions {
  // The modem's clock at packet 0 (diag_packets.h).
  std::uint64_t clockStart = kClockStart;
  cSelection badCrc;     // a bit of the packet or its CRC is flipped
  cSelection noise;      // random bytes and a flag before the packet
  cSelection openNoise;  // random bytes without a flag, which spoil the packet
  cSelection split;      // the packet is written in several pieces with gaps between them
  cSelection merge;      // the packet is written together with the next one
  cSelection unasked;    // a reply that answers nothing after the packet
  cSelection hangUp;     // the line is hung up after the packet

  cSelection withhold;    // the reply is never sent
  cSelection spoilReply;  // a bit of the reply is flipped
  struct sLate {
    cSelection which;
    std::chrono::milliseconds delay{0};
  };
  std::vector<sLate> late;  // the reply comes so much later; the longest delay counts
};

struct sPacketFaults {
  bool badCrc = false;
  bool noise = false;
  bool openNoise = false;
  bool split = false;
  bool merge = false;
  bool unasked = false;
  bool hangUp = false;

  // Whether the packet reaches the host in good order.
  [[nodiscard]] bool Delivers() const { return !badCrc && !openNoise; }
};

struct sReplyFaults {
  bool withhold = false;
  bool spoil = false;
  std::chrono::milliseconds delay{0};
};

// A frame as it goes out.
struct sWire {
  Bytes bytes;
  Bytes noise;                    // what stands before the frame in `bytes`
  std::vector<std::size_t> cuts;  // positions in `bytes` where a write ends
};

// Decides by the seed what goes wrong, and makes it so.
class cFaults {
 public:
  cFaults(std::uint64_t seed, sFaultOptions options);

  [[nodiscard]] sPacketFaults ForPacket(std::uint64_t number) const;
  [[nodiscard]] sReplyFaults ForReply(unsigned connection, std::uint64_t number,
                                      std::uint8_t command) const;

  // The packet's frame with its faults in it. Noise is a frame of its own (below).
  [[nodiscard]] sWire Wire(std::uint64_t number, ByteView packet,
                           const sPacketFaults& faults) const;
  // Noise in front of the packet with this number: at least three bytes and a flag, which together
  // are one frame that fails its check.
  [[nodiscard]] Bytes Noise(std::uint64_t number) const;
  // The reply's frame with one bit flipped.
  [[nodiscard]] Bytes SpoiledReply(unsigned connection, std::uint64_t number, ByteView reply) const;
  // The reply that answers nothing: a subsystem's, and every other time a get-item answer.
  // `embedded` receives the packet in that one.
  [[nodiscard]] Bytes UnaskedReply(std::uint64_t number, Bytes& embedded) const;

 private:
  std::uint64_t seed;
  sFaultOptions options;
};

}  // namespace corvane::modem_sim
