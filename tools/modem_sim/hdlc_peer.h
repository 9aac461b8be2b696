#pragma once

#include "modem_sim/bytes.h"

// The modem's end of the HDLC-like framing. It is written apart from the recorder's own framing and
// works in another way (the CRC bit by bit, the receiver byte by byte), so that the two check each
// other.
namespace corvane::modem_sim {

inline constexpr std::uint8_t kFlag = 0x7E;
inline constexpr std::uint8_t kEscape = 0x7D;

// CRC-16/X.25 (ITU-T V.42): 0x906E for "123456789".
[[nodiscard]] std::uint16_t Crc16(ByteView bytes);

// The packet with its CRC, stuffed, and a closing flag.
[[nodiscard]] Bytes Frame(ByteView packet);

// The same with one bit of packet or CRC flipped before stuffing (`bit` is taken modulo their
// number of bits): the frame's ends stay where they were and the check always fails.
[[nodiscard]] Bytes FrameWithFlippedBit(ByteView packet, std::size_t bit);

// The most bytes that the packet's frame can have: both CRC bytes are taken as stuffed.
[[nodiscard]] std::size_t FrameSizeBound(ByteView packet);

// A frame with nothing in it but its two CRC bytes, which are zero. They are sent escaped because
// receivers look for a frame's end from its fourth byte on. It wakes a reader and is no packet: a
// recorder keeps nothing of it and takes it for no answer.
[[nodiscard]] Bytes IdleFrame();

struct sReceivedFrame {
  Bytes packet;  // without its CRC; of a damaged frame, all that arrived between the flags
  bool good = false;
};

// Cuts a stream of bytes into frames. A flag always ends a frame; nothing between two flags is
// nothing. A frame of more than kMaxFrame bytes is given up and comes out damaged, cut off there.
class cDeframer {
 public:
  static constexpr std::size_t kMaxFrame = 65536;

  // Appends the frames that `bytes` completes to `frames`.
  void Push(ByteView bytes, std::vector<sReceivedFrame>& frames);

  // Forgets the beginning of a frame that never ended.
  void Reset();

 private:
  [[nodiscard]] sReceivedFrame TakeFrame();

  Bytes unstuffed;
  bool escaped = false;
};

}  // namespace corvane::modem_sim
