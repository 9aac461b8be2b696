#include "ota/dispatcher.h"

#include <algorithm>
#include <array>
#include <tuple>
#include <utility>

#include "diag/packets.h"
#include "ota/bit_cursor.h"
#include "ota/segment_pieces.h"
#include "platform/error_codes.h"

namespace corvane {
namespace {

constexpr std::uint32_t kFrameNumberBits = 11;
constexpr std::uint32_t kMessageTypeBits = 2;
constexpr std::uint32_t kPayloadChoiceBits = 4;
constexpr std::uint32_t kSystemInformation = 0;  // the message type

// What each payload choice is made of.
void DecodeFirstSegment(cSegmentPieces& message) { message.FirstSegment(eSegmentForm::Fixed); }

void DecodeSubsequentSegment(cSegmentPieces& message) { message.SubsequentSegment(); }

void DecodeLastSegmentShort(cSegmentPieces& message) { message.LastSegment(eSegmentForm::Short); }

void DecodeLastAndFirst(cSegmentPieces& message) {
  if (message.LeadingLastSegment()) {
    message.FirstSegment(eSegmentForm::Short);
  }
}

void DecodeLastAndComplete(cSegmentPieces& message) {
  if (message.LeadingLastSegment()) {
    std::ignore = message.CompleteSibList();
  }
}

void DecodeLastAndCompleteAndFirst(cSegmentPieces& message) {
  if (message.LeadingLastSegment() && message.CompleteSibList()) {
    message.FirstSegment(eSegmentForm::Short);
  }
}

void DecodeCompleteSibList(cSegmentPieces& message) { std::ignore = message.CompleteSibList(); }

void DecodeCompleteAndFirst(cSegmentPieces& message) {
  if (message.CompleteSibList()) {
    message.FirstSegment(eSegmentForm::Short);
  }
}

void DecodeCompleteSib(cSegmentPieces& message) { message.CompleteSib(); }

void DecodeLastSegment(cSegmentPieces& message) { message.LastSegment(eSegmentForm::Fixed); }

// The decoder of payload choice n stands at n - 1.
using SegmentDecoder = void (*)(cSegmentPieces& message);
constexpr std::array<SegmentDecoder, 10> kDecoders = {
    DecodeFirstSegment,    DecodeSubsequentSegment, DecodeLastSegmentShort,
    DecodeLastAndFirst,    DecodeLastAndComplete,   DecodeLastAndCompleteAndFirst,
    DecodeCompleteSibList, DecodeCompleteAndFirst,  DecodeCompleteSib,
    DecodeLastSegment,
};

// The value of the next `count` bits, 1 to 8, and 0 when they are not all there.
[[nodiscard]] std::uint32_t ReadOrZero(sBitReader& reader, std::uint32_t count) {
  std::uint8_t value = 0;
  return ReadBits8(reader, count, value) == kErrorSuccess ? value : 0;
}

// The payload choice of a system-information message; 0 for any other message.
[[nodiscard]] std::uint32_t PayloadChoice(const sOtaPacket& packet) {
  // Least significant bit first, unlike the decoders: a message is taken for what its lead reads as
  // in this order, and only what follows the lead is read as PER.
  sBitReader reader{.data = packet.message,
                    .position = 0,
                    .bitCount = packet.bitCount,
                    .bitOrder = kLeastSignificantBitFirst};
  switch (packet.channel) {
    case ota_log::kBcchFach:
      if (ReadOrZero(reader, kMessageTypeBits) != kSystemInformation) {
        return 0;
      }
      break;
    case ota_log::kBcchBch:
      reader.position = std::min(packet.bitCount, kFrameNumberBits);
      break;
    default:
      return 0;
  }
  return ReadOrZero(reader, kPayloadChoiceBits);
}

}  // namespace

void ProcessOtaLogItem(SibAssemblyMap& assemblyMap, const sSharedBuffer& item,
                       std::uint64_t arrivalTime, cRebuiltPacketSink& sink) {
  const auto diagTimestamp = DiagTimestampFromFileTime(arrivalTime);
  if (!diagTimestamp) {
    return;
  }
  for (OwnedBuffer& packet : DecodeOtaPacket(assemblyMap, item, *diagTimestamp)) {
    sink.AddRebuiltPacket(std::move(packet));
  }
}

SibPacketList DecodeOtaPacket(SibAssemblyMap& assemblyMap, const sSharedBuffer& item,
                              std::uint64_t diagTimestamp) {
  const auto packet = ViewOtaPacket(item);
  if (!packet) {
    return {};
  }
  return DecodeSystemInformation(PayloadChoice(*packet), assemblyMap, *packet, diagTimestamp);
}

SibPacketList DecodeSystemInformation(std::uint32_t payloadChoice, SibAssemblyMap& assemblyMap,
                                      const sOtaPacket& packet, std::uint64_t diagTimestamp) {
  if (payloadChoice < 1 || payloadChoice > kDecoders.size()) {
    return {};
  }
  cSegmentPieces message(assemblyMap, packet, diagTimestamp);
  kDecoders[payloadChoice - 1](message);
  return message.TakePackets();
}

}  // namespace corvane
