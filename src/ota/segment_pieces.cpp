#include "ota/segment_pieces.h"

#include <algorithm>
#include <new>
#include <tuple>
#include <utility>

#include "diag/packets.h"
#include "platform/error_codes.h"

namespace corvane {
namespace {

// Field widths of 3GPP TS 25.331. Counts, indexes and lengths are sent as their value - 1.
constexpr std::uint32_t kSibTypeBits = 5;
constexpr std::uint32_t kSegmentCountBits = 4;
constexpr std::uint32_t kSegmentIndexBits = 4;
constexpr std::uint32_t kDataLengthBits = 8;
constexpr std::uint32_t kListCountBits = 4;

constexpr std::uint32_t kFixedSegmentBits = 222;
constexpr std::uint32_t kCompleteSibBits = 226;

// What stands in front of the pieces: on BCH the frame number and the payload choice, on FACH the
// message type and the payload choice.
constexpr std::uint32_t kBchLeadBits = 11 + 4;
constexpr std::uint32_t kFachLeadBits = 2 + 4;

// The number of bits wraps at 8 bits: of 256 sent bits none are copied, and the segment counts
// nevertheless. In a list, the next block is then read from those bits.
[[nodiscard]] std::uint32_t CopiedBits(std::uint32_t sentBits) { return sentBits % 256; }

}  // namespace

cSegmentPieces::cSegmentPieces(SibAssemblyMap& map, const sOtaPacket& packet,
                               std::uint64_t timestamp)
    : assemblyMap(map),
      diagTimestamp(timestamp),
      channelMarker(packet.channel == ota_log::kBcchBch ? ota_log::kSibFromBch
                                                        : ota_log::kSibFromFach),
      rbId(packet.rbId),
      // On FACH the position may lie behind the end of a message without bytes. That is harmless,
      // because nothing can be read there.
      reader{.data = packet.message,
             .position = packet.channel == ota_log::kBcchBch
                             ? std::min(packet.bitCount, kBchLeadBits)
                             : kFachLeadBits,
             .bitCount = packet.bitCount,
             .bitOrder = kMostSignificantBitFirst} {}

void cSegmentPieces::FirstSegment(eSegmentForm form) {
  const auto sibType = ReadField(kSibTypeBits);
  if (!sibType) {
    return;
  }
  const auto count = ReadField(kSegmentCountBits);
  if (!count) {
    return;
  }
  const auto sentBits = ReadSentBits(form);
  if (!sentBits) {
    return;
  }

  if (*count == 0) {
    std::ignore = EmitComplete(*sibType, *sentBits);
  } else if (HasData(*sentBits)) {
    // Whether the data is there is known, and a new block has room for it: the block is filled in
    // its place, and takes that of an earlier one only when it is whole.
    if (sSibAssembly* const block = StoreBlock(*sibType, *count + 1u)) {
      std::ignore = AppendData(*block, *sentBits);
    }
  }
}

void cSegmentPieces::SubsequentSegment() {
  const auto sibType = ReadField(kSibTypeBits);
  if (!sibType) {
    return;
  }
  const auto entry = FindBlock(*sibType);
  if (entry == assemblyMap.end()) {
    return;
  }
  // A block that this segment completes stays in the map: its next segment removes it, unless a
  // first segment replaces it before.
  sSegmentHeader header;
  if (!ReadSegmentHeader(eSegmentForm::Fixed, header) || !AppendSegment(entry->second, header)) {
    assemblyMap.Remove(entry);
  }
}

void cSegmentPieces::LastSegment(eSegmentForm form) {
  const auto sibType = ReadField(kSibTypeBits);
  if (!sibType) {
    return;
  }
  sSegmentHeader header;
  const bool isRead = ReadSegmentHeader(form, header);
  FinishBlock(*sibType, isRead ? &header : nullptr);
}

bool cSegmentPieces::LeadingLastSegment() {
  const auto sibType = ReadField(kSibTypeBits);
  if (!sibType) {
    return false;
  }
  sSegmentHeader header;
  if (!ReadSegmentHeader(eSegmentForm::Short, header)) {
    return false;
  }

  // All the bits that were sent are stepped over, also the 256 of which none is copied. In a list
  // those are not (see CopiedBits).
  const std::uint32_t next = reader.position + header.sentBits;
  FinishBlock(*sibType, &header);
  reader.position = std::min(next, reader.bitCount);
  return true;
}

bool cSegmentPieces::CompleteSibList() {
  const auto count = ReadField(kListCountBits);
  if (!count) {
    return false;
  }
  for (std::uint32_t left = *count + 1u; left != 0; --left) {
    const auto sibType = ReadField(kSibTypeBits);
    if (!sibType) {
      return false;
    }
    const auto sentBits = ReadSentBits(eSegmentForm::Short);
    if (!sentBits) {
      return false;
    }
    if (!EmitComplete(*sibType, *sentBits)) {
      return false;
    }
  }
  return true;
}

void cSegmentPieces::CompleteSib() {
  const auto sibType = ReadField(kSibTypeBits);
  if (!sibType) {
    return;
  }
  // A block that is cut short is not collected, and nothing follows it.
  std::ignore = EmitComplete(*sibType, kCompleteSibBits);
}

// The value of the next `bits` bits, 1 to 8, or nothing when fewer are left.
std::optional<std::uint8_t> cSegmentPieces::ReadField(std::uint32_t bits) {
  std::uint8_t value = 0;
  if (ReadBits8(reader, bits, value) != kErrorSuccess) {
    return std::nullopt;
  }
  return value;
}

// How many bits of data the sender says it put behind the header.
std::optional<std::uint32_t> cSegmentPieces::ReadSentBits(eSegmentForm form) {
  if (form == eSegmentForm::Fixed) {
    return kFixedSegmentBits;
  }
  const auto length = ReadField(kDataLengthBits);
  if (!length) {
    return std::nullopt;
  }
  return *length + 1u;
}

// A segment's index and the length of its data. False when one of them is not there. (As an
// optional the header would be stored in parts and read back as a whole.)
bool cSegmentPieces::ReadSegmentHeader(eSegmentForm form, sSegmentHeader& header) {
  const auto index = ReadField(kSegmentIndexBits);
  if (!index) {
    return false;
  }
  const auto sentBits = ReadSentBits(form);
  if (!sentBits) {
    return false;
  }
  header.index = *index + 1u;
  header.sentBits = *sentBits;
  return true;
}

SibAssemblyMap::iterator cSegmentPieces::FindBlock(std::uint8_t sibType) {
  return assemblyMap.find(sSibKey{channelMarker, rbId, sibType});
}

// Makes an empty block of `block`, whose buffer is all zero.
void cSegmentPieces::StartBlock(sSibAssembly& block, std::uint8_t sibType,
                                std::uint32_t expectedSegments) const {
  block.channelMarker = channelMarker;
  block.rbId = rbId;
  block.sibType = sibType;
  block.expectedSegments = expectedSegments;
}

// Copies one segment's data behind the block's and counts the segment. False when the message ends
// or the block is full before the copy is done; the block cannot be completed then.
bool cSegmentPieces::AppendData(sSibAssembly& block, std::uint32_t sentBits) {
  const std::uint32_t copiedBits = CopiedBits(sentBits);
  const std::uint32_t end = std::min(block.bitLength, sSibAssembly::kBufferBits);
  sBitWriter writer{.data = block.buffer.data(),
                    .position = end,
                    .length = end,
                    .capacity = sSibAssembly::kBufferBits,
                    .bitOrder = kMostSignificantBitFirst};
  if (!CopyBits(reader, writer, copiedBits)) {
    // What was copied is the block's until it is cleared.
    block.bitLength = writer.length;
    return false;
  }
  block.bitLength += copiedBits;
  ++block.receivedSegments;
  return true;
}

// Appends to a stored block, and collects it when that completes it. False when the segment is not
// the one that the block waits for, or its data does not fit.
bool cSegmentPieces::AppendSegment(sSibAssembly& block, const sSegmentHeader& header) {
  if (block.receivedSegments != header.index) {
    return false;
  }
  if (!AppendData(block, header.sentBits)) {
    return false;
  }
  if (block.receivedSegments == block.expectedSegments) {
    EmitSib(block, diagTimestamp, packets);
  }
  return true;
}

// Appends the last segment to its block, if that is stored, and removes the block in any case: one
// whose last segment came too early, or without a header (null), is given up.
void cSegmentPieces::FinishBlock(std::uint8_t sibType, const sSegmentHeader* header) {
  const auto entry = FindBlock(sibType);
  if (entry == assemblyMap.end()) {
    return;
  }
  if (header != nullptr) {
    std::ignore = AppendSegment(entry->second, *header);
  }
  assemblyMap.Remove(entry);
}

bool cSegmentPieces::EmitComplete(std::uint8_t sibType, std::uint32_t sentBits) {
  sSibAssembly block;
  StartBlock(block, sibType, 1);
  if (!AppendData(block, sentBits)) {
    return false;
  }
  EmitSib(block, diagTimestamp, packets);
  return true;
}

// Whether all that is copied of a segment's data is left in the message.
bool cSegmentPieces::HasData(std::uint32_t sentBits) const {
  const std::uint32_t copiedBits = CopiedBits(sentBits);
  return copiedBits == 0 ||
         (reader.position < reader.bitCount && copiedBits <= reader.bitCount - reader.position);
}

// Puts an empty block into the map, in the place of one with its key. Null without memory for it.
sSibAssembly* cSegmentPieces::StoreBlock(std::uint8_t sibType, std::uint32_t expectedSegments) {
  try {
    sSibAssembly& block = assemblyMap.Start(sSibKey{channelMarker, rbId, sibType});
    StartBlock(block, sibType, expectedSegments);
    return &block;
  } catch (const std::bad_alloc&) {
    // Only a block with a new key takes memory. Its later segments will find nothing to continue.
    return nullptr;
  }
}

}  // namespace corvane
