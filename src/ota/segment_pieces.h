#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include "ota/bit_cursor.h"
#include "ota/ota_packet.h"
#include "ota/sib_assembly.h"

namespace corvane {

// How a segment's data is sent: as a fixed 222 bits, or as a short form that gives its length.
enum class eSegmentForm { Fixed, Short };

// The pieces that system-information messages are made of (3GPP TS 25.331, SystemInformation-BCH),
// to be read one after another from one message. Each piece reads on where the one before stopped,
// changes the assembly map and collects the blocks that it completed.
//
// A field that cannot be read ends its piece. A piece returns true when the message may go on after
// it; what was collected before an end is kept. Without memory a block is left out: it is not
// collected, or not stored.
class cSegmentPieces {
 public:
  // Starts behind the payload choice. `packet`, of one of the two BCCH channels, and `assemblyMap`
  // outlive this object; `diagTimestamp` goes into the collected packets.
  cSegmentPieces(SibAssemblyMap& assemblyMap, const sOtaPacket& packet,
                 std::uint64_t diagTimestamp);

  // Type, segment count, data: starts a block, in place of any unfinished one of its key. A block
  // of one segment is complete at once and not stored; it then leaves a stored block alone.
  void FirstSegment(eSegmentForm form);

  // Type, segment index, data: appends to its block. A segment that does not continue the block,
  // or whose data is not all there, removes it. A block that becomes complete stays stored.
  void SubsequentSegment();

  // Type, segment index, data: appends to its block and removes it, complete or not. A message that
  // ends behind the type removes the block too.
  void LastSegment(eSegmentForm form);

  // The short last segment with more pieces behind it. It does not touch the block unless its type,
  // index and length are all there. The next piece starts behind its data, whatever became of it.
  [[nodiscard]] bool LeadingLastSegment();

  // A count, then that many blocks, each of a type, a length and its data.
  [[nodiscard]] bool CompleteSibList();

  // Type and 226 bits of data: a block of its own.
  void CompleteSib();

  // The completed blocks, in order. Ends the use of this object.
  [[nodiscard]] SibPacketList TakePackets() { return std::move(packets); }

 private:
  struct sSegmentHeader {
    std::uint32_t index = 0;     // counted from 1, the first segment being segment 0
    std::uint32_t sentBits = 0;  // 1 to 256, of which none are copied when it is 256
  };

  [[nodiscard]] std::optional<std::uint8_t> ReadField(std::uint32_t bits);
  [[nodiscard]] std::optional<std::uint32_t> ReadSentBits(eSegmentForm form);
  [[nodiscard]] bool ReadSegmentHeader(eSegmentForm form, sSegmentHeader& header);

  [[nodiscard]] SibAssemblyMap::iterator FindBlock(std::uint8_t sibType);
  void StartBlock(sSibAssembly& block, std::uint8_t sibType, std::uint32_t expectedSegments) const;
  [[nodiscard]] bool AppendData(sSibAssembly& block, std::uint32_t sentBits);
  [[nodiscard]] bool AppendSegment(sSibAssembly& block, const sSegmentHeader& header);
  void FinishBlock(std::uint8_t sibType, const sSegmentHeader* header);
  [[nodiscard]] bool EmitComplete(std::uint8_t sibType, std::uint32_t sentBits);
  [[nodiscard]] bool HasData(std::uint32_t sentBits) const;
  [[nodiscard]] sSibAssembly* StoreBlock(std::uint8_t sibType, std::uint32_t expectedSegments);

  SibAssemblyMap& assemblyMap;
  std::uint64_t diagTimestamp;
  std::uint8_t channelMarker;
  std::uint8_t rbId;
  sBitReader reader;
  SibPacketList packets;
};

}  // namespace corvane
