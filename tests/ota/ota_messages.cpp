#include "ota/ota_messages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace corvane {
namespace {

constexpr std::size_t kHeaderBits = 40;

void AppendLittleEndian(ByteVector& bytes, std::uint64_t value, int count) {
  for (int k = 0; k < count; ++k) {
    bytes.push_back(static_cast<std::uint8_t>(value >> (8 * k)));
  }
}

ByteVector BlockHeader(unsigned marker, unsigned rbId, unsigned sibType, std::size_t blockBytes) {
  const std::size_t messageLength = blockBytes - 4;
  return {static_cast<std::uint8_t>(marker), static_cast<std::uint8_t>(rbId),
          static_cast<std::uint8_t>(messageLength % 256),
          static_cast<std::uint8_t>(messageLength / 256), static_cast<std::uint8_t>(sibType)};
}

Bits RoundedUp(Bits bits) {
  while (bits.size() % 8 != 0) {
    bits += '0';
  }
  return bits;
}

}  // namespace

Bits Message(std::uint8_t channel, unsigned choice, const Bits& content) {
  // The second byte of a message on BCH is 0, the choice from its most significant bit on, 0, 0 and
  // the first bit of the content: its bits 3 to 6, counted from the least significant, are the
  // choice. On FACH the choice stands in bits 2 to 5 of the first byte, above two zeros.
  if (channel == kBch) {
    return "10110011"
           "0" +
           Number(choice, 4) + "00" + content;
  }
  if (content.size() >= 2 && content.substr(0, 2) != "00") {
    throw std::logic_error("no message on FACH can start like this");
  }
  return "10" + Number(choice, 4) + content;
}

Bits FirstFixed(unsigned sibType, unsigned count, const Bits& data) {
  return Number(sibType, 5) + Number(count - 1, 4) + data;
}

Bits FirstShort(unsigned sibType, unsigned count, const Bits& data) {
  return Number(sibType, 5) + Number(count - 1, 4) + Number(data.size() - 1, 8) + data;
}

Bits SegmentFixed(unsigned sibType, unsigned index, const Bits& data) {
  return FirstFixed(sibType, index, data);
}

Bits SegmentShort(unsigned sibType, unsigned index, const Bits& data) {
  return FirstShort(sibType, index, data);
}

Bits SibList(const std::vector<sListedSib>& sibs) {
  Bits bits = Number(sibs.size() - 1, 4);
  for (const sListedSib& sib : sibs) {
    bits += Number(sib.sibType, 5) + Number(sib.data.size() - 1, 8) + sib.data;
  }
  return bits;
}

ByteVector LogPacket(std::uint8_t channel, std::uint8_t rbId, const ByteVector& message,
                     std::uint64_t timestamp) {
  const std::size_t length = 16 + 4 + message.size() - 4;
  ByteVector packet = {0x10, 0x00};
  AppendLittleEndian(packet, length, 2);
  AppendLittleEndian(packet, length, 2);
  packet.insert(packet.end(), {0x2F, 0x41});
  AppendLittleEndian(packet, timestamp, 8);
  packet.push_back(channel);
  packet.push_back(rbId);
  AppendLittleEndian(packet, message.size(), 2);
  packet.insert(packet.end(), message.begin(), message.end());
  return packet;
}

ByteVector RebuiltPacket(std::uint8_t channel, std::uint8_t rbId, unsigned sibType,
                         const Bits& data, std::uint64_t timestamp) {
  ByteVector message = BytesOf(data);
  message.insert(message.begin(), static_cast<std::uint8_t>(sibType));
  return LogPacket(MarkerOf(channel), rbId, message, timestamp);
}

OwnedBuffer Item(const ByteVector& bytes) {
  return std::make_unique<sSharedBuffer>(bytes.data(), static_cast<std::int32_t>(bytes.size()),
                                         kOriginDevice);
}

Packets BytesOf(const SibPacketList& packets) {
  Packets all;
  for (const OwnedBuffer& packet : packets) {
    all.emplace_back(packet->Bytes().begin(), packet->Bytes().end());
  }
  return all;
}

sBlock UnfinishedBlock(unsigned expected, unsigned received, const Bits& data) {
  return {expected, received, Bits(kHeaderBits, '0') + data};
}

sBlock EmittedBlock(const BlockKey& key, unsigned expected, unsigned received, const Bits& data) {
  const auto [marker, rbId, sibType] = key;
  const Bits rounded = RoundedUp(data);
  const ByteVector header =
      BlockHeader(static_cast<unsigned>(marker), static_cast<unsigned>(rbId),
                  static_cast<unsigned>(sibType), (kHeaderBits + rounded.size()) / 8);
  return {expected, received, BitsOf(header) + rounded};
}

sBlock BlockOf(const BlockKey& key, const sSibAssembly& assembly) {
  EXPECT_EQ(key, BlockKey(assembly.channelMarker, assembly.rbId, assembly.sibType));
  static constexpr std::array<std::uint8_t, sizeof(assembly.buffer)> kZeros{};
  const std::size_t usedBytes = std::min<std::size_t>((assembly.bitLength + 7) / 8, kZeros.size());
  EXPECT_TRUE(std::equal(assembly.buffer.begin() + static_cast<std::ptrdiff_t>(usedBytes),
                         assembly.buffer.end(), kZeros.begin()))
      << "bytes behind the block's length are not zero";
  Bits bits = BitsOf({assembly.buffer.data(), usedBytes});
  EXPECT_EQ(bits.find('1', assembly.bitLength), Bits::npos)
      << "bits behind the block's length are not zero";
  bits.resize(assembly.bitLength, '?');
  return {assembly.expectedSegments, assembly.receivedSegments, bits};
}

BlockMap BlocksOf(const SibAssemblyMap& map) {
  BlockMap blocks;
  for (const auto& [key, assembly] : map) {
    const BlockKey blockKey(key.channelMarker, key.rbId, key.sibType);
    blocks.emplace(blockKey, BlockOf(blockKey, assembly));
  }
  return blocks;
}

void InsertBlock(SibAssemblyMap& map, const BlockKey& key, const sBlock& block) {
  const auto [marker, rbId, sibType] = key;
  const ByteVector bytes = BytesOf(block.bits);
  sSibAssembly& assembly =
      map[sSibKey{marker, static_cast<std::uint8_t>(rbId), static_cast<std::uint8_t>(sibType)}];
  assembly = sSibAssembly{};
  assembly.channelMarker = static_cast<std::uint8_t>(marker);
  assembly.rbId = static_cast<std::uint8_t>(rbId);
  assembly.sibType = static_cast<std::uint8_t>(sibType);
  assembly.expectedSegments = block.expected;
  assembly.receivedSegments = block.received;
  assembly.bitLength = static_cast<std::uint32_t>(block.bits.size());
  std::copy(bytes.begin(), bytes.end(), assembly.buffer.begin());
}

}  // namespace corvane
