#include "ota/ota_packet.h"

#include "diag/little_endian.h"

namespace corvane {

std::optional<sOtaPacket> ViewOtaPacket(const sSharedBuffer& item) {
  if (!item.IsUsable()) {
    return std::nullopt;
  }
  if (item.size <= kLogHeaderSize) {
    return std::nullopt;
  }
  if (Load16(item.data + kLogCodeOffset) != kOtaLogCode) {
    return std::nullopt;
  }
  // A packet that ends with its OTA header is refused even when its message length is 0.
  if (item.size - kLogHeaderSize <= kOtaHeaderSize) {
    return std::nullopt;
  }

  const std::uint8_t* header = item.data + kLogHeaderSize;
  const std::uint32_t messageLength = Load16(header + kOtaMsgLengthOffset);
  if (messageLength > item.size - kLogHeaderSize - kOtaHeaderSize) {
    return std::nullopt;
  }
  return sOtaPacket{.channel = header[kOtaChannelOffset],
                    .rbId = header[kOtaRbIdOffset],
                    .message = header + kOtaHeaderSize,
                    .bitCount = messageLength * 8};
}

}  // namespace corvane
