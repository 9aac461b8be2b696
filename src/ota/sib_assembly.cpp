#include "ota/sib_assembly.h"

#include <algorithm>
#include <new>
#include <utility>

#include "diag/command_codes.h"
#include "diag/little_endian.h"
#include "ota/ota_packet.h"

namespace corvane {
namespace {

// Where the SIB type stands in the block's buffer: it is the first byte of the message.
constexpr std::uint32_t kSibTypeOffset = kOtaHeaderSize;
static_assert(sSibAssembly::kHeaderBits == (kSibTypeOffset + 1) * 8);
static_assert(kMaxEmittedBytes <= sSibAssembly::kBufferSize);
static_assert(kLogHeaderSize + kMaxEmittedBytes <= kMaxBufferSize);

void WriteOtaHeader(sSibAssembly& block) {
  block.buffer[kOtaChannelOffset] = block.channelMarker;
  block.buffer[kOtaRbIdOffset] = block.rbId;
  block.buffer[kSibTypeOffset] = block.sibType;
  const std::uint32_t messageLength = block.bitLength / 8 - kOtaHeaderSize;
  Store16(&block.buffer[kOtaMsgLengthOffset], static_cast<std::uint16_t>(messageLength));
}

void WriteLogHeader(std::uint8_t* packet, std::uint32_t size, std::uint64_t diagTimestamp) {
  const auto length = static_cast<std::uint16_t>(size - kUncountedLogBytes);
  Store16(packet, command::kLog);  // and "more", which is 0
  Store16(packet + kLogLengthOffset, length);
  Store16(packet + kLogLengthAgainOffset, length);
  Store16(packet + kLogCodeOffset, kOtaLogCode);
  Store64(packet + kLogTimestampOffset, diagTimestamp);
}

// The packet of a block whose OTA header is written, or null without memory for it.
[[nodiscard]] OwnedBuffer MakePacket(const sSibAssembly& block, std::uint64_t diagTimestamp) {
  const std::uint32_t blockBytes = std::min(block.bitLength / 8, kMaxEmittedBytes);
  const std::uint32_t size = kLogHeaderSize + blockBytes;
  HeapBlock packet = AllocateBlock(size);
  if (packet == nullptr) {
    return nullptr;
  }
  WriteLogHeader(packet.get(), size, diagTimestamp);
  std::copy_n(block.buffer.begin(), blockBytes, packet.get() + kLogHeaderSize);
  return AdoptBlock(static_cast<std::int32_t>(size), std::move(packet), kOriginDevice);
}

}  // namespace

void EmitSib(sSibAssembly& block, std::uint64_t diagTimestamp, SibPacketList& list) {
  // The block keeps the rounded length: a segment that is appended to it later starts on a byte.
  block.bitLength = (block.bitLength + 7) / 8 * 8;
  WriteOtaHeader(block);
  OwnedBuffer packet = MakePacket(block, diagTimestamp);
  if (packet == nullptr) {
    return;
  }
  try {
    list.push_back(std::move(packet));
  } catch (const std::bad_alloc&) {
    // This block is lost as one without memory for its packet is; those before it stay in the list.
  }
}

}  // namespace corvane
