#include "modem_sim/sib_message.h"

#include <algorithm>

#include "modem_sim/diag_packets.h"

namespace corvane::modem_sim {
namespace {

constexpr unsigned kTypeBits = 5;
constexpr unsigned kCountBits = 4;
constexpr unsigned kLengthBits = 8;

// Whether the choice's segments have the fixed size. In all others they tell their own.
bool IsFixed(eSibChoice choice) {
  return choice == kFirstSegment || choice == kSubsequentSegment || choice == kLastSegment ||
         choice == kCompleteSib;
}

// Counts, places and lengths start from 1, and are sent less 1.
void PutFromOne(cBitString& bits, std::size_t value, unsigned count) {
  bits.Put(static_cast<std::uint32_t>(value - 1), count);
}

void PutPiece(cBitString& bits, eSibChoice choice, const sSibPiece& piece) {
  bits.Put(piece.sibType, kTypeBits);
  if (piece.role == eSibRole::First) {
    PutFromOne(bits, piece.segments, kCountBits);
  }
  if (piece.role == eSibRole::Subsequent || piece.role == eSibRole::Last) {
    PutFromOne(bits, piece.index, kCountBits);
  }
  if (!IsFixed(choice)) {
    PutFromOne(bits, piece.data.Size(), kLengthBits);
  }
  bits.Append(piece.data, 0, piece.data.Size());
}

void PutStart(cBitString& bits, eSibChannel channel, unsigned choice, unsigned frame) {
  if (channel == kBch) {
    bits.Put((frame & ~3U) | choice >> 2, 11);
    bits.Put((choice & 3) << 2 | (choice & 3), 4);
  } else {
    bits.Put(0, 2);
    bits.Put(choice, 4);
  }
}

}  // namespace

void cBitString::Put(std::uint32_t value, unsigned count) {
  for (unsigned i = count; i > 0; --i) {
    bits.push_back(value >> (i - 1) & 1);
  }
}

void cBitString::Append(const cBitString& source, std::size_t from, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    bits.push_back(source.bits[from + i]);
  }
}

Bytes cBitString::Packed() const {
  Bytes bytes((bits.size() + 7) / 8, 0);
  for (std::size_t i = 0; i < bits.size(); ++i) {
    if (bits[i]) {
      bytes[i / 8] = static_cast<std::uint8_t>(bytes[i / 8] | 0x80U >> (i % 8));
    }
  }
  return bytes;
}

unsigned MaxLeadingSibType(eSibChannel channel) { return channel == kFach ? 7 : 31; }

unsigned MaxLeadingListCount(eSibChannel channel) { return channel == kFach ? 4 : 16; }

Bytes EncodeSibMessage(eSibChannel channel, eSibChoice choice, unsigned frame,
                       const std::vector<sSibPiece>& pieces) {
  const auto inList = std::count_if(pieces.begin(), pieces.end(), [](const sSibPiece& piece) {
    return piece.role == eSibRole::Complete;
  });
  cBitString bits;
  PutStart(bits, channel, choice, frame);
  const std::size_t start = bits.Size();
  bool countIsDue = choice != kCompleteSib;
  for (const sSibPiece& piece : pieces) {
    if (piece.role == eSibRole::Complete && countIsDue) {
      PutFromOne(bits, static_cast<std::size_t>(inList), kListCountBits);
      countIsDue = false;
    }
    PutPiece(bits, choice, piece);
  }
  // The channel sends messages of one size: padding fills up what is not used.
  while (bits.Size() < start + kMessageBits) {
    bits.Put(0, 1);
  }
  return bits.Packed();
}

Bytes WholeBlockPacket(eSibChannel channel, std::uint8_t bearer, unsigned sibType,
                       const cBitString& data) {
  const Bytes packed = data.Packed();
  Bytes payload = {static_cast<std::uint8_t>(channel == kBch ? 254 : 255), bearer};
  AppendU16(payload, static_cast<std::uint32_t>(1 + packed.size()));
  payload.push_back(static_cast<std::uint8_t>(sibType));
  AppendBytes(payload, packed);
  return LogPacket(kOtaLogCode, 0, payload);
}

}  // namespace corvane::modem_sim
