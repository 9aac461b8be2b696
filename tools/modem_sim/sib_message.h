#pragma once

#include "modem_sim/bytes.h"

// Broadcast system information as WCDMA cells send it (3GPP TS 25.331, unaligned PER): a message
// carries one or more segments of system-information blocks in one of ten combinations.
namespace corvane::modem_sim {

// Bits in the order in which they are sent, each byte's most significant bit first.
class cBitString {
 public:
  // Appends the lowest `count` bits of `value`, at most 32, the most significant of them first.
  void Put(std::uint32_t value, unsigned count);
  // Appends `count` bits of `source` from bit `from` on, which it holds.
  void Append(const cBitString& source, std::size_t from, std::size_t count);

  [[nodiscard]] std::size_t Size() const { return bits.size(); }
  // The bits as bytes; zero bits fill up the last one.
  [[nodiscard]] Bytes Packed() const;

 private:
  std::vector<bool> bits;
};

// The over-the-air log's channel numbers for the two channels that broadcast.
enum eSibChannel : std::uint8_t { kBch = 4, kFach = 5 };

// The ten combinations that carry segments, by their number in the message.
enum eSibChoice : unsigned {
  kFirstSegment = 1,
  kSubsequentSegment = 2,
  kLastSegmentShort = 3,
  kLastAndFirst = 4,
  kLastAndComplete = 5,
  kLastAndCompleteAndFirst = 6,
  kCompleteSibList = 7,
  kCompleteAndFirst = 8,
  kCompleteSib = 9,
  kLastSegment = 10,
};

enum class eSibRole { First, Subsequent, Last, Complete };

// One segment, or a whole block, in a message.
struct sSibPiece {
  eSibRole role = eSibRole::Complete;
  unsigned sibType = 0;   // 0 to 31
  unsigned segments = 1;  // of a first segment: how many its block has, 1 to 16
  unsigned index = 0;     // of a subsequent or last segment: its place, 1 to 15
  cBitString data;
};

// Bits of data where the segment has a fixed size, and the most where it tells its own.
inline constexpr std::size_t kSegmentBits = 222;
inline constexpr std::size_t kCompleteBits = 226;
inline constexpr std::size_t kMaxShortBits = 214;
// What a message holds beside frame number or message type and the number of the combination.
inline constexpr std::size_t kMessageBits = 231;

// Bits in front of the data: of a segment that tells its size (type, count or place, length), of a
// block in a list (type, length); and of the list's count.
inline constexpr std::size_t kShortHeadBits = 17;
inline constexpr std::size_t kListItemHeadBits = 13;
inline constexpr std::size_t kListCountBits = 4;

// The highest SIB type that a piece at the start of a message can have, and the most blocks in a
// list there: see EncodeSibMessage.
[[nodiscard]] unsigned MaxLeadingSibType(eSibChannel channel);
[[nodiscard]] unsigned MaxLeadingListCount(eSibChannel channel);

// Encodes a message: `pieces` are those of `choice`, in its order. `frame` supplies the frame
// number's upper bits on BCH.
//
// A recorder finds the combination by reading the message's first bits least significant first, and
// then decodes the message most significant bit first, from behind them. Both have to come out
// right:
// - BCH: 11 bits frame number, 4 bits combination. Least significant first, the bits 11 to 14 are
//   bits 3 to 6 of the second byte, which are the combination's upper two bits and the frame
//   number's lower two. So those carry what the recorder is to find: the combination's lower two
//   bits stand in its upper half, its upper two in the frame number.
// - FACH: 2 bits message type (0), 4 bits combination. Least significant first, the message type is
//   read from bits 0 and 1 of the first byte, which belong to the first piece and have to be zero:
//   its SIB type is below 8, or its list has at most four blocks. The combination is in place
//   either way.
[[nodiscard]] Bytes EncodeSibMessage(eSibChannel channel, eSibChoice choice, unsigned frame,
                                     const std::vector<sSibPiece>& pieces);

// The whole block as a 0x412F packet of its own, as a recorder adds it to a capture: channel 254
// (from BCH) or 255 (from FACH), the bearer, and as the message the SIB type's byte and the data,
// rounded up to bytes. The time stamp is zero.
[[nodiscard]] Bytes WholeBlockPacket(eSibChannel channel, std::uint8_t bearer, unsigned sibType,
                                     const cBitString& data);

}  // namespace corvane::modem_sim
