#include "ota/sib_assembly.h"

#include <algorithm>
#include <new>
#include <utility>

#include "diag/little_endian.h"
#include "diag/packets.h"

namespace corvane {
namespace {

// Where the packet's bytes stand in the block's buffer, which has no log header. The SIB type is
// the first byte of the message.
constexpr std::uint32_t kChannel = ota_log::kChannel - log_packet::kHeaderSize;
constexpr std::uint32_t kRadioBearer = ota_log::kRadioBearer - log_packet::kHeaderSize;
constexpr std::uint32_t kMessageLength = ota_log::kMessageLength - log_packet::kHeaderSize;
constexpr std::uint32_t kSibType = ota_log::kHeaderSize;
static_assert(sSibAssembly::kHeaderBits == (kSibType + 1) * 8);
static_assert(kMaxEmittedBytes <= sSibAssembly::kBufferSize);
static_assert(log_packet::kHeaderSize + kMaxEmittedBytes <= kMaxBufferSize);

void WriteOtaHeader(sSibAssembly& block) {
  block.buffer[kChannel] = block.channelMarker;
  block.buffer[kRadioBearer] = block.rbId;
  block.buffer[kSibType] = block.sibType;
  const std::uint32_t messageLength = block.bitLength / 8 - ota_log::kHeaderSize;
  Store16(&block.buffer[kMessageLength], static_cast<std::uint16_t>(messageLength));
}

void WriteLogHeader(std::uint8_t* packet, std::uint32_t size, std::uint64_t diagTimestamp) {
  const auto length = static_cast<std::uint16_t>(size - log_packet::kUncountedBytes);
  Store16(packet, command::kLog);  // and "more", which is 0
  Store16(packet + log_packet::kLength, length);
  Store16(packet + log_packet::kLengthAgain, length);
  Store16(packet + log_packet::kLogCode, ota_log::kLogCode);
  Store64(packet + log_packet::kTimestamp, diagTimestamp);
}

// The packet of a block whose OTA header is written, or null without memory for it.
[[nodiscard]] OwnedBuffer MakePacket(const sSibAssembly& block, std::uint64_t diagTimestamp) {
  const std::uint32_t blockBytes = std::min(block.bitLength / 8, kMaxEmittedBytes);
  const std::uint32_t size = log_packet::kHeaderSize + blockBytes;
  HeapBlock packet = AllocateBlock(size);
  if (packet == nullptr) {
    return nullptr;
  }
  WriteLogHeader(packet.get(), size, diagTimestamp);
  std::copy_n(block.buffer.begin(), blockBytes, packet.get() + log_packet::kHeaderSize);
  return AdoptBlock(static_cast<std::int32_t>(size), std::move(packet), kOriginDevice);
}

}  // namespace

void sSibAssembly::Clear() {
  std::fill_n(buffer.begin(), std::min((bitLength + 7) / 8, kBufferSize), std::uint8_t{0});
  channelMarker = 0;
  rbId = 0;
  sibType = 0;
  expectedSegments = 0;
  receivedSegments = 0;
  bitLength = kHeaderBits;
}

sSibAssembly& SibAssemblyMap::Start(const sSibKey& key) {
  const iterator place = lower_bound(key);
  if (place != end() && place->first == key) {
    place->second.Clear();
    return place->second;
  }
  if (spare.empty()) {
    return try_emplace(place, key)->second;
  }
  spare.key() = key;
  return insert(place, std::move(spare))->second;
}

void SibAssemblyMap::Remove(iterator entry) {
  spare = extract(entry);
  spare.mapped().Clear();
}

void cSubscriptionAssemblies::Select(std::uint32_t subscription) {
  auto slot = std::find_if(slots.begin(), slots.end(), [subscription](const sSlot& candidate) {
    return candidate.subscription == subscription;
  });
  if (slot == slots.end()) {
    slot = std::min_element(slots.begin(), slots.end(), [](const sSlot& one, const sSlot& other) {
      return one.selectedAt < other.selectedAt;
    });
    slot->subscription = subscription;
    slot->blocks.clear();
  }
  slot->selectedAt = ++selections;
  selected = static_cast<std::size_t>(slot - slots.begin());
}

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
