#include "bench/two_segments.h"

#include "bench/loads.h"
#include "diag/little_endian.h"
#include "diag/packets.h"
#include "ota/dispatcher.h"

namespace corvane::bench {
namespace {

constexpr std::uint32_t kMessageBytes = (kSegmentStart + kSegmentBits + 7) / 8;
constexpr std::uint8_t kFirstSegment = 1;
constexpr std::uint8_t kLastSegment = 10;

// `choice` stands behind 11 bits of frame number; `number` is the count of segments of a first one,
// and the index of another, less one each.
[[nodiscard]] OwnedBuffer MakeSegment(std::uint8_t choice, std::uint8_t number) {
  Bytes packet(ota_log::kMessage + kMessageBytes, 0xA5);
  packet[0] = command::kLog;
  packet[1] = 0;
  Store16(&packet[log_packet::kLogCode], ota_log::kLogCode);
  packet[ota_log::kChannel] = ota_log::kBcchBch;
  packet[ota_log::kRadioBearer] = 0;
  Store16(&packet[ota_log::kMessageLength], static_cast<std::uint16_t>(kMessageBytes));
  std::uint8_t* const message = &packet[ota_log::kMessage];
  message[0] = 0;
  message[1] = static_cast<std::uint8_t>(choice << 3);  // and the first bit of the SIB type
  message[2] = static_cast<std::uint8_t>(7 << 4 | number);
  return MakeBuffer(packet, kOriginDevice);
}

}  // namespace

sTwoSegments::sTwoSegments()
    : first(MakeSegment(kFirstSegment, 1)), last(MakeSegment(kLastSegment, 0)) {}

bool sTwoSegments::Complete(SibAssemblyMap& blocks) const {
  constexpr std::uint64_t kTimestamp = 1;
  return DecodeOtaPacket(blocks, *first, kTimestamp).empty() &&
         DecodeOtaPacket(blocks, *last, kTimestamp).size() == 1;
}

}  // namespace corvane::bench
