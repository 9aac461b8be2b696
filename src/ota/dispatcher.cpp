#include "ota/dispatcher.h"

#include <algorithm>
#include <array>

#include "ota/bit_cursor.h"
#include "ota/ota_packet.h"
#include "ota/segment_decoders.h"
#include "platform/error_codes.h"

namespace corvane {
namespace {

constexpr std::uint32_t kFrameNumberBits = 11;
constexpr std::uint32_t kMessageTypeBits = 2;
constexpr std::uint32_t kPayloadChoiceBits = 4;
constexpr std::uint32_t kSystemInformation = 0;  // the message type

// The decoder of payload choice n stands at n - 1.
constexpr std::array<SegmentDecoder, 10> kDecoders = {
    DecodeFirstSegment,    DecodeSubsequentSegment, DecodeLastSegmentShort,
    DecodeLastAndFirst,    DecodeLastAndComplete,   DecodeLastAndCompleteAndFirst,
    DecodeCompleteSibList, DecodeCompleteAndFirst,  DecodeCompleteSib,
    DecodeLastSegment,
};

// The value of the next `count` bits, and 0 when they are not all there.
[[nodiscard]] std::uint32_t ReadOrZero(sBitReader& reader, std::uint32_t count) {
  std::uint32_t value = 0;
  return ReadBits32(reader, count, value) == kErrorSuccess ? value : 0;
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
    case kOtaChannelBcchFach:
      if (ReadOrZero(reader, kMessageTypeBits) != kSystemInformation) {
        return 0;
      }
      break;
    case kOtaChannelBcchBch:
      reader.position = std::min(packet.bitCount, kFrameNumberBits);
      break;
    default:
      return 0;
  }
  return ReadOrZero(reader, kPayloadChoiceBits);
}

}  // namespace

SibPacketList DecodeOtaPacket(SibAssemblyMap& assemblyMap, const sSharedBuffer& item,
                              std::uint64_t diagTimestamp) {
  const auto packet = ViewOtaPacket(item);
  if (!packet) {
    return {};
  }
  const std::uint32_t choice = PayloadChoice(*packet);
  if (choice < 1 || choice > kDecoders.size()) {
    return {};
  }
  return kDecoders[choice - 1](assemblyMap, *packet, diagTimestamp);
}

}  // namespace corvane
